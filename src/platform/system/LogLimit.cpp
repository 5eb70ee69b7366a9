#include "platform/system/LogLimit.h"

#include <utility>

namespace MediaServer {

std::optional<unsigned long long> LogLimit::Admit() {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (now >= end_) {
        end_ = now + kInterval;
        written_ = 0;
    }
    if (written_ == kLines) {
        ++left_out_;
        return std::nullopt;
    }
    ++written_;
    return std::exchange(left_out_, 0);
}

}  // namespace MediaServer
