#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "platform/database/MediaInfoDB.h"
#include "platform/media/MediaKind.h"

namespace MediaServer {

/// Paths of files by row id, each kept for a moment: a player asks for hundreds of parts of one file, and the answer of
/// the database takes longer than the part. Threads: any, at once.
class RecentPaths {
public:
    /// As FindMediaPath; what is found may be a second old.
    Lookup Find(MediaKind kind, std::int32_t id, std::string& path);
    /// Whether Find takes no longer than a look at what it keeps.
    bool Knows(MediaKind kind, std::int32_t id);

private:
    struct Entry {
        MediaKind kind = MediaKind::Directory;  // of no file
        std::int32_t id = 0;
        std::string path;
        std::chrono::steady_clock::time_point until;

        bool Holds(MediaKind wanted_kind, std::int32_t wanted_id) const;
    };

    Entry& PlaceOf(std::int32_t id) { return entries_[static_cast<std::uint32_t>(id) % entries_.size()]; }

    std::mutex mutex_;
    std::array<Entry, 64> entries_;  // guarded by mutex_; the place follows from the id
};

}  // namespace MediaServer
