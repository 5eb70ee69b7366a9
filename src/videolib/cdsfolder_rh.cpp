#include "videolib/cdsfolder_rh.h"

#include <utility>

#include "videolib/CategoryRequest.h"
#include "videolib/FolderRequest.h"
#include "videolib/VideoTables.h"

namespace MediaServer {

CDSCategoryFolder_RH::CDSCategoryFolder_RH(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, std::string parent_id,
                                           std::string object_id, std::string object_title, ObjectTypeCode code,
                                           const DMSStringBundle& strings)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code),
      kind_(kind),
      strings_(strings) {}

std::int32_t CDSCategoryFolder_RH::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return CategoryRequest(*this, query, out).Browse(total);
}

void CDSCategoryFolder_RH::AddCategory(const std::string& name, std::int32_t) {
    categories_.push_back(name);
}

CDSStorageFolder_RH::CDSStorageFolder_RH(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, std::string parent_id,
                                         std::string object_id, std::string object_title, ObjectTypeCode code)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code), kind_(kind) {}

std::int32_t CDSStorageFolder_RH::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return FolderRequest(*this, query, out).Browse(total);
}

CDSMenuEntry& VideoLibrary::MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const {
    auto& node = nodes.Make<CDSCategoryFolder_RH>(VideoKindOf(entry.media), std::move(entry.parent_id),
                                                  std::move(entry.id), std::move(entry.title), entry.type, strings_);
    for (const std::string& category : entry.categories) node.AddCategory(category, 0);
    for (const std::string& rule : entry.rules) node.AddRule(rule);
    return node;
}

CDSMenuEntry& VideoLibrary::MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const {
    return nodes.Make<CDSStorageFolder_RH>(VideoKindOf(entry.media), std::move(entry.parent_id), std::move(entry.id),
                                           std::move(entry.title), entry.type);
}

}  // namespace MediaServer
