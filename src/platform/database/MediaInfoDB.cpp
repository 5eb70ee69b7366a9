#include "platform/database/MediaInfoDB.h"

#include "platform/database/MediaDB.h"

namespace MediaServer {
namespace {

Lookup SelectRow(MediaDB& rows, std::string_view fields, std::int32_t id) {
    rows.AddCondition("id=" + std::to_string(id));
    // No two rows have one id: without a limit the database orders nothing and counts nothing.
    if (rows.Select(fields, "", 0, 0) < 0) return Lookup::Failed;
    return rows.NextRow() ? Lookup::Found : Lookup::NotFound;
}

}  // namespace

struct MediaInfoCursor {
    MediaInfoCursor(MediaKind table, const char* name) : rows(table), column(name) {}
    MediaDB rows;
    std::string column;
};

void MediaInfoCursorDeleter::operator()(MediaInfoCursor* cursor) const noexcept {
    MediaInfoDBClose(cursor);
}

MediaInfoCursor* MediaInfoDBOpen(MediaKind table, const char* column, const char* condition) {
    auto cursor = std::make_unique<MediaInfoCursor>(table, column);
    cursor->rows.AddCondition(condition);
    return cursor->rows.Select(column, "", 0, 0) < 0 ? nullptr : cursor.release();
}

std::optional<std::string> MediaInfoDBGet(MediaInfoCursor* cursor) {
    if (!cursor || !cursor->rows.NextRow()) return std::nullopt;
    return std::string(cursor->rows.FetchField(cursor->column.c_str()));
}

void MediaInfoDBClose(MediaInfoCursor* cursor) noexcept {
    delete cursor;
}

Lookup FindMediaPath(MediaKind table, std::int32_t id, std::string& path) {
    MediaDB rows(table);
    const Lookup lookup = SelectRow(rows, "path", id);
    if (lookup == Lookup::Found) path.assign(rows.FetchField("path"));
    return lookup;
}

Lookup FindMediaRecord(MediaKind table, std::int32_t id, NIMB_MEDIA_INFO& record) {
    MediaDB rows(table);
    const Lookup lookup = SelectRow(rows, "*", id);
    if (lookup == Lookup::Found) rows.FetchMediaItem(record);
    return lookup;
}

}  // namespace MediaServer
