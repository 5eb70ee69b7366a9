#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace MediaServer {

/// Hardware addresses of the clients that asked in the last second, so that a client that reads a long list page by
/// page does not make us read the kernel's table for each. Shorter than an address can pass to another machine.
/// Threads: any, at once.
class NeighbourCache {
public:
    /// @param look_up  finds what is not known: address to hardware address. Run without a lock.
    /// @param unknown  what look_up gives when it finds nothing; never remembered.
    template <typename LookUp>
    std::string Find(const std::string& address, const std::string& unknown, const LookUp& look_up) {
        const auto now = std::chrono::steady_clock::now();
        {
            const std::lock_guard lock(mutex_);
            const auto found = neighbours_.find(address);
            if (found != neighbours_.end() && now - found->second.seen < kLifetime) return found->second.mac;
        }
        std::string mac = look_up(address);
        const std::lock_guard lock(mutex_);
        if (neighbours_.size() >= kMaxNeighbours) neighbours_.clear();
        if (mac == unknown)
            neighbours_.erase(address);
        else
            neighbours_[address] = {mac, now};
        return mac;
    }

private:
    static constexpr std::chrono::seconds kLifetime{1};
    static constexpr std::size_t kMaxNeighbours = 256;

    struct Neighbour {
        std::string mac;
        std::chrono::steady_clock::time_point seen;
    };

    std::mutex mutex_;
    std::map<std::string, Neighbour> neighbours_;  // guarded by mutex_
};

}  // namespace MediaServer
