#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace MediaServer {

/// Profile names of the clients recognised so far, by MAC address, so that a request needs no look at the client list's
/// rules. Threads: any, at once.
class ProfileCache {
public:
    /// The cached name, or empty; `generation` is to be handed to Store.
    std::string Find(const std::string& mac, std::uint64_t& generation) const;
    /// Remembers a name that was looked up after Find gave `generation`. Dropped when the cache was cleared in between:
    /// the name then comes of a client list that has been replaced.
    void Store(const std::string& mac, const std::string& profile_name, std::uint64_t generation);
    void Remove(const std::string& mac);
    void Clear();

private:
    // A host on the link can invent hardware addresses; beyond this the cache starts anew.
    static constexpr std::size_t kMaxClients = 1024;

    mutable std::mutex mutex_;
    std::map<std::string, std::string> names_;  // guarded by mutex_
    std::uint64_t generation_ = 0;              // guarded by mutex_
};

}  // namespace MediaServer
