#include "platform/videolibrary/VideoMetadataAPI.h"

#include "platform/text/Text.h"
#include "platform/videolibrary/CatalogueQuery.h"
#include "platform/videolibrary/CatalogueTables.h"
#include "platform/videolibrary/VideoRecords.h"

namespace MediaServer::LibReelhouse {
namespace {

/// Conditions on one table, joined by AND.
class Conditions {
public:
    Conditions(Parameters& parameters, std::string_view alias) : parameters_(parameters), alias_(alias) {}

    /// @param condition  SQL text with "t" for the table.
    void Add(const std::string& condition) { text_ += (text_.empty() ? "(" : " AND (") + condition + ")"; }
    void AddEquals(const std::string& expression, const std::string& value) {
        Add(expression + " = " + parameters_.Bind(value));
    }
    /// A record that has the name of that row; of an empty id, one that has none at all.
    void AddName(std::string_view name_table, const std::string& id) {
        const std::string table(name_table);
        const std::string of_record = " FROM " + table + "_map AS m WHERE m.mapper_id = " + alias_ + ".mapper_id";
        if (id.empty()) return Add("NOT EXISTS (SELECT 1" + of_record + ")");
        const std::int32_t row = ParseRowId(id).value_or(0);
        Add(alias_ + ".mapper_id IN (SELECT m.mapper_id FROM " + table + "_map AS m WHERE m." + table +
            "_id = " + parameters_.Bind(std::to_string(row)) + "::integer)");
    }
    std::string Where() const { return text_.empty() ? "" : " WHERE " + text_; }
    bool None() const { return text_.empty(); }

private:
    Parameters& parameters_;
    const std::string alias_;
    std::string text_;
};

void AddYear(Conditions& conditions, const VideoKind& kind, const std::string& year) {
    if (year.empty()) return;
    if (kind.year) {
        conditions.AddEquals(kind.year, std::to_string(ToInt(year)));
    } else {
        conditions.AddEquals("left(t.record_date, 4)", year == "0" ? "" : year);
    }
}

/// What is filtered on beside the name tables.
void AddTexts(Conditions& conditions, const VideoKind& kind, const ListQuery& query) {
    if (query.filter2) conditions.AddEquals(kind.date, *query.filter2);
    if (kind.type != kTvRecord) return;
    if (query.filter1) conditions.AddEquals("t.title", *query.filter1);
    if (query.filter3) conditions.AddEquals("t.channel_name", *query.filter3);
}

void AddFilters(Conditions& conditions, const VideoKind& kind, const ListQuery& query) {
    const std::optional<std::string>* const filters[] = {&query.filter1, &query.filter2, &query.filter3,
                                                         &query.filter4};
    // The positions of people are partly taken by what a recording has instead, and by the date of a home video.
    const bool is_recording = kind.type == kTvRecord;
    const bool by_date = is_recording || (kind.type == kHomeVideo && query.by_date);
    for (const NameTable& table : kNameTables) {
        const std::optional<std::string>& filter = *filters[&table - kNameTables];
        const bool is_taken = (is_recording && table.name != "gnere") || (by_date && table.name == "director");
        if (filter && !is_taken) conditions.AddName(table.name, *filter);
    }
    if (by_date) AddTexts(conditions, kind, query);
    AddYear(conditions, kind, query.year);
}

/// The WHERE text of a list. Shows are found by what their episodes have.
std::string WhereText(const VideoKind& kind, const ListQuery& query, Parameters& parameters) {
    Conditions conditions(parameters, "t");
    if (kind.type == kTvShow) {
        Conditions of_episodes(parameters, "t");
        AddFilters(of_episodes, *FindVideoKind(kEpisode), query);
        if (!of_episodes.None()) {
            conditions.Add("t.id IN (SELECT t.tvshow_id FROM tvshow_episode AS t" + of_episodes.Where() + ")");
        }
        return conditions.Where();
    }
    AddFilters(conditions, kind, query);
    if (!query.show_id.empty() && kind.type == kEpisode) {
        conditions.AddEquals("t.tvshow_id", std::to_string(ParseRowId(query.show_id).value_or(0)));
    }
    // Of the newest records, those with a subtitle; not the newest of these.
    if (query.subtitled && query.recent <= 0) conditions.Add("t.subtitled");
    return conditions.Where();
}

/// FROM text of all records of a list.
std::string SourceText(const VideoKind& kind, const ListQuery& query, Parameters& parameters) {
    const std::string rows = " FROM " + std::string(kind.table) + " AS t" + WhereText(kind, query, parameters);
    if (query.recent <= 0) return rows;
    // A show is as new as its newest episode.
    const std::string added = kind.type == kTvShow
                                  ? "(SELECT max(e.id) FROM tvshow_episode AS e WHERE e.tvshow_id = t.id)"
                                  : std::string("t.id");
    return " FROM (SELECT t.*" + rows + " ORDER BY " + added + " DESC LIMIT " + std::to_string(query.recent) +
           ") AS t" + (query.subtitled && kind.type != kTvShow ? " WHERE t.subtitled" : "");
}

std::string OrderText(const VideoKind& kind, std::string_view sort_by, _ORDER_DIRECTION_ direction) {
    const char* const down = direction == kDescending ? " DESC" : "";
    std::string text = " ORDER BY ";
    if (sort_by == "sort_title" || sort_by == "sort_time") {
        for (const char* key : sort_by == "sort_title" ? kind.title_order : kind.time_order) {
            if (key) text.append(key).append(down).append(", ");
        }
    }
    return text + "t.id" + down;
}

}  // namespace

bool VideoMetadataAPI::List(const ListQuery& query, Json::Value& reply) {
    const VideoKind* const kind = FindVideoKind(query.type);
    if (!kind) return false;
    Parameters parameters;
    const std::string source = SourceText(*kind, query, parameters);
    const std::string order = OrderText(*kind, query.sort_by, query.direction);
    reply = Json::Value(Json::objectValue);
    const auto total = AskNumber("SELECT count(*)" + source, parameters, "count videos");
    // The page is found from an index alone; only its own records are then looked at.
    const bool has_all = source == std::string(" FROM ") + kind->table + " AS t";
    const auto ids = AskIds("SELECT t.id" + source + order, parameters, query.page,
                            has_all ? Finding::ByIndex : Finding::BySorting, "list videos");
    if (!total || !ids) return false;
    Parameters page;
    const std::string of_page = " WHERE t.id = ANY (" + page.Bind(ArrayText(*ids)) + "::integer[])";
    if (!ReadRecords(SelectRecords(*kind) + of_page + order, page, query.additional, reply[kind->list_key]))
        return false;
    reply["total"] = *total;
    reply["offset"] = query.page.offset;
    return true;
}

bool VideoMetadataAPI::GetInfo(_VIDEO_TABLE_TYPE_ type, std::uint32_t additional, std::string_view id,
                               Json::Value& reply) {
    const VideoKind* const kind = FindVideoKind(type);
    const std::optional<std::int32_t> row = ParseRowId(id);
    if (!kind || !row) return false;
    Parameters parameters;
    const std::string sql = SelectRecords(*kind) + " WHERE t.id = " + parameters.Bind(std::to_string(*row));
    reply = Json::Value(Json::objectValue);
    return ReadRecords(sql, parameters, additional, reply[kind->list_key]) && !reply[kind->list_key].empty();
}

std::string VideoMetadataAPI::GetFieldValueById(std::string_view table, std::string_view id, std::string_view field) {
    const VideoField* const known = FindVideoField(table, field);
    const std::optional<std::int32_t> row = ParseRowId(id);
    if (!known || !row) return {};
    Parameters parameters;
    const PgResult rows = Ask(std::string("SELECT ") + known->sql + " FROM " + std::string(known->table) +
                                  " AS t WHERE t.id = " + parameters.Bind(std::to_string(*row)),
                              parameters, "read a field of the video library");
    return rows && PQntuples(rows.get()) > 0 ? std::string(Field(rows.get(), 0, 0)) : std::string();
}

bool VideoMetadataAPI::GetFieldMapByKey(std::string_view table, std::string_view field, std::string_view value,
                                        std::map<std::string, std::string>& fields) {
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'') value = value.substr(1, value.size() - 2);
    const VideoField* const key = FindVideoField(table, field);
    if (!key || (key->is_number && !ParseRowId(value))) return false;
    std::string columns;
    for (const VideoField& other : AllVideoFields()) {
        if (other.table != table) continue;
        columns.append(columns.empty() ? "" : ", ").append(other.sql).append(" AS ").append(other.name);
    }
    Parameters parameters;
    const std::string sql = "SELECT " + columns + " FROM " + std::string(key->table) + " AS t WHERE " + key->sql +
                            " = " + parameters.Bind(value) + " ORDER BY t.id LIMIT 1";
    const PgResult rows = Ask(sql, parameters, "look up a record of the video library");
    if (!rows || PQntuples(rows.get()) == 0) return false;
    for (int column = 0; column < PQnfields(rows.get()); ++column) {
        fields.insert_or_assign(PQfname(rows.get(), column), std::string(Field(rows.get(), 0, column)));
    }
    return true;
}

}  // namespace MediaServer::LibReelhouse
