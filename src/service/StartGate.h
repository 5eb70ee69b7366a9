#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace MediaServer {

/// Holds actions back while the device starts: it is registered, and found by its clients, a moment before its menu is
/// read, and a client that is told "no such object" then shows an empty server until somebody starts it anew.
/// Threads: any, at once. Open until a start closes it.
class StartGate {
public:
    /// Closes the gate for as long as it lives.
    class Closed {
    public:
        explicit Closed(StartGate& gate) : gate_(gate) { gate_.Set(true); }
        ~Closed() { gate_.Set(false); }
        Closed(const Closed&) = delete;
        Closed& operator=(const Closed&) = delete;

    private:
        StartGate& gate_;
    };

    /// Waits until the gate is open, or for as long as a client would wait for its answer.
    void Pass() {
        std::unique_lock lock(mutex_);
        opened_.wait_for(lock, kPatience, [this] { return !is_closed_; });
    }

private:
    static constexpr std::chrono::seconds kPatience{10};

    void Set(bool closed) {
        std::lock_guard lock(mutex_);
        is_closed_ = closed;
        opened_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable opened_;
    bool is_closed_ = false;  // guarded by mutex_
};

}  // namespace MediaServer
