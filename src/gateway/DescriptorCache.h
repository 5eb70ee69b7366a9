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
    /// @param capacity  most entries, each of which holds a descriptor of the process.
    explicit DescriptorCache(std::size_t capacity) : capacity_(capacity) {}

    /// A descriptor of the caller's own for that file; nothing when it is not there.
    UniqueFd Find(const std::string& key);
    /// Adds or replaces; the entry unused for longest makes room.
    void Add(const std::string& key, const UniqueFd& file);

private:
    struct Entry {
        std::string key;
        UniqueFd file;
    };

    const std::size_t capacity_;
    std::mutex mutex_;
    std::list<Entry> entries_;                                                // guarded by mutex_; newest first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;  // guarded by mutex_; views into entries_
};

/// A file without a name that holds `content`, its modification time set. Nothing when the system has no room.
UniqueFd MakeAnonymousFile(std::string_view content, const struct timespec& modified);

}  // namespace MediaServer
