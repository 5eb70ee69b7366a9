#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Songs of a playlist in its order.
struct NIMBPlaylistRec {
    std::vector<NIMB_MEDIA_INFO> songs;
};

void NIMBPlaylistRecFree(NIMBPlaylistRec* records) noexcept;
struct PlaylistRecDeleter {
    void operator()(NIMBPlaylistRec* records) const noexcept { NIMBPlaylistRecFree(records); }
};
using PlaylistRecPtr = std::unique_ptr<NIMBPlaylistRec, PlaylistRecDeleter>;

/// The songs of the playlist with that row id: entries of its file that are music of the library. Other entries are
/// left out. A page costs one query; where the songs of a playlist are is found once for each change of the file or the
/// library.
/// @param[out] total   songs in all; without a page 0, or -1 when the database failed.
/// @param start,count  the page; a count of 0 means all the rest.
/// @param fields       select list over the music table with the column id, "*" for whole records.
/// @param local_only   reserved; entries that are no local files are always left out.
/// @return the page, to be freed with NIMBPlaylistRecFree; null when there is no such playlist (any more), or its file
///     or the database cannot be read (logged).
/// Threads: one at a time, which the callers see to: each call may hold the whole text of a playlist in memory.
NIMBPlaylistRec* ParsePlayListByField(std::int32_t row, std::int32_t& total, std::int32_t start, std::int32_t count,
                                      const char* fields, int local_only);

/// The own title of a playlist file, empty when it has none.
/// @return false with errno set when the file cannot be read or is too large.
bool ReadPlaylistTitle(const std::string& path, std::string& title);

}  // namespace MediaServer
