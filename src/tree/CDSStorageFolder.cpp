#include "tree/CDSStorageFolder.h"

#include "platform/library/MediaFolders.h"
#include "tree/MenuDirectory.h"

namespace MediaServer {

namespace {

FolderScope ScopeOf(MediaKind kind, const std::string& root) {
    if (root != kAllIndexFiles) return {root, {}};
    return {DMSGetMediaFolderPath(kind), GetIndexLoacationPath(kind)};
}

}  // namespace

CDSStorageFolder::CDSStorageFolder(MediaKind kind, const std::string& root, std::string parent_id,
                                   std::string object_id, std::string object_title, ObjectTypeCode code)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code),
      kind_(kind),
      scope_(ScopeOf(kind, root)) {}

std::int32_t CDSStorageFolder::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return DirectoryListing(*this, kind_, scope_, query, out).Browse(total);
}

}  // namespace MediaServer
