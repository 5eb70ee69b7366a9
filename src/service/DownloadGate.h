#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace MediaServer {

/// Decides which descriptions are downloaded. Anybody on the network can announce renderers as fast as the wire takes
/// them, and each download occupies one of the library's few threads until it ends or times out.
/// Threads: any, at once.
class DownloadGate {
public:
    using Clock = std::chrono::steady_clock;

    /// One download under way; its end is the end of the object. The gate outlives it.
    class Ticket {
    public:
        explicit Ticket(std::string address) : address_(std::move(address)) {}
        ~Ticket() {
            if (gate_) gate_->Leave(address_);
        }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

    private:
        friend class DownloadGate;
        DownloadGate* gate_ = nullptr;  // once it is admitted
        const std::string address_;
    };

    /// @param patience  how long a download waits for a place.
    explicit DownloadGate(std::chrono::milliseconds patience = kPatience) : patience_(patience) {}

    /// Lets through at most kMaxAtOnce downloads at a time, one at a time from the same address, a location no more
    /// than once in kSameLocation, and an address no more than kMaxPerMinute times in a minute. A renderer announces
    /// itself several times in a row and again every few minutes, so nothing is lost by it. When the places are taken,
    /// kMaxWaiting callers wait for one; those turned away are told in the log, but for repetitions.
    /// @return the ticket of a download that may start, else null.
    std::unique_ptr<Ticket> Enter(const std::string& address, const std::string& location, Clock::time_point now);

    static constexpr int kMaxAtOnce = 3;
    // The library reads announcements and answers with twelve threads; these and those above leave it some.
    static constexpr int kMaxWaiting = 5;
    static constexpr std::chrono::seconds kPatience{3};
    static constexpr int kMaxPerMinute = 12;
    static constexpr std::chrono::seconds kSameLocation{10};
    static constexpr std::size_t kMaxAddresses = 256;

private:
    struct Source {
        Clock::time_point window_start;
        int downloads = 0;  // since window_start
        bool is_active = false;
        std::string last_location;
        Clock::time_point last_download;
    };
    enum class Verdict { Admitted, Busy, Refused, Repeated };
    Verdict Admit(const std::string& address, const std::string& location,
                  Clock::time_point now);  // the caller holds mutex_
    void Leave(const std::string& address);
    void ForgetIdle(Clock::time_point now);

    const std::chrono::milliseconds patience_;
    std::mutex mutex_;
    std::condition_variable place_is_free_;
    std::map<std::string, Source> sources_;  // by address; guarded by mutex_
    int active_ = 0, waiting_ = 0;           // guarded by mutex_
};

}  // namespace MediaServer
