#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/media/NIMB_MEDIA_INFO.h"
#include "tree/CDSContainer.h"
#include "tree/ObjectId.h"

namespace MediaServer {

inline constexpr std::size_t kMaxSongId = 63;      ///< longest identifier of a song below a playlist
inline constexpr std::size_t kMaxPlaylistId = 31;  ///< longest identifier of a playlist

/// Reads at most `count` songs from position `start`. @return false when they cannot be read.
using SongReader = std::function<bool(std::int32_t start, std::int32_t count, std::int32_t& total,
                                      std::vector<NIMB_MEDIA_INFO>& songs)>;

/// Writes the songs of the page that `query` asks for, so many at a time that memory does not grow with the page.
/// @param[out] total  songs in all; untouched on failure.
/// @return songs written, or -501 when they cannot be read.
std::int32_t WriteSongs(const BrowseQuery& query, const SongReader& read, ChildId ids, CDSObjectSerializer& out,
                        std::int32_t& total);

/// The songs of the smart playlist at `index`, as WriteSongs.
std::int32_t WriteSmartSongs(std::int32_t index, const BrowseQuery& query, ChildId ids, CDSObjectSerializer& out,
                             std::int32_t& total);

/// Writes the music item of a row under the browsed identifier. @return 1, 0 when there is no such row, or -501.
std::int32_t WriteSong(std::int32_t row, const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total);

}  // namespace MediaServer
