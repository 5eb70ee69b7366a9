#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/system/Files.h"

namespace MediaServer {

/// The most recently used small files without a name, by key. Threads: any, at once.
class DescriptorCache {
public:
    /// @param max_entries  each entry holds a descriptor of the process. @param max_bytes  of all files together.
    DescriptorCache(std::size_t max_entries, std::size_t max_bytes)
        : max_entries_(max_entries), max_bytes_(max_bytes) {}

    /// A descriptor of the caller's own for that file; nothing when it is not there.
    UniqueFd Find(const std::string& key);
    /// Adds a file unless the key is there or the file is larger than all the room; the longest unused make way.
    void Add(const std::string& key, const UniqueFd& file);

private:
    struct Entry {
        std::string key;
        UniqueFd file;
        std::size_t bytes;
    };

    const std::size_t max_entries_, max_bytes_;
    std::mutex mutex_;
    std::size_t bytes_ = 0;                                                   // guarded by mutex_; of all entries
    std::list<Entry> entries_;                                                // guarded by mutex_; newest first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;  // guarded by mutex_; views into entries_
};

/// A file without a name that holds `content`, its modification time set. Nothing when the system has no room.
UniqueFd MakeAnonymousFile(std::string_view content, const struct timespec& modified);

}  // namespace MediaServer
