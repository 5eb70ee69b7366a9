#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <span>
#include <string>

#include "indexer/FolderWalker.h"
#include "indexer/LibraryTables.h"

namespace MediaServer {

/// Makes the thumbnails that lie beside photos, after the rows of the photos are stored, a few at a time, so that its
/// caller can turn to what changes meanwhile. What lies there already is left alone while it is as old as its photo.
/// A photo that cannot be read costs one log line, a shared folder that cannot be written to one for all its photos;
/// the gateway then makes their thumbnails when they are asked for.
/// Threads: one; makes thumbnails with two more of its own, which give way to others.
class ThumbnailPass {
public:
    /// @param folders, stop  outlive this. Setting `stop` ends a portion early.
    ThumbnailPass(const FolderSet& folders, const std::atomic<bool>& stop) : folders_(folders), stop_(stop) {}

    /// Puts all photos of the library on the list.
    void AddAll();
    /// Puts the photos directly in a directory on the list, by its row id; all photos, when the directories are many.
    void AddDirectory(std::int32_t directory);

    /// True when the list is empty.
    bool IsDone() const { return !all_ && directories_.empty(); }
    /// Looks at the next photos of the list. @return thumbnails made. Throws DatabaseError.
    std::size_t MakeSome(LibraryTables& tables);

private:
    std::size_t MakeEach(std::span<const KnownRow> photos);
    bool TryMake(const std::string& photo_path);
    bool Make(const std::string& photo_path);
    void LogUnwritable(const std::string& photo_path, int error);

    const FolderSet& folders_;
    const std::atomic<bool>& stop_;
    bool all_ = false;                    ///< all photos come first
    std::set<std::int32_t> directories_;  ///< then these
    std::int32_t last_id_ = 0;            ///< of the photo that was looked at last

    std::mutex mutex_;
    std::set<std::string> unwritable_;  ///< shared folders that were told of; guarded by mutex_
};

/// Removes the thumbnails of photos that are no longer in a directory.
void RemoveStaleThumbnails(const std::string& directory);

}  // namespace MediaServer
