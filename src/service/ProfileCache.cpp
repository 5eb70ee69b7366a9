#include "service/ProfileCache.h"

namespace MediaServer {

std::string ProfileCache::Find(const std::string& mac, std::uint64_t& generation) const {
    std::lock_guard lock(mutex_);
    generation = generation_;
    const auto found = names_.find(mac);
    return found == names_.end() ? std::string() : found->second;
}

void ProfileCache::Store(const std::string& mac, const std::string& profile_name, std::uint64_t generation) {
    std::lock_guard lock(mutex_);
    if (generation != generation_) return;
    if (names_.size() >= kMaxClients) names_.clear();
    names_[mac] = profile_name;
}

void ProfileCache::Remove(const std::string& mac) {
    std::lock_guard lock(mutex_);
    names_.erase(mac);
}

void ProfileCache::Clear() {
    std::lock_guard lock(mutex_);
    names_.clear();
    ++generation_;
}

}  // namespace MediaServer
