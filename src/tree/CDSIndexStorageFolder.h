#pragma once

#include <mutex>

#include "tree/DirectoryListing.h"

namespace MediaServer {

/// The shared folders of one media kind as a directory tree. With two or more of them the first level shows one folder
/// each; with one it shows the content of the media kind's folder.
/// Threads: Browse may run in several at once, also while SetIndexLocations replaces the folders.
class CDSIndexStorageFolder : public CDSMenuEntry {
public:
    CDSIndexStorageFolder(MediaKind kind, std::string parent_id, std::string object_id, std::string object_title,
                          ObjectTypeCode code);

    /// A folder that does not exist on disk at the time of a Browse is left out of it.
    std::int32_t Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    void SetIndexLocations(const std::map<std::string, std::string>& locations) override;
    void SetSeparator(std::string_view separator) override { separator_.Set(separator); }
    MediaKind Kind() const { return kind_; }

private:
    FolderScope WorkingScope() const;

    const MediaKind kind_;
    NodeSeparator separator_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> locations_;  // guarded by mutex_
};

}  // namespace MediaServer
