#include "tree/CDSSmartContainer.h"

#include "tree/CategoryQuery.h"

namespace MediaServer {

CDSSmartContainer::CDSSmartContainer(MediaKind kind, bool any, std::string parent_id, std::string object_id,
                                     std::string object_title, ObjectTypeCode code, const DMSStringBundle& strings)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code),
      any_(any),
      categories_(kind),
      strings_(strings) {}

void CDSSmartContainer::AddRule(const std::string& rule) {
    if (!condition_.empty()) condition_.append(any_ ? " OR " : " AND ");
    condition_.append(rule);
}

std::int32_t CDSSmartContainer::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    return CategoryQuery(*this, categories_, {}, strings_, query, out, condition_).Browse(total);
}

}  // namespace MediaServer
