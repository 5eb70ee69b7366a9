#include "indexer/Progress.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace MediaServer {
namespace {

using std::chrono::steady_clock;
constexpr std::chrono::milliseconds kRedrawInterval{100};
constexpr std::chrono::seconds kLineInterval{5};
constexpr std::size_t kBarWidth = 30;

}  // namespace

Progress::Progress(bool quiet) : quiet_(quiet), bar_(!quiet && isatty(STDERR_FILENO) != 0) {}

void Progress::Begin(std::size_t total) {
    done_ = 0;
    total_ = total;
    begin_ = steady_clock::now();
    const std::scoped_lock lock(mutex_);
    drawn_ = begin_;
}

void Progress::Step(std::size_t files) {
    const std::size_t done = done_ += files;
    if (quiet_) return;
    // Whoever finds another thread drawing has nothing to add.
    const std::unique_lock lock(mutex_, std::try_to_lock);
    const steady_clock::time_point now = steady_clock::now();
    if (!lock || now - drawn_ < (bar_ ? std::chrono::nanoseconds(kRedrawInterval) : kLineInterval)) return;
    drawn_ = now;
    Draw(done);
}

void Progress::Draw(std::size_t done) {
    const double seconds = std::chrono::duration<double>(steady_clock::now() - begin_).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    if (!bar_) {
        std::fprintf(stderr, "indexing: %zu files, %.0f a second\n", done, rate);
        return;
    }
    const std::size_t total = std::max<std::size_t>(total_, done);
    const std::size_t filled = total > 0 ? kBarWidth * done / total : 0;
    const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
    // The cursor stays at the start of the line, where a log line may take the bar's place.
    std::fprintf(stderr, "\x1b[K[%s] %zu of %zu files, %.0f a second\r", bar.c_str(), done, total, rate);
}

void Progress::End(const std::string& summary, bool show) {
    if (bar_) std::fputs("\x1b[K", stderr);
    if (show && !quiet_) std::fprintf(stderr, "%s\n", summary.c_str());
}

}  // namespace MediaServer
