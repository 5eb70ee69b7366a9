#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

namespace MediaServer {

/// Tells the user on standard error how far a scan is: a bar that redraws itself on a terminal, a plain line now and
/// then elsewhere, nothing when quiet.
/// Threads: any, at once.
class Progress {
public:
    explicit Progress(bool quiet);

    /// True when a bar is drawn, so that knowing the total is worth a count beforehand.
    bool WantsTotal() const { return bar_; }
    /// @param total  files to come; 0 when unknown.
    void Begin(std::size_t total);
    void Step(std::size_t files = 1);
    /// Replaces the bar by one last line, or by nothing.
    void End(const std::string& summary, bool show);

private:
    void Draw(std::size_t done);

    const bool quiet_, bar_;
    std::atomic<std::size_t> done_ = 0;
    std::atomic<std::size_t> total_ = 0;
    std::chrono::steady_clock::time_point begin_;
    std::mutex mutex_;
    std::chrono::steady_clock::time_point drawn_;  // guarded by mutex_
};

}  // namespace MediaServer
