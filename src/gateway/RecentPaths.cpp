#include "gateway/RecentPaths.h"

namespace MediaServer {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kMoment{1};

bool RecentPaths::Entry::Holds(MediaKind wanted_kind, std::int32_t wanted_id) const {
    return kind == wanted_kind && id == wanted_id && Clock::now() < until;
}

bool RecentPaths::Knows(MediaKind kind, std::int32_t id) {
    const std::scoped_lock lock(mutex_);
    return PlaceOf(id).Holds(kind, id);
}

Lookup RecentPaths::Find(MediaKind kind, std::int32_t id, std::string& path) {
    Entry& entry = PlaceOf(id);
    {
        const std::scoped_lock lock(mutex_);
        if (entry.Holds(kind, id)) {
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
