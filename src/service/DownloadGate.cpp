#include "service/DownloadGate.h"

namespace MediaServer {
namespace {
constexpr std::chrono::minutes kWindow{1};
}

std::unique_ptr<DownloadGate::Ticket> DownloadGate::Enter(const std::string& address, const std::string& location,
                                                          Clock::time_point now) {
    return Admit(address, location, now) ? std::make_unique<Ticket>(*this, address) : nullptr;
}

bool DownloadGate::Admit(const std::string& address, const std::string& location, Clock::time_point now) {
    std::lock_guard lock(mutex_);
    if (active_ >= kMaxAtOnce) return false;
    if (sources_.size() >= kMaxAddresses && !sources_.contains(address)) {
        ForgetIdle(now);
        if (sources_.size() >= kMaxAddresses) return false;
    }
    auto [position, is_new] = sources_.try_emplace(address);
    Source& source = position->second;
    if (is_new || now - source.window_start >= kWindow) {
        source.window_start = now;
        source.downloads = 0;
    }
    const bool is_repeated = source.last_location == location && now - source.last_download < kSameLocation;
    if (source.is_active || is_repeated || source.downloads >= kMaxPerMinute) return false;
    source.is_active = true;
    source.last_location = location;
    source.last_download = now;
    ++source.downloads;
    ++active_;
    return true;
}

void DownloadGate::Leave(const std::string& address) {
    std::lock_guard lock(mutex_);
    sources_[address].is_active = false;
    --active_;
}

void DownloadGate::ForgetIdle(Clock::time_point now) {
    std::erase_if(sources_, [&](const auto& entry) {
        return !entry.second.is_active && now - entry.second.window_start >= kWindow;
    });
}

}  // namespace MediaServer
