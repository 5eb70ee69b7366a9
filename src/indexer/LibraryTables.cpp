#include "indexer/LibraryTables.h"

#include <charconv>
#include <cstring>
#include <variant>

#include "platform/database/MediaColumns.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Storing some rows takes milliseconds.
constexpr std::chrono::minutes kRowsPatience{1};

constexpr MediaKind kFileKinds[] = {MediaKind::Music, MediaKind::Video, MediaKind::Photo, MediaKind::Playlist};
constexpr MediaKind kAllKinds[] = {MediaKind::Music, MediaKind::Video, MediaKind::Photo, MediaKind::Playlist,
                                   MediaKind::Directory};

template <typename Number>
Number Parse(const char* text) {
    Number value = 0;
    std::from_chars(text, text + std::strlen(text), value);
    return value;
}

/// "SELECT … UNION ALL SELECT …" over all tables of files, with the columns of KnownRow.
std::string SelectFiles(const std::string& condition) {
    std::string sql;
    for (const MediaKind kind : kFileKinds) {
        sql.append(sql.empty() ? "" : " UNION ALL ")
            .append("SELECT " + std::to_string(static_cast<int>(kind)))
            .append(", id, path, filesize, mtime, inode FROM ")
            .append(TableName(kind))
            .append(" WHERE " + condition);
    }
    return sql;
}

std::vector<KnownRow> ReadKnownRows(const PGresult* rows) {
    std::vector<KnownRow> known;
    known.reserve(static_cast<std::size_t>(PQntuples(rows)));
    for (int row = 0; row < PQntuples(rows); ++row) {
        const auto value = [&](int column) { return PQgetvalue(rows, row, column); };
        known.push_back(
            {static_cast<MediaKind>(Parse<int>(value(0))),
             Parse<std::int32_t>(value(1)),
             value(2),
             {Parse<std::int64_t>(value(3)), Parse<std::int64_t>(value(4)), Parse<std::int64_t>(value(5))}});
    }
    return known;
}

// Rows travel as one JSON parameter: the server gives each member the type of its column.

void AppendJson(std::string& json, const std::string& text) {
    constexpr char kHex[] = "0123456789abcdef";
    json.push_back('"');
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json.append({'\\', c});
        } else if (static_cast<unsigned char>(c) < 0x20) {
            json.append({'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]});
        } else {
            json.push_back(c);
        }
    }
    json.push_back('"');
}

template <typename Number>
void AppendJson(std::string& json, Number value) {
    char text[48];
    json.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

void AppendJsonMember(std::string& json, const char* name, const auto& value) {
    json.append(json.ends_with('{') ? "\"" : ",\"").append(name).append("\":");
    AppendJson(json, value);
}

void AppendJsonRow(std::string& json, const MediaRow& row) {
    json.push_back('{');
    for (const MediaColumn& column : kMediaColumns) {
        std::visit([&](auto member) { AppendJsonMember(json, column.name, row.record.*member); }, column.member);
    }
    AppendJsonMember(json, "parent_id", row.parent_id);
    AppendJsonMember(json, "mtime", row.state.mtime);
    AppendJsonMember(json, "inode", row.state.inode);
    json.push_back('}');
}

}  // namespace

LibraryTables::LibraryTables(PGconn* connection) : connection_(connection) {
    const std::string statements[] = {
        // What a crash of the server loses, the next scan finds again.
        "SET synchronous_commit = off",
        // A folder of a million files may go at once.
        "SET statement_timeout = '10min'",  // kStatementPatience goes by it
        // Looking up a directory takes less time than planning it, and a plan made for a library that is still small
        // must do for what it becomes during the scan.
        "SET plan_cache_mode = force_generic_plan",
        "SET enable_seqscan = off",
        "DEALLOCATE ALL",
        "PREPARE children_of(integer) AS " + SelectFiles("parent_id = $1") +
            " UNION ALL SELECT 4, id, path, 0, mtime, 0 FROM directory WHERE parent_id = $1",
        "PREPARE files_by_inode(bigint[]) AS " + SelectFiles("inode = ANY ($1)"),
        "CREATE TEMP TABLE IF NOT EXISTS gone (kind integer, id integer, path text)",
        "TRUNCATE gone",
    };
    for (const std::string& statement : statements) Run(statement, {}, "prepare the database session");
}

PgResult LibraryTables::Run(const std::string& sql, std::span<const char* const> params, const char* what) {
    PgResult result = Query(connection_, sql.c_str(), params, what, kStatementPatience);
    if (!result) throw DatabaseError{};
    return result;
}

std::vector<KnownRow> LibraryTables::ChildrenOf(std::int32_t directory_id) {
    const std::string sql = "EXECUTE children_of(" + std::to_string(directory_id) + ")";
    return ReadKnownRows(Run(sql, {}, "read the rows of a directory").get());
}

std::vector<KnownRow> LibraryTables::FilesByInode(std::span<const std::int64_t> inodes) {
    std::string list;
    for (const std::int64_t inode : inodes) list.append(list.empty() ? "" : ",").append(std::to_string(inode));
    return ReadKnownRows(Run("EXECUTE files_by_inode('{" + list + "}')", {}, "look for renamed files").get());
}

std::int32_t LibraryTables::FindDirectory(const std::string& path) {
    const char* const params[] = {path.c_str()};
    const PgResult rows = Run("SELECT id FROM directory WHERE path = $1", params, "look up a directory");
    return PQntuples(rows.get()) > 0 ? Parse<std::int32_t>(PQgetvalue(rows.get(), 0, 0)) : 0;
}

bool LibraryTables::IsEmpty() {
    return PQntuples(Run("SELECT 1 FROM directory LIMIT 1", {}, "look into the library").get()) == 0;
}

std::vector<KnownRow> LibraryTables::PhotosAfter(std::int32_t id, const std::set<std::int32_t>* directories, int most) {
    std::string sql = "SELECT 2, id, path, filesize, mtime, inode FROM photo WHERE id > " + std::to_string(id);
    if (directories) {
        sql += " AND parent_id = ANY ('{";
        for (const std::int32_t directory : *directories) {
            sql.append(sql.ends_with('{') ? "" : ",").append(std::to_string(directory));
        }
        sql += "}')";
    }
    sql += " ORDER BY id LIMIT " + std::to_string(most);
    return ReadKnownRows(Run(sql, {}, "look for photos without thumbnails").get());
}

std::int32_t LibraryTables::PutDirectory(const std::string& path, const std::string& title, std::int32_t parent_id,
                                         std::int64_t mtime) {
    static const std::string sql =
        std::string("WITH raised AS (") + kRaiseGeneration +
        ") INSERT INTO directory (path, title, parent_id, mtime, date)"
        " VALUES ($1, $2, nullif($3::integer, 0), $4, to_timestamp($4::bigint / 1000000000)::timestamp)"
        " ON CONFLICT (path) DO UPDATE SET title = EXCLUDED.title, parent_id = EXCLUDED.parent_id,"
        " mtime = EXCLUDED.mtime, date = EXCLUDED.date RETURNING id";
    const std::string parent = std::to_string(parent_id), time = std::to_string(mtime);
    const char* const params[] = {path.c_str(), title.c_str(), parent.c_str(), time.c_str()};
    const PgResult same =
        Run("SELECT id FROM directory WHERE path = $1 AND title = $2 AND parent_id IS NOT DISTINCT FROM "
            "nullif($3::integer, 0)",
            std::span(params).first(3), "look up a directory");
    if (PQntuples(same.get()) > 0) return Parse<std::int32_t>(PQgetvalue(same.get(), 0, 0));
    const PgResult rows = Run(sql, params, "add a directory");
    return Parse<std::int32_t>(PQgetvalue(rows.get(), 0, 0));
}

bool LibraryTables::Rename(const KnownRow& row, const std::string& path, std::int32_t parent_id) {
    const std::string id = std::to_string(row.id), parent = std::to_string(parent_id);
    const char* const params[] = {id.c_str(), path.c_str(), parent.c_str()};
    const std::string table = TableName(row.kind);
    const PgResult result = Run(std::string("WITH raised AS (") + kRaiseGeneration + ") UPDATE " + table +
                                    " SET path = $2, parent_id = $3 WHERE id = $1 AND NOT EXISTS (SELECT 1 FROM " +
                                    table + " WHERE path = $2)",
                                params, "rename a file");
    return std::string_view(PQcmdTuples(result.get())) == "1";
}

/// INSERT of the columns that both the record and the table have.
const std::string& LibraryTables::InsertText(MediaKind kind) {
    std::string& text = insert_texts_[static_cast<std::size_t>(kind)];
    if (!text.empty()) return text;
    const std::string table = TableName(kind);
    std::string columns = "parent_id, mtime, inode", updates =
                                                         "parent_id = EXCLUDED.parent_id, mtime = EXCLUDED.mtime,"
                                                         " inode = EXCLUDED.inode";
    for (const MediaColumn& column : kMediaColumns) {
        const std::string name = column.name;
        if (name == "id" || !column.IsIn(kind)) continue;
        columns.append(", ").append(name);
        updates.append(", ").append(name).append(" = EXCLUDED.").append(name);
    }
    text = std::string("WITH raised AS (") + kRaiseGeneration + ") INSERT INTO " + table + " (" + columns +
           ") SELECT " + columns + " FROM json_populate_recordset(NULL::" + table +
           ", $1) ON CONFLICT (path) DO UPDATE SET " + updates;
    return text;
}

bool LibraryTables::TryPutFiles(MediaKind kind, std::span<const MediaRow> rows, std::string& reason) {
    std::string json = "[";
    for (const MediaRow& row : rows) {
        if (json.size() > 1) json.push_back(',');
        AppendJsonRow(json, row);
    }
    json.push_back(']');
    const char* const params[] = {json.c_str()};
    return TryQuery(connection_, InsertText(kind).c_str(), params, kRowsPatience, reason) != nullptr;
}

std::size_t LibraryTables::PutFiles(MediaKind kind, std::span<const MediaRow> rows) {
    std::string reason;
    if (rows.empty() || TryPutFiles(kind, rows, reason)) return 0;
    // One row that the database does not take must not cost the others.
    std::size_t refused = 0;
    for (const MediaRow& row : rows) {
        if (rows.size() > 1 && TryPutFiles(kind, {&row, 1}, reason)) continue;
        DMSPrintf(0, "could not store \"%s\": %s", row.record.path.c_str(), reason.c_str());
        if (PQstatus(connection_) != CONNECTION_OK) throw DatabaseError{};
        ++refused;
    }
    return refused;
}

void LibraryTables::MarkGone(const KnownRow& row) {
    const std::string kind = std::to_string(static_cast<int>(row.kind)), id = std::to_string(row.id);
    const char* const params[] = {kind.c_str(), id.c_str(), row.path.c_str()};
    Run("INSERT INTO gone VALUES ($1, $2, $3)", params, "note a deleted file");
    if (row.kind != MediaKind::Directory) return;
    MarkAllGone("path LIKE '" + SQLEscapeCondition(row.path) + "/%'");
}

void LibraryTables::MarkAllGone(const std::string& condition) {
    for (const MediaKind table : kAllKinds) {
        Run("INSERT INTO gone SELECT " + std::to_string(static_cast<int>(table)) + ", id, path FROM " +
                TableName(table) + " WHERE " + condition,
            {}, "note deleted files");
    }
}

void LibraryTables::MarkUnshared(const FolderSet& folders) {
    std::string condition = "true";
    for (const MediaFolder& folder : folders.All()) {
        condition += " AND path <> '" + SQLEscapeString(folder.path) + "' AND path NOT LIKE '" +
                     SQLEscapeCondition(folder.path) + "/%'";
    }
    const PgResult tops = Run("SELECT 1 FROM directory WHERE parent_id IS NULL AND " + condition + " LIMIT 1", {},
                              "look for folders that are no longer shared");
    if (PQntuples(tops.get()) > 0) MarkAllGone(condition);
}

std::size_t LibraryTables::RemoveGone() {
    std::size_t removed = 0;
    for (const MediaKind kind : kAllKinds) {
        std::string sql = "DELETE FROM ";
        sql.append(TableName(kind)).append(" AS t USING gone WHERE gone.kind = ");
        sql.append(std::to_string(static_cast<int>(kind))).append(" AND t.id = gone.id AND t.path = gone.path");
        removed += Parse<std::size_t>(PQcmdTuples(Run(sql, {}, "remove deleted files").get()));
    }
    Run("TRUNCATE gone", {}, "remove deleted files");
    if (removed > 0) Run(kRaiseGeneration, {}, "raise the library's generation");
    return removed;
}

void LibraryTables::Analyze() {
    for (const MediaKind kind : kAllKinds)
        Run(std::string("VACUUM (ANALYZE) ") + TableName(kind), {}, "analyze the library");
}

}  // namespace MediaServer
