#pragma once

#include <chrono>
#include <mutex>
#include <optional>

namespace MediaServer {

/// Bounds what strangers can have logged at will at a level that is always written: some lines per interval.
/// Threads: any, at once.
class LogLimit {
public:
    static constexpr int kLines = 20;
    static constexpr std::chrono::seconds kInterval{10};

    /// @return nothing when the line must not be written; else how many were left out in the interval before, which
    ///     is told once.
    std::optional<unsigned long long> Admit();

private:
    std::mutex mutex_;
    int written_ = 0;                              // guarded by mutex_
    unsigned long long left_out_ = 0;              // guarded by mutex_
    std::chrono::steady_clock::time_point end_{};  // guarded by mutex_
};

}  // namespace MediaServer
