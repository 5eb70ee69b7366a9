#include "platform/database/MediaInfoDB.h"

#include "platform/database/MediaDB.h"

namespace MediaServer {

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
    rows.AddCondition("id=" + std::to_string(id));
    const std::int32_t count = rows.Select("path", "", 0, 1);
    if (count < 0) return Lookup::Failed;
    if (!rows.NextRow()) return Lookup::NotFound;
    path.assign(rows.FetchField("path"));
    return Lookup::Found;
}

}  // namespace MediaServer
