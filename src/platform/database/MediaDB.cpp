#include "platform/database/MediaDB.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <variant>

#include "platform/database/GenerationCache.h"
#include "platform/database/MediaColumns.h"
#include "platform/database/PageBounds.h"
#include "platform/database/RowFields.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Rows held in memory at once. A page of any usual size is one round trip; more rows are fetched in chunks of this.
constexpr std::int32_t kChunkRows = 1024;

/// Pages that begin later are found through the list of all ids, because the server would read and drop the rows
/// before.
constexpr std::int32_t kDeepOffset = 1000;
/// As many rows are read and dropped rather than that another row is looked for.
constexpr std::int32_t kFarRows = 2000;
/// Longer lists are not kept, so that memory stays flat whatever the library's size.
constexpr std::int32_t kMaxKeptIds = 1500000;
constexpr std::int32_t kMaxKeptGroups = 12000;
/// The row that stands for a group.
constexpr char kGroupKey[] = "min(id)";

/// A row whose place in a list is known: the rows that follow it are found without those before.
struct Mark {
    std::int32_t place = 0;
    std::int32_t id = 0;
};

/// What all connections of the process know of the library as it is now.
struct LibraryCache {
    GenerationCache<std::int32_t> totals{1 << 20};
    /// Null stands for a list that is too long to keep.
    GenerationCache<std::shared_ptr<const PGresult>> groups{8 << 20};
    GenerationCache<std::shared_ptr<const std::vector<std::int32_t>>> ids{8 << 20};
    /// Rows in the midst of long lists, by the list and the thousand that their place is in.
    GenerationCache<Mark> marks{1 << 20};
};

LibraryCache& Cache() {
    static LibraryCache cache;
    return cache;
}

// Conditions may ask for the last so many days, so what is known ends at midnight, too, by the clock of the database.
#define LIBRARY_GENERATION "SELECT generation + (current_date - date 'epoch') FROM library"
constexpr const char* kGeneration = LIBRARY_GENERATION;
constexpr std::string_view kWithGeneration = ", (" LIBRARY_GENERATION ") AS library_generation";

std::string RecordColumns(MediaKind table) {
    std::string columns;
    for (const MediaColumn& column : kMediaColumns)
        if (column.IsIn(table)) columns.append(columns.empty() ? "" : ", ").append(column.name);
    return columns;
}

/// A select list in which "*" at the beginning stands for the columns of a record. The others that a table has are the
/// indexer's own, and every value that the server sends costs.
std::string ColumnList(MediaKind table, std::string_view fields) {
    if (!fields.starts_with('*')) return std::string(fields);
    static const std::array<std::string, 5> kRecords = {
        RecordColumns(MediaKind::Music), RecordColumns(MediaKind::Video), RecordColumns(MediaKind::Photo),
        RecordColumns(MediaKind::Playlist), RecordColumns(MediaKind::Directory)};
    return std::string(kRecords[static_cast<std::size_t>(table)]).append(fields.substr(1));
}

/// Ids of "{1,2,3}".
std::vector<std::int32_t> ParseIds(std::string_view list) {
    std::vector<std::int32_t> ids;
    const char* const end = list.data() + list.size();
    for (const char* at = list.data(); at < end; ++at) {
        std::int32_t id;
        const auto [next, error] = std::from_chars(at, end, id);
        if (error == std::errc()) ids.push_back(id);
        at = std::max(at, next);
    }
    return ids;
}

/// A list of columns in the opposite order.
std::string Descending(std::string_view columns) {
    std::string text;
    for (const char c : columns) c == ',' ? text.append(" DESC,") : text.append(1, c);
    return text.append(" DESC");
}

std::string WithoutFinalSlash(std::string_view directory) {
    while (directory.ends_with('/')) directory.remove_suffix(1);
    return std::string(directory);
}

}  // namespace

MediaDB::MediaDB(MediaKind table, PGconn* connection) : table_(table), connection_(connection) {}

MediaDB::~MediaDB() {
    CloseCursor();
}

void MediaDB::AddCondition(std::string_view condition) {
    if (condition.empty()) return;
    where_.append(where_.empty() ? " WHERE (" : " AND (").append(condition).append(")");
}

void MediaDB::AddParentCondition(std::string_view directory) {
    AddCondition("parent_id = (SELECT id FROM directory WHERE path = '" +
                 SQLEscapeString(WithoutFinalSlash(directory)) + "')");
}

void MediaDB::AddSubtreeCondition(std::string_view directory) {
    AddCondition("path LIKE '" + SQLEscapeCondition(WithoutFinalSlash(directory)) + "/%'");
}

void MediaDB::AddExcludeVideoCodec(std::string_view codec) {
    if (table_ == MediaKind::Video) AddCondition("video_codec <> '" + SQLEscapeString(codec) + "'");
}

std::string MediaDB::SelectText(std::string_view fields, std::string_view tail) const {
    std::string sql = "SELECT ";
    sql.append(ColumnList(table_, fields)).append(" FROM ").append(TableName(table_)).append(where_).append(tail);
    return sql;
}

std::string MediaDB::TailText(std::string_view order, std::string_view group) {
    std::string tail;
    if (!group.empty()) tail.append(" GROUP BY ").append(group);
    if (!order.empty()) tail.append(" ORDER BY ").append(order).append(", ").append(group.empty() ? "id" : group);
    return tail;
}

PgResult MediaDB::Run(const std::string& sql, const char* what, RowFormat format) {
    PgResult rows = Query(connection_, sql.c_str(), {}, what, kQueryPatience, format);
    if (!rows) DMSPrintf(2, "the query was: %s", sql.c_str());
    return rows;
}

/// @return 0 after the reason was logged.
std::int64_t MediaDB::Generation() {
    if (generation_ != 0) return generation_;
    const PgResult rows = Run(kGeneration, "read the library's generation");
    if (rows && PQntuples(rows.get()) == 1) Store(FieldOf(rows.get(), 0, 0), generation_);
    return generation_;
}

std::int32_t MediaDB::Select(std::string_view fields, std::string_view order, std::int32_t offset, std::int32_t limit,
                             std::string_view group) {
    CloseCursor();
    ShowRows(nullptr, 0, 0);
    // Whole records have fields of many types; of the other lists the fields are shown as the server writes them.
    format_ = fields.starts_with('*') ? RowFormat::Binary : RowFormat::Text;
    offset = std::max(offset, 0);
    // Pages of records must join even when nobody cares in which order.
    if (order.empty() && group.empty() && fields.starts_with('*') && (offset > 0 || limit > 0)) order = "id";
    const std::string tail = TailText(order, group);
    if (!group.empty()) {
        if (const auto count = SelectKeptGroups(SelectText(fields, tail), offset, limit)) return *count;
    }
    if ((keeps_ids_ || offset >= kDeepOffset) && limit > 0 && limit <= kChunkRows && !order.empty()) {
        if (fields == "*" && !keeps_ids_) return SelectMarkedPage(order, offset, limit);
        return SelectDeepPage(std::string(fields), tail, group.empty() ? "id" : kGroupKey, offset, limit);
    }
    if (generation_ != 0 || limit <= 0) return SelectPage(SelectText(fields, tail), offset, limit);
    // The total is asked for next: the page brings the generation along, which saves that a round trip.
    const std::int32_t count = SelectPage(SelectText(std::string(fields).append(kWithGeneration), tail), offset, limit);
    if (count > 0 && rows_) Store(FieldOf(rows_.get(), 0, PQnfields(rows_.get()) - 1), generation_);
    return count;
}

/// Groups are made of all rows whatever the page, so the whole list is made once and then kept.
/// @return the number of rows or a negative value; nothing when the list is too long to keep.
std::optional<std::int32_t> MediaDB::SelectKeptGroups(const std::string& select, std::int32_t offset,
                                                      std::int32_t limit) {
    const std::int64_t generation = Generation();
    if (generation == 0) return -1;
    auto groups = Cache().groups.Find(select, generation);
    if (!groups) {
        PgResult rows = Run(select + " LIMIT " + std::to_string(kMaxKeptGroups + 1), "list groups of media");
        if (!rows) return -1;
        const bool keep = PQntuples(rows.get()) <= kMaxKeptGroups;
        groups = keep ? std::shared_ptr<const PGresult>(std::move(rows)) : nullptr;
        Cache().groups.Keep(select, generation, *groups, keep ? PQresultMemorySize(groups->get()) : 0);
    }
    if (!*groups) return std::nullopt;
    const std::int32_t count = PQntuples(groups->get());
    const PageBounds page = BoundsOfPage(offset, limit, count);
    return ShowRows(*groups, page.first, page.end);
}

/// A page that begins at the nearest known row before it, or else at the row that the index counts off, from the end
/// where that is nearer.
/// @param order  columns, all ascending.
std::int32_t MediaDB::SelectMarkedPage(std::string_view order, std::int32_t offset, std::int32_t limit) {
    const std::int32_t total = SelectTotal();
    if (total < 0) return -1;
    if (offset >= total) return 0;
    const std::string key = std::string(order).append(", id");
    const std::string list = SelectText("id", " ORDER BY " + key);
    const auto name_of = [&list](std::int32_t step) { return list + " #" + std::to_string(step); };
    std::optional<Mark> mark;
    const std::int32_t least = std::max((offset - kFarRows) / kDeepOffset, 1);  // marks before are too far
    for (std::int32_t step = offset / kDeepOffset; step >= least && !mark; --step) {
        mark = Cache().marks.Find(name_of(step), generation_);
        if (mark && mark->place > offset) mark.reset();
    }
    if (!mark || offset - mark->place > kFarRows) {
        const bool from_end = offset > total / 2;
        const std::string row = from_end ? SelectText("id", " ORDER BY " + Descending(key)) : list;
        const std::int32_t before = from_end ? total - 1 - offset : offset;
        const PgResult found = Run(row + " OFFSET " + std::to_string(before) + " LIMIT 1", "find a page of media");
        if (!found) return -1;
        if (PQntuples(found.get()) == 0) return 0;
        mark = Mark{offset, 0};
        Store(FieldOf(found.get(), 0, 0), mark->id);
        Cache().marks.Keep(name_of(offset / kDeepOffset), generation_, *mark, 0);
    }
    MediaDB rest(table_, connection_);
    rest.where_ = where_;
    rest.AddCondition("(" + key + ") >= (SELECT " + key + " FROM " + TableName(table_) +
                      " WHERE id = " + std::to_string(mark->id) + ")");
    return SelectPage(rest.SelectText("*", " ORDER BY " + key), offset - mark->place, limit);
}

/// The ids by which the pages of a list are found, in its order.
/// @param tail  what follows the conditions: groups and order.
/// @return nothing when the database failed, null when the list is too long to keep.
std::optional<MediaDB::IdList> MediaDB::KeptIds(const std::string& fields, const std::string& tail, const char* key) {
    const std::int64_t generation = Generation();
    if (generation == 0) return std::nullopt;
    const std::string select = SelectText(fields, tail);
    if (auto ids = Cache().ids.Find(select, generation)) return ids;
    const std::string list = SelectText(fields + ", " + key + " AS listed_id", tail);
    const PgResult rows =
        Run("SELECT array_agg(listed_id) FROM (" + list + " LIMIT " + std::to_string(kMaxKeptIds + 1) + ") AS list",
            "list the ids of media");
    if (!rows) return std::nullopt;
    IdList ids = std::make_shared<const std::vector<std::int32_t>>(ParseIds(PQgetvalue(rows.get(), 0, 0)));
    if (ids->size() > kMaxKeptIds) ids = nullptr;
    Cache().ids.Keep(select, generation, ids, ids ? ids->size() * sizeof(std::int32_t) : 0);
    return ids;
}

/// @param key   expression for the row that stands for a row of the list: grouping only the rows of a page by it gives
///     the page of groups.
std::int32_t MediaDB::SelectDeepPage(const std::string& fields, const std::string& tail, const char* key,
                                     std::int32_t offset, std::int32_t limit) {
    const std::optional<IdList> kept = KeptIds(fields, tail, key);
    if (!kept) return -1;
    if (!*kept) return SelectPage(SelectText(fields, tail), offset, limit);
    const std::vector<std::int32_t>& ids = **kept;
    std::string page;
    const std::size_t end = std::min<std::size_t>(ids.size(), static_cast<std::size_t>(offset) + limit);
    for (std::size_t i = offset; i < end; ++i) page.append(page.empty() ? "" : ",").append(std::to_string(ids[i]));
    if (page.empty()) return 0;
    MediaDB rows(table_, connection_);
    rows.AddCondition("id IN (" + page + ")");
    return SelectPage(rows.SelectText(fields, tail), 0, limit);
}

std::int32_t MediaDB::SelectPage(const std::string& select, std::int32_t offset, std::int32_t limit) {
    const std::string page = offset > 0 ? select + " OFFSET " + std::to_string(offset) : select;
    const bool fits = limit > 0 && limit <= kChunkRows;
    // One row more than a chunk tells whether a cursor is needed at all; nearly always it is not.
    PgResult rows = Run(page + " LIMIT " + std::to_string(fits ? limit : kChunkRows + 1), "list media", format_);
    if (!rows) return -1;
    const std::int32_t count = PQntuples(rows.get());
    if (count <= kChunkRows) return ShowRows(std::move(rows), 0, count);
    return OpenCursor(limit > 0 ? page + " LIMIT " + std::to_string(limit) : page);
}

std::int32_t MediaDB::ShowRows(std::shared_ptr<const PGresult> rows, int first, int end) {
    rows_ = std::move(rows);
    row_ = first - 1;
    end_ = end;
    record_columns_.clear();
    return end - first;
}

/// Leaves the rows on the server, outside any transaction, so that other queries of this connection, and their
/// failures, do not disturb the reading.
std::int32_t MediaDB::OpenCursor(const std::string& select) {
    thread_local unsigned counter = 0;
    std::string name = "media_rows_" + std::to_string(++counter);
    if (!Run("DECLARE " + name + " SCROLL CURSOR WITH HOLD FOR " + select, "open a list of media")) return -1;
    cursor_ = std::move(name);
    const PgResult all = Run("MOVE FORWARD ALL IN " + cursor_, "count a list of media");
    if (!all || !Run("MOVE ABSOLUTE 0 IN " + cursor_, "rewind a list of media")) return -1;
    return ToInt(PQcmdTuples(all.get()));
}

bool MediaDB::FetchChunk() {
    PgResult rows = Run("FETCH " + std::to_string(kChunkRows) + " FROM " + cursor_, "read a list of media", format_);
    failed_ = !rows;
    const int count = rows ? PQntuples(rows.get()) : 0;
    return ShowRows(std::move(rows), 0, count) > 0;
}

void MediaDB::CloseCursor() noexcept {
    if (cursor_.empty()) return;
    char sql[64];  // the destructor must do without memory
    std::snprintf(sql, sizeof sql, "CLOSE %s", cursor_.c_str());
    // A connection that was lost took its cursors along.
    if (PQstatus(connection_) == CONNECTION_OK) Query(connection_, sql, {}, "close a list of media");
    cursor_.clear();
}

std::int32_t MediaDB::SelectTotal() {
    return CountOf(SelectText("count(*)", ""), "count media");
}

std::int32_t MediaDB::SelectTotal(std::string_view fields, std::string_view group, std::string_view order) {
    // Counting groups costs as much as listing them, and the list is asked for next.
    if (!order.empty()) {
        const std::string tail = TailText(order, group);
        if (const auto count = SelectKeptGroups(SelectText(fields, tail), 0, 0)) return *count;
        const std::optional<IdList> ids = KeptIds(std::string(fields), tail, kGroupKey);
        if (!ids) return -1;
        if (*ids) return static_cast<std::int32_t>((*ids)->size());
    }
    const std::string groups = SelectText(fields, TailText({}, group));
    return CountOf("SELECT count(*) FROM (" + groups + ") AS groups", "count groups of media");
}

std::int32_t MediaDB::CountOf(const std::string& sql, const char* what) {
    const std::int64_t generation = Generation();
    if (generation == 0) return -1;
    if (const auto total = Cache().totals.Find(sql, generation)) return *total;
    const PgResult rows = Run(sql, what);
    if (!rows || PQntuples(rows.get()) != 1) return -1;
    const std::int32_t total = ToInt(PQgetvalue(rows.get(), 0, 0));
    Cache().totals.Keep(sql, generation, total, 0);
    return total;
}

bool MediaDB::NextRow() {
    if (row_ + 1 >= end_ && !cursor_.empty() && FetchChunk()) return NextRow();
    row_ = std::min(row_ + 1, end_);
    return row_ < end_;
}

bool MediaDB::HasRow() const {
    return rows_ && row_ >= 0 && row_ < end_;
}

std::string_view MediaDB::FetchField(const char* name) const {
    return HasRow() ? FieldOf(rows_.get(), row_, FindColumn(rows_.get(), name)).bytes : std::string_view{};
}

std::int32_t MediaDB::FetchFieldAsInt(const char* name) const {
    std::int32_t value = 0;
    if (HasRow()) Store(FieldOf(rows_.get(), row_, FindColumn(rows_.get(), name)), value);
    return value;
}

void MediaDB::FetchMediaItem(NIMB_MEDIA_INFO& record) const {
    if (record_columns_.empty()) {
        for (const MediaColumn& column : kMediaColumns) {
            record_columns_.push_back(rows_ ? FindColumn(rows_.get(), column.name) : -1);
        }
    }
    for (std::size_t i = 0; i < std::size(kMediaColumns); ++i) {
        const Field field = HasRow() ? FieldOf(rows_.get(), row_, record_columns_[i]) : Field{};
        std::visit([&](auto member) { Store(field, record.*member); }, kMediaColumns[i].member);
    }
}

}  // namespace MediaServer
