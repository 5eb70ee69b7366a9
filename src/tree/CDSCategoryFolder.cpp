#include "tree/CDSCategoryFolder.h"

#include "tree/CategoryQuery.h"
#include "tree/MenuDirectory.h"

namespace MediaServer {

CDSCategoryFolder::CDSCategoryFolder(MediaKind kind, std::string directory, std::string parent_id,
                                     std::string object_id, std::string object_title, ObjectTypeCode code,
                                     const DMSStringBundle& strings)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code),
      directory_(directory == kAllIndexFiles ? std::string() : std::move(directory)),
      categories_(kind),
      strings_(strings) {}

std::int32_t CDSCategoryFolder::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return CategoryQuery(*this, categories_, directory_, strings_, query, out).Browse(total);
}

}  // namespace MediaServer
