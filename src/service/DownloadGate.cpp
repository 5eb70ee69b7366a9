#include "service/DownloadGate.h"

#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr std::chrono::minutes kWindow{1};

/// One more, while it lives.
class Counted {
public:
    explicit Counted(int& count) : count_(count) { ++count_; }
    ~Counted() { --count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    int& count_;
};

}  // namespace

std::unique_ptr<DownloadGate::Ticket> DownloadGate::Enter(const std::string& address, const std::string& location,
                                                          Clock::time_point now) {
    const Clock::time_point asked = Clock::now();
    // Made first: a place that is taken must not be lost for want of memory.
    auto ticket = std::make_unique<Ticket>(address);
    std::unique_lock lock(mutex_);
    Verdict verdict = Admit(address, location, now);
    if (verdict == Verdict::Busy && waiting_ < kMaxWaiting) {
        const Counted waiting(waiting_);
        place_is_free_.wait_until(lock, asked + patience_, [&] {
            verdict = Admit(address, location, now + (Clock::now() - asked));
            return verdict != Verdict::Busy;
        });
    }
    lock.unlock();
    if (verdict == Verdict::Admitted) {
        ticket->gate_ = this;
        return ticket;
    }
    if (verdict != Verdict::Repeated) {
        DMSPrintf(2, "did not download renderer description \"%s\" of %s: too many %s", location.c_str(),
                  address.c_str(), verdict == Verdict::Busy ? "at once" : "in a minute");
    }
    return nullptr;
}

DownloadGate::Verdict DownloadGate::Admit(const std::string& address, const std::string& location,
                                          Clock::time_point now) {
    if (sources_.size() >= kMaxAddresses && !sources_.contains(address)) {
        ForgetIdle(now);
        if (sources_.size() >= kMaxAddresses) return Verdict::Refused;
    }
    auto [position, is_new] = sources_.try_emplace(address);
    Source& source = position->second;
    if (is_new || now - source.window_start >= kWindow) {
        source.window_start = now;
        source.downloads = 0;
    }
    const bool is_repeated = source.last_location == location && now - source.last_download < kSameLocation;
    if (is_repeated) return Verdict::Repeated;
    if (source.downloads >= kMaxPerMinute) return Verdict::Refused;
    if (source.is_active || active_ >= kMaxAtOnce) return Verdict::Busy;
    source.last_location = location;  // may fail; nothing else from here on
    source.is_active = true;
    source.last_download = now;
    ++source.downloads;
    ++active_;
    return Verdict::Admitted;
}

void DownloadGate::Leave(const std::string& address) {
    std::lock_guard lock(mutex_);
    sources_[address].is_active = false;
    --active_;
    place_is_free_.notify_all();
}

void DownloadGate::ForgetIdle(Clock::time_point now) {
    std::erase_if(sources_, [&](const auto& entry) {
        return !entry.second.is_active && now - entry.second.window_start >= kWindow;
    });
}

}  // namespace MediaServer
