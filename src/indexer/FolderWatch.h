#pragma once

#include <chrono>
#include <set>
#include <string>
#include <unordered_map>

#include "platform/system/Files.h"

struct inotify_event;

namespace MediaServer {

/// Notices changes in directories with inotify(7), and in the list of shared folders.
/// Threads: one.
class FolderWatch {
public:
    /// @param folders_file  path of the list of shared folders.
    explicit FolderWatch(const std::string& folders_file);

    /// Watches a directory (not what is below it). When the system has no more watches the reason is logged once and
    /// IsComplete() is false from then on.
    void Add(const std::string& directory);
    bool IsComplete() const { return complete_; }

    struct Changes {
        std::set<std::string> directories;  ///< whose content changed
        bool everything = false;            ///< the shared folders changed, or changes were lost
        bool None() const { return directories.empty() && !everything; }
    };
    /// Waits at most `patience` for a change; having one, goes on collecting until all is quiet for a moment, so that a
    /// folder that is copied is not looked at file by file. Returns early on a signal.
    Changes Wait(std::chrono::milliseconds patience);

private:
    bool IsReadable(std::chrono::milliseconds patience) const;
    void Read(Changes& changes);
    void Take(const inotify_event& event, Changes& changes);
    void LogUnwatched(const std::string& directory, const char* reason);

    UniqueFd inotify_;
    std::string folders_file_name_;
    int folders_watch_ = -1;
    bool complete_ = true;
    std::unordered_map<int, std::string> directories_;  ///< by watch descriptor
};

}  // namespace MediaServer
