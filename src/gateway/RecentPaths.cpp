#include "gateway/RecentPaths.h"

namespace MediaServer {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kMoment{1};

Lookup RecentPaths::Find(MediaKind kind, std::int32_t id, std::string& path) {
    Entry& entry = entries_[static_cast<std::uint32_t>(id) % entries_.size()];
    {
        const std::scoped_lock lock(mutex_);
        if (entry.kind == kind && entry.id == id && Clock::now() < entry.until) {
            path = entry.path;
            return Lookup::Found;
        }
    }
    const Lookup lookup = FindMediaPath(kind, id, path);
    if (lookup == Lookup::Found) {
        const std::scoped_lock lock(mutex_);
        entry = {kind, id, path, Clock::now() + kMoment};
    }
    return lookup;
}

}  // namespace MediaServer
