#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/database/MediaDB.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/text/DMSStringBundle.h"
#include "tree/CDSContainer.h"
#include "tree/CategoryDef.h"
#include "tree/ObjectId.h"

namespace MediaServer {

/// One Browse below a category node: each level is computed from the database by the fields chosen so far.
/// Lifetime: one request; everything given outlives it. Threads: one.
class CategoryQuery {
public:
    /// @param directory  absolute directory that the files lie below; empty for all files.
    /// @param condition  SQL condition that the files meet as well; empty for none.
    CategoryQuery(const CDSContainer& node, const CategoryList& categories, std::string_view directory,
                  const DMSStringBundle& strings, const BrowseQuery& query, CDSObjectSerializer& out,
                  std::string_view condition = {});

    /// As CDSContainer::Browse. When the database fails at a level, `total` gets its negative answer; a page of items
    /// without any row leaves `total` as it was.
    std::int32_t Browse(std::int32_t& total);

private:
    bool ParseFields();
    Lookup ReadConditions(std::string_view equals);
    Lookup ReadValue(const CategoryDef& category, std::int32_t row, std::string& value) const;
    void Restrict(MediaDB& db) const;

    std::int32_t WriteMetadata(std::int32_t& total);
    std::int32_t WriteNode();
    std::int32_t WriteItem(std::int32_t row);
    std::int32_t WriteChosen();
    Lookup TitleOf(const CategoryField& field, std::size_t level, std::string& title) const;
    std::int32_t CountChildren() const;

    std::int32_t WriteLevel(std::int32_t& total);
    void WriteGroup(const CategoryLevel& level, ChildId& ids, const MediaDB& row);
    void WriteOtherLetters(ChildId& ids);
    std::int32_t WriteItemPage(std::int32_t& total);
    void LogItemConditions() const;

    bool ShowsAllEntry(const CategoryLevel& level, std::int32_t groups) const;
    std::string ShowAllTitle(std::size_t level) const;
    std::string ValueTitle(const CategoryDef& category, std::string_view value) const;
    ChildId Ids() const { return {BrowsedId(), query_.separator, kMaxObjectId}; }
    std::string_view BrowsedId() const { return query_.sub_id.empty() ? std::string_view(node_.id) : query_.object_id; }
    std::string_view ParentId() const;

    const CDSContainer& node_;
    const MediaKind media_;
    const std::vector<CategoryLevel>& levels_;
    const std::string_view directory_;
    const std::string_view condition_;
    const DMSStringBundle& strings_;
    const BrowseQuery& query_;
    CDSObjectSerializer& out_;
    std::vector<CategoryField> fields_;    // chosen so far, one a level; an item stands behind the last level
    std::vector<std::string> conditions_;  // SQL text of the chosen fields
};

}  // namespace MediaServer
