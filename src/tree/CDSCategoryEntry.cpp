#include "tree/CDSCategoryEntry.h"

#include "tree/CategoryQuery.h"

namespace MediaServer {

CDSCategoryEntry::CDSCategoryEntry(MediaKind kind, const std::string& category, std::string parent_id,
                                   std::string object_id, std::string object_title, ObjectTypeCode code,
                                   std::int32_t index, const DMSStringBundle& strings)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code),
      categories_(kind),
      strings_(strings) {
    categories_.Add(category, index);
}

std::int32_t CDSCategoryEntry::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return CategoryQuery(*this, categories_, {}, strings_, query, out).Browse(total);
}

}  // namespace MediaServer
