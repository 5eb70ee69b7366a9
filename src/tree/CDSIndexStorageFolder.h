#pragma once

#include <mutex>

#include "tree/DirectoryListing.h"

namespace MediaServer {

/// The shared folders of one media kind as a directory tree. With two or more of them the first level shows one folder
/// each; with one it shows the content of the media kind's folder.
/// Threads: Browse may run in several at once, also while SetIndexLocations replaces the folders.
class CDSIndexStorageFolder : public ListEntry {
public:
    CDSIndexStorageFolder(MediaKind kind, std::string parent_id, std::string object_id, std::string object_title,
                          ObjectTypeCode code);

    void SetIndexLocations(const std::map<std::string, std::string>& locations) override;
    MediaKind Kind() const { return kind_; }

private:
    /// A folder that does not exist on disk at the time of a Browse is left out of it.
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    FolderScope WorkingScope() const;

    const MediaKind kind_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> locations_;  // guarded by mutex_
};

}  // namespace MediaServer
