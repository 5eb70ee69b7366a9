#include "platform/database/MediaDB.h"

#include <array>
#include <charconv>
#include <cstring>
#include <variant>

#include "platform/database/MediaColumns.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Rows held in memory at once. A page of any usual size is one round trip; more rows are fetched in chunks of this.
constexpr std::int32_t kChunkRows = 256;

constexpr std::array<std::string_view, 5> kTables = {"music", "video", "photo", "playlist", "directory"};

std::string_view TableName(MediaKind table) {
    return kTables[static_cast<std::size_t>(table)];
}

void Store(std::string_view text, std::string& value) {
    value.assign(text);
}

template <typename Number>
void Store(std::string_view text, Number& value) {
    value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
}

/// Column of that exact name; PQfnumber would allocate a folded copy of the name for each field of each row.
int FindColumn(const PGresult* rows, const char* name) {
    const int columns = PQnfields(rows);
    for (int column = 0; column < columns; ++column) {
        if (std::strcmp(PQfname(rows, column), name) == 0) return column;
    }
    return -1;
}

std::int32_t CountOf(const PGresult* rows) {
    return rows && PQntuples(rows) == 1 ? ToInt(PQgetvalue(rows, 0, 0)) : -1;
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
    sql.append(fields).append(" FROM ").append(TableName(table_)).append(where_).append(tail);
    return sql;
}

PgResult MediaDB::Run(const std::string& sql, const char* what) {
    PgResult rows = Query(connection_, sql.c_str(), {}, what);
    if (!rows) DMSPrintf(2, "the query was: %s", sql.c_str());
    return rows;
}

std::int32_t MediaDB::Select(std::string_view fields, std::string_view order, std::int32_t offset, std::int32_t limit,
                             std::string_view group) {
    CloseCursor();
    rows_.reset();
    record_columns_.clear();
    row_ = -1;

    std::string tail;
    if (!group.empty()) tail.append(" GROUP BY ").append(group);
    if (!order.empty()) tail.append(" ORDER BY ").append(order).append(", ").append(group.empty() ? "id" : group);
    if (offset > 0) tail.append(" OFFSET ").append(std::to_string(offset));
    const std::string select = SelectText(fields, tail);
    const bool fits = limit > 0 && limit <= kChunkRows;

    // One row more than a chunk tells whether a cursor is needed at all; nearly always it is not.
    rows_ = Run(select + " LIMIT " + std::to_string(fits ? limit : kChunkRows + 1), "list media");
    if (!rows_) return -1;
    const std::int32_t count = PQntuples(rows_.get());
    if (count <= kChunkRows) return count;
    return OpenCursor(limit > 0 ? select + " LIMIT " + std::to_string(limit) : select);
}

/// Leaves the rows on the server, outside any transaction, so that other queries of this connection, and their
/// failures, do not disturb the reading.
std::int32_t MediaDB::OpenCursor(const std::string& select) {
    rows_.reset();
    thread_local unsigned counter = 0;
    const std::string name = "media_rows_" + std::to_string(++counter);
    if (!Run("DECLARE " + name + " SCROLL CURSOR WITH HOLD FOR " + select, "open a list of media")) return -1;
    cursor_ = name;
    const PgResult all = Run("MOVE FORWARD ALL IN " + name, "count a list of media");
    if (!all || !Run("MOVE ABSOLUTE 0 IN " + name, "rewind a list of media")) return -1;
    return ToInt(PQcmdTuples(all.get()));
}

bool MediaDB::FetchChunk() {
    row_ = -1;
    record_columns_.clear();
    rows_ = Run("FETCH " + std::to_string(kChunkRows) + " FROM " + cursor_, "read a list of media");
    return rows_ && PQntuples(rows_.get()) > 0;
}

void MediaDB::CloseCursor() {
    if (cursor_.empty()) return;
    // A connection that was lost took its cursors along.
    if (PQstatus(connection_) == CONNECTION_OK) Run("CLOSE " + cursor_, "close a list of media");
    cursor_.clear();
}

std::int32_t MediaDB::SelectTotal() {
    return CountOf(Run(SelectText("count(*)", ""), "count media").get());
}

std::int32_t MediaDB::SelectTotal(std::string_view fields, std::string_view group) {
    const std::string groups = SelectText(fields, std::string(" GROUP BY ").append(group));
    return CountOf(Run("SELECT count(*) FROM (" + groups + ") AS groups", "count groups of media").get());
}

bool MediaDB::NextRow() {
    if (rows_ && row_ + 1 < PQntuples(rows_.get())) {
        ++row_;
        return true;
    }
    if (cursor_.empty() || !FetchChunk()) {
        row_ = rows_ ? PQntuples(rows_.get()) : 0;
        return false;
    }
    row_ = 0;
    return true;
}

std::string_view MediaDB::Value(int column) const {
    if (column < 0 || !rows_ || row_ < 0 || row_ >= PQntuples(rows_.get())) return {};
    return {PQgetvalue(rows_.get(), row_, column), static_cast<std::size_t>(PQgetlength(rows_.get(), row_, column))};
}

std::string_view MediaDB::FetchField(const char* name) const {
    return rows_ ? Value(FindColumn(rows_.get(), name)) : std::string_view{};
}

std::int32_t MediaDB::FetchFieldAsInt(const char* name) const {
    std::int32_t value;
    Store(FetchField(name), value);
    return value;
}

void MediaDB::FetchMediaItem(NIMB_MEDIA_INFO& record) const {
    if (record_columns_.empty()) {
        for (const MediaColumn& column : kMediaColumns) {
            record_columns_.push_back(rows_ ? FindColumn(rows_.get(), column.name) : -1);
        }
    }
    for (std::size_t i = 0; i < std::size(kMediaColumns); ++i) {
        const std::string_view text = Value(record_columns_[i]);
        std::visit([&](auto member) { Store(text, record.*member); }, kMediaColumns[i].member);
    }
}

}  // namespace MediaServer
