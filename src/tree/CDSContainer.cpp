#include "tree/CDSContainer.h"

#include <algorithm>

namespace MediaServer {

void CDSContainer::AddChild(CDSObject* child) {
    children_.push_back(child);
}

std::int32_t CDSContainer::Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    const auto size = static_cast<std::int32_t>(children_.size());
    if (query.flag == BrowseFlag::Metadata) {
        out.SerializeContainerWithCount(id, parentId, title, size, typeCode);
        total = 1;
        return 1;
    }
    total = size;
    const std::int32_t start = std::max(query.start, 0);
    if (start >= size || query.count < 0) return 0;
    const std::int32_t written = query.count == 0 ? size - start : std::min(query.count, size - start);
    const bool fake_count = (query.options & BrowseOption::kFakeChildCount) != 0;
    for (std::int32_t i = start; i < start + written; ++i) {
        const CDSObject& child = *children_[static_cast<std::size_t>(i)];
        if (fake_count && IsContainerType(child.typeCode)) {
            out.SerializeContainerWithCount(child.id, child.parentId, child.title, kPlaceholderChildCount,
                                            child.typeCode);
        } else {
            out.SerializeObject(child);
        }
    }
    return written;
}

void CDSMenuEntry::SetIndexLocations(const std::map<std::string, std::string>&) {}

void CDSMenuEntry::SetSeparator(std::string_view) {}

void ListEntry::SetSeparator(std::string_view separator) {
    const std::lock_guard lock(separator_mutex_);
    separator_ = separator;
}

std::int32_t ListEntry::Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    BrowseQuery complete = query;
    std::string own;
    if (complete.separator.empty()) {
        const std::lock_guard lock(separator_mutex_);
        own = separator_;
        complete.separator = own;
    }
    if (complete.inner_separator.empty()) complete.inner_separator = complete.separator == "/" ? "$" : "#";
    return List(complete, out, total);
}

}  // namespace MediaServer
