#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// A cursor over one column of a media table by condition, for the file servers.
struct MediaInfoCursor;
struct MediaInfoCursorDeleter {
    void operator()(MediaInfoCursor* cursor) const noexcept;
};
using MediaInfoCursorPtr = std::unique_ptr<MediaInfoCursor, MediaInfoCursorDeleter>;

/// Opens a cursor. The condition is SQL text made by the caller from numbers only ("id=42").
/// @return null when the database cannot be asked.
MediaInfoCursor* MediaInfoDBOpen(MediaKind table, const char* column, const char* condition);
/// Next value; nothing after the last.
std::optional<std::string> MediaInfoDBGet(MediaInfoCursor* cursor);
void MediaInfoDBClose(MediaInfoCursor* cursor) noexcept;

/// A row by its id: found, not there, or the database did not answer.
enum class Lookup { Found, NotFound, Failed };
Lookup FindMediaPath(MediaKind table, std::int32_t id, std::string& path);
Lookup FindMediaRecord(MediaKind table, std::int32_t id, NIMB_MEDIA_INFO& record);

}  // namespace MediaServer
