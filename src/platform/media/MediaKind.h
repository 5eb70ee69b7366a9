#pragma once

#include <cstdint>

namespace MediaServer {

/// Media table type: selects the table of the media database.
enum class MediaKind : std::int32_t { Music = 0, Video = 1, Photo = 2, Playlist = 3, Directory = 4 };

}  // namespace MediaServer
