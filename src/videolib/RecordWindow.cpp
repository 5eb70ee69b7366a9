#include "videolib/RecordWindow.h"

#include <algorithm>
#include <limits>

namespace MediaServer {

namespace {

constexpr std::int64_t kPortion = 256;
constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();

}  // namespace

RecordWindow::RecordWindow(std::int32_t start, std::int32_t count)
    : start_(std::max(start, 0)), end_(count == 0 ? kMost : start_ + std::max(count, 0)) {}

bool RecordWindow::Append(const Fetch& fetch, const Write& write) {
    std::int64_t from = std::max<std::int64_t>(start_ - total_, 0), to = end_ - total_;
    std::int32_t size = 0;
    do {
        // A list that lies outside the window is asked for its length only.
        const LibReelhouse::Page page{static_cast<std::int32_t>(from),
                                      static_cast<std::int32_t>(std::clamp<std::int64_t>(to - from, 1, kPortion))};
        Json::Value records;
        if (!fetch(page, records, size)) return false;
        to = std::min<std::int64_t>(to, size);
        if (from >= to) break;
        for (Json::Value& record : records) written_ += write(record) ? 1 : 0;
        from += page.limit;
    } while (from < to);
    total_ += size;
    return true;
}

void RecordWindow::AppendWhole(Json::ArrayIndex size, const std::function<bool(Json::ArrayIndex index)>& write) {
    const std::int64_t to = std::min<std::int64_t>(end_ - total_, size);
    for (std::int64_t i = std::max<std::int64_t>(start_ - total_, 0); i < to; ++i) {
        written_ += write(static_cast<Json::ArrayIndex>(i)) ? 1 : 0;
    }
    total_ += size;
}

std::int32_t RecordWindow::Total() const {
    return start_ >= total_ ? 0 : static_cast<std::int32_t>(std::min(total_, kMost));
}

}  // namespace MediaServer
