#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/videolibrary/CatalogueQuery.h"
#include "platform/videolibrary/CatalogueTables.h"
#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer::LibReelhouse {
namespace {

/// How the values of one category of one kind are found.
struct ValueQueries {
    std::string values;   ///< SELECT of the values: the columns "id" and "name", named ones only, in no order
    std::string without;  ///< FROM text of the records that have none
};

ValueQueries QueriesOfNames(const VideoKind& kind, std::string_view name_table) {
    const std::string name(name_table), map = name + "_map AS m WHERE m.";
    return {"SELECT n.id::text AS id, n." + name + " AS name FROM " + name + " AS n WHERE EXISTS (SELECT 1 FROM " +
                map + name + "_id = n.id AND m.type = " + std::to_string(kind.type) + ")",
            std::string(" FROM ") + kind.table + " AS t WHERE NOT EXISTS (SELECT 1 FROM " + map +
                "mapper_id = t.mapper_id)"};
}

/// @param id  expression for the id of a value.
ValueQueries QueriesOfColumn(const VideoKind& kind, const std::string& expression, const char* unknown,
                             const std::string& id) {
    const std::string from = std::string(" FROM ") + kind.table + " AS t WHERE " + expression;
    return {"SELECT (" + id + ")::text AS id, " + expression + " AS name" + from + " <> " + unknown + " GROUP BY " +
                expression,
            from + " = " + unknown};
}

/// @return nothing when the kind has no such category.
std::optional<ValueQueries> QueriesOf(const VideoKind& kind, _VIDEO_CATEGORY_ category) {
    const bool is_recording = kind.type == kTvRecord;
    switch (category) {
        case kCast:
        case kDirector:
        case kWriter:
        case kGenre:
            return QueriesOfNames(kind, kNameTables[category - kCast].name);
        case kYear:
            if (kind.year) return QueriesOfColumn(kind, kind.year, "0", kind.year);
            return QueriesOfColumn(kind, "left(t.record_date, 4)", "''", "left(t.record_date, 4)");
        case kDate:
            if (kind.date) return QueriesOfColumn(kind, kind.date, "''", kind.date);
            break;
        case kProgram:
            if (is_recording) return QueriesOfColumn(kind, "t.title", "''", "min(t.id)");
            break;
        case kChannel:
            if (is_recording) return QueriesOfColumn(kind, "t.channel_name", "''", "min(t.id)");
            break;
    }
    return std::nullopt;
}

void AppendValue(Json::Value& metadatas, std::string_view id, std::string_view name) {
    Json::Value value(Json::objectValue);
    value["id"] = Json::Value(id.data(), id.data() + id.size());
    value["name"] = Json::Value(name.data(), name.data() + name.size());
    metadatas.append(std::move(value));
}

/// Takes the place of the unknown value, which comes first, off a page. @return whether it is on the page.
bool TakeUnknown(Page& page) {
    const bool is_first = page.offset <= 0;
    if (!is_first) --page.offset;
    if (is_first && page.limit > 0) --page.limit;
    return is_first;
}

}  // namespace

bool VideoMetadataAPI::CategoryBrowse(_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category, Page page,
                                      _ORDER_DIRECTION_ direction, const char* keyword, Json::Value& reply,
                                      std::int32_t& total, std::int32_t& second) {
    const VideoKind* const kind = FindVideoKind(type == kTvShow ? kEpisode : type);
    if (!kind) return false;
    reply = Json::Value(Json::objectValue);
    Json::Value& metadatas = reply["metadatas"] = Json::Value(Json::arrayValue);
    total = second = 0;
    const auto queries = QueriesOf(*kind, category);
    if (!queries) return true;

    Parameters parameters;
    std::string values = " FROM (" + queries->values + ") AS v";
    if (keyword) values += " WHERE position(lower(" + parameters.Bind(keyword) + ") in lower(v.name::text)) > 0";
    const auto known = AskNumber("SELECT count(*)" + values, parameters, "count the values of a category");
    const auto without = AskNumber("SELECT count(*)" + queries->without, {}, "count videos without a category");
    if (!known || !without) return false;
    const bool has_unknown = *without > 0 && !keyword;
    total = *known + (has_unknown ? 1 : 0);
    second = *without;

    const bool is_only_unknown = page.limit == 1;
    if (has_unknown && TakeUnknown(page)) {
        AppendValue(metadatas, "0", "0");
        if (is_only_unknown) return true;
    }
    const KeptRows list =
        AskRows("SELECT v.id, v.name" + values + " ORDER BY v.name" + (direction == kDescending ? " DESC" : ""),
                parameters, page, "list the values of a category");
    for (int row = list.first; row < list.end; ++row) {
        AppendValue(metadatas, Field(list.rows.get(), row, 0), Field(list.rows.get(), row, 1));
    }
    return list.rows != nullptr;
}

}  // namespace MediaServer::LibReelhouse
