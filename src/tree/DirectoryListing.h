#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/database/MediaDB.h"
#include "tree/CDSContainer.h"
#include "tree/ObjectId.h"

namespace MediaServer {

/// What hangs directly under a folder node.
struct FolderScope {
    std::string root;                              ///< directory whose content the node shows; empty: none
    std::map<std::string, std::string> locations;  ///< shared folders, path to display name, in path order

    /// Two or more shared folders are shown as such; one is shown by its content, like a plain root.
    bool ListsLocations() const { return locations.size() >= 2; }
};

/// One Browse of a directory tree as the indexer recorded it: folders from the directory table, files from the media
/// kind's table. Every object below the node is named by the node's id and one row id, whatever its depth.
/// Lifetime: one request; everything given outlives it. Threads: one.
class DirectoryListing {
public:
    DirectoryListing(const CDSMenuEntry& node, MediaKind kind, const FolderScope& scope, const BrowseQuery& query,
                     CDSObjectSerializer& out);

    /// As CDSContainer::Browse.
    std::int32_t Browse(std::int32_t& total);

private:
    std::int32_t WriteMetadata(std::int32_t& total);
    std::int32_t WriteNode();
    std::int32_t WriteRow(const NIMB_MEDIA_INFO& record, bool is_file);
    std::int32_t WriteContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                std::string_view directory);

    std::int32_t WriteChildren(std::int32_t& total);
    std::int32_t WriteLocations(std::int32_t& total);
    std::int32_t WriteDirectory(std::string_view directory, std::int32_t& total);
    std::int32_t WriteFolders(MediaDB& folders, std::int32_t start, std::int32_t count);
    std::int32_t WriteFiles(MediaDB& files, std::int32_t start, std::int32_t count);

    void RestrictFiles(MediaDB& files, std::string_view directory) const;
    std::int32_t CountChildren(std::string_view directory) const;
    bool FilesComeFirst() const;
    ChildId Ids() const { return {node_.id, query_.separator, kMaxFolderId}; }
    std::string_view BrowsedId() const { return query_.sub_id.empty() ? std::string_view(node_.id) : query_.object_id; }
    std::optional<std::string> ParentIdOf(std::string_view path) const;

    const CDSMenuEntry& node_;
    const MediaKind kind_;
    const FolderScope& scope_;
    const BrowseQuery& query_;
    CDSObjectSerializer& out_;
    FolderTarget target_{FolderTarget::Kind::Node};
};

}  // namespace MediaServer
