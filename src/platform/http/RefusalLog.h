#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

namespace MediaServer {

/// Tells of refused requests in one line of level 1 per interval, however many a stranger sends. Threads: any.
class RefusalLog {
public:
    static constexpr std::chrono::seconds kInterval{10};

    /// @param reason  of a failure of our own, may be empty.
    void Note(int status, const std::string& client_address, std::string_view reason = {});

private:
    std::mutex mutex_;
    unsigned long long refused_ = 0;                // guarded by mutex_
    std::chrono::steady_clock::time_point next_{};  // guarded by mutex_
};

}  // namespace MediaServer
