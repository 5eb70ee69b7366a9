#include "tree/CDSIndexStorageFolder.h"

#include "platform/library/MediaFolders.h"
#include "platform/system/Files.h"

namespace MediaServer {

CDSIndexStorageFolder::CDSIndexStorageFolder(MediaKind kind, std::string parent_id, std::string object_id,
                                             std::string object_title, ObjectTypeCode code)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code), kind_(kind) {}

std::int32_t CDSIndexStorageFolder::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    // A location that the indexer has not recorded yet is listed under this name and is empty.
    if (query.sub_id == "no") return 0;
    const FolderScope scope = WorkingScope();
    return DirectoryListing(*this, kind_, scope, query, out).Browse(total);
}

void CDSIndexStorageFolder::SetIndexLocations(const std::map<std::string, std::string>& locations) {
    const std::lock_guard lock(mutex_);
    locations_ = locations;
}

FolderScope CDSIndexStorageFolder::WorkingScope() const {
    FolderScope scope;
    {
        const std::lock_guard lock(mutex_);
        scope.locations = locations_;
    }
    std::erase_if(scope.locations, [](const auto& location) { return !NLIBCFileExist(location.first.c_str()); });
    if (scope.ListsLocations()) return scope;
    scope.root = DMSGetMediaFolderPath(kind_);
    // The media kind's first folder may be the one that is not mounted now; then the one that is left stands for all.
    if (!scope.locations.empty() && !NLIBCFileExist(scope.root.c_str())) scope.root = scope.locations.begin()->first;
    return scope;
}

}  // namespace MediaServer
