#pragma once

#include "tree/DirectoryListing.h"

namespace MediaServer {

/// One directory tree of one media kind. With the directory ":@AllIndexFiles@" it shows the media kind's shared
/// folders: their content when there is one, else one folder for each.
/// Threads: Browse may run in several at once; only the separator is mutable.
class CDSStorageFolder : public ListEntry {
public:
    /// @param root  absolute directory or ":@AllIndexFiles@", which is read from the shared folders here and now.
    CDSStorageFolder(MediaKind kind, const std::string& root, std::string parent_id, std::string object_id,
                     std::string object_title, ObjectTypeCode code);

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    const MediaKind kind_;
    const FolderScope scope_;
};

}  // namespace MediaServer
