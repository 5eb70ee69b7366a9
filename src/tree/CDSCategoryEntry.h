#pragma once

#include "platform/text/DMSStringBundle.h"
#include "tree/CDSContainer.h"
#include "tree/CategoryDef.h"

namespace MediaServer {

/// All indexed files of one media kind, walked by their tags; made with its first category.
/// Threads: Browse may run in several at once; only the separator is mutable after start-up.
class CDSCategoryEntry : public ListEntry, public Categorizable {
public:
    /// @param category,index  the first level, as AddCategory.
    /// @param strings         labels of unknown values and show-all entries; outlives the node.
    CDSCategoryEntry(MediaKind kind, const std::string& category, std::string parent_id, std::string object_id,
                     std::string object_title, ObjectTypeCode code, std::int32_t index, const DMSStringBundle& strings);

    void AddCategory(const std::string& name, std::int32_t index) override { categories_.Add(name, index); }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    CategoryList categories_;
    const DMSStringBundle& strings_;
};

}  // namespace MediaServer
