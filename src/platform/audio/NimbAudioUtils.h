#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/media/NIMB_MEDIA_INFO.h"
#include "platform/media/RadioStation.h"

namespace MediaServer {

// The audio utilities: smart playlists and internet radio.
// Threads: any, at once. Both read their folder again when a file in it has changed.

// Smart playlists: one rule file each ("*.json" or "*.nsp") in "smartplaylists" of the package's config folder, in the
// order of their file names; see SmartRules.h for what a file may say. A position beyond the last names nothing.

/// Number of smart playlists.
std::int32_t SmartPLSGetCount();
/// Names from position `start`, at most `count` (0: all). @param[out] total  number of smart playlists.
/// @param filter  reserved, null.
std::vector<std::string> SmartPLSEnum(std::int32_t start, std::int32_t count, std::int32_t& total, const char* filter);
/// Name of the playlist at a position; empty when there is none.
std::string SmartPLSGetName(std::int32_t index);
/// Songs of the playlist at a position; negative when the database does not answer. @param flag  reserved, false.
std::int32_t SmartPLSGetSongCount(std::int32_t index, bool flag);
/// Fills `songs` with one page. @param count  0 means all the rest, which are then all in memory at once.
/// @param[out] total  songs in all. @return number listed, negative when the database does not answer.
std::int32_t SmartPLSListSongs(std::int32_t index, std::int32_t start, std::int32_t count, std::int32_t& total,
                               std::vector<NIMB_MEDIA_INFO>& songs, bool flag);

// Internet radio: one playlist file (m3u, m3u8 or pls) for each genre in "radio" of the package's config folder, named
// after the genre. No station is ever contacted here, so one that does not answer costs nobody anything.

struct RadioGenre {
    std::int32_t number = 0;
    std::string name;
};
/// Prepares the station list. May be called any number of times.
void RadioInit();
std::int32_t RadioGetGenreCount();
/// Appends at most `count` genres (0: all) from position `start`. @param[out] total  genres in all. @return how many.
std::int32_t RadioGetGenres(std::int32_t start, std::int32_t count, std::vector<RadioGenre>& genres,
                            std::int32_t& total);
/// @return 1 when there is such a genre, else 0.
int RadioGetGenreData(std::int32_t genre, RadioGenre& record);
/// 0 for a genre that does not exist.
std::int32_t RadioGetGenreStationCount(std::int32_t genre);
/// A station's number is its place in the genre. Otherwise as RadioGetGenres.
std::int32_t RadioGetStations(std::int32_t genre, std::int32_t start, std::int32_t count,
                              std::vector<RadioStation>& stations, std::int32_t& total);
/// @return 1 when there is such a station, else 0.
int RadioGetStationData(std::int32_t genre, std::int32_t station, RadioStation& record);
/// True for the address of a station in the list, as it is written there.
bool RadioHasStation(std::string_view url);

}  // namespace MediaServer
