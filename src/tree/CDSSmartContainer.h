#pragma once

#include "platform/text/DMSStringBundle.h"
#include "tree/CDSContainer.h"
#include "tree/CategoryDef.h"

namespace MediaServer {

/// The files of one media kind that a list of rules lets through, walked by their tags as a category folder.
/// Threads: Browse may run in several at once; only the separator is mutable after start-up.
class CDSSmartContainer : public ListEntry, public Categorizable {
public:
    /// @param any      one rule that holds is enough; else all must.
    /// @param strings  labels of unknown values and show-all entries; outlives the node.
    CDSSmartContainer(MediaKind kind, bool any, std::string parent_id, std::string object_id, std::string object_title,
                      ObjectTypeCode code, const DMSStringBundle& strings);

    /// Appends a rule: a whole SQL condition over the media table, used as written. From templates only.
    void AddRule(const std::string& rule);

    void AddCategory(const std::string& name, std::int32_t index) override { categories_.Add(name, index); }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    const bool any_;
    std::string condition_;  // the rules, joined; empty without a rule
    CategoryList categories_;
    const DMSStringBundle& strings_;
};

}  // namespace MediaServer
