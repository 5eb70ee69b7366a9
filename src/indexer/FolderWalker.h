#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "platform/library/MediaFolders.h"
#include "platform/media/MediaKind.h"
#include "platform/system/Files.h"

namespace MediaServer {

struct FoundFile {
    std::string name;
    MediaKind kind;
    FileState state;
};
struct FoundDirectory {
    std::string name;
    FileState state;
    std::int32_t id = 0;  ///< the visitor's own; handed on to the visit of the directory
    bool descend = true;  ///< the visitor may say no
};
/// The media files and subdirectories of one directory, each in name order.
struct Listing {
    std::string path;
    FileState state;
    std::int32_t id = 0;
    std::int64_t nfo_stamp = 0;  ///< of names, sizes and times of the descriptions (.nfo) of videos; 0 without any
    std::vector<FoundFile> files;
    std::vector<FoundDirectory> directories;
};

/// The shared folders as one set.
class FolderSet {
public:
    explicit FolderSet(std::vector<MediaFolder> folders);

    const std::vector<MediaFolder>& All() const { return folders_; }
    /// The folders that lie in no other: walking these walks all.
    std::vector<MediaFolder> Outermost() const;
    /// The first folder that `path` is or lies in; null when there is none.
    const MediaFolder* Find(const std::string& path) const;
    bool Contains(const std::string& path) const { return Find(path) != nullptr; }
    /// True when files of that kind are shared in the directory `path`.
    bool Shares(const std::string& path, MediaKind kind) const;

private:
    std::vector<MediaFolder> folders_;
};

/// Walks directories, a parent before its children. Symbolic links are followed, but a directory that a link leads to
/// is walked at most once, and not at all when it is in a shared folder anyway, so no loop of links goes on for ever.
/// What is hidden, is a thumbnail folder, has a name that is not UTF-8, or is too long for the database is left out,
/// and so are pictures with the name of a cover in a directory that holds songs.
class FolderWalker {
public:
    using Visitor = std::function<void(Listing&)>;
    /// Told the path of each directory before it is listed, so that who watches it misses nothing.
    using Listener = std::function<void(const std::string& path)>;

    /// @param stop  set by another thread or a signal handler to end the walk early.
    /// @param log   whether to log what is left out.
    FolderWalker(const FolderSet& folders, const std::atomic<bool>& stop, bool log = true, Listener listener = {})
        : folders_(folders), stop_(stop), log_(log), listener_(std::move(listener)) {}

    /// Walks `path` and what is below it. A directory that cannot be read is logged and not visited.
    /// @param id  the visitor's own, handed to the visit of `path`.
    void Walk(const std::string& path, std::int32_t id, const Visitor& visit);

private:
    void Walk(const std::string& path, std::int32_t id, int depth, const Visitor& visit);
    void LogLeftOut(const char* what, const std::string& path, const char* reason) const;
    bool List(Listing& listing);
    void AddEntry(Listing& listing, int directory, const std::string& name);
    bool MayFollow(const std::string& link, const struct stat& target);

    const FolderSet& folders_;
    const std::atomic<bool>& stop_;
    const bool log_;
    const Listener listener_;
    std::set<std::pair<dev_t, ino_t>> linked_;  ///< directories reached through a link
};

/// Why the database cannot hold a path; null when it can.
const char* ProblemOfPath(const std::string& path);

}  // namespace MediaServer
