#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MediaServer {

/// A smart playlist: what its rule file says, as SQL over the music table.
struct SmartPlaylist {
    std::string name;
    std::string condition;   ///< of columns, literals and escaped texts only; empty for all songs
    std::string order;       ///< ORDER BY text, never empty
    std::int32_t limit = 0;  ///< most songs; 0: no limit
};

/// Reads a rule file, JSON with comments:
///
///     { "name": "Quiet eighties",
///       "all": [ { "inTheRange": { "year": [1980, 1989] } },
///                { "any": [ { "contains": { "genre": "ambient" } }, { "is": { "artist": "Anna Bell" } } ] } ],
///       "sort": "year", "order": "desc", "limit": 100 }
///
/// "all" and "any" hold rules, one object with one operator each, or a nested "all" or "any".
/// Operators on texts: is, isNot, contains, notContains, startsWith, endsWith (without regard to case but the first
/// two); on numbers: is, isNot, gt, lt, inTheRange; on dates ("YYYY-MM-DD"): is, isNot, before, after, inTheRange,
/// inTheLast and notInTheLast (days).
/// Fields: title, album, artist, albumartist, genre, composer, filepath; track, disc, year, duration (seconds), bitrate
/// (kbit/s), filesize (bytes), samplerate (Hz), channels; dateadded.
/// "sort" names a field, or is "random", an order without sense that stays the same; "order" is "asc" or "desc".
/// Unknown members of the file are ignored, an unknown operator or field refuses it.
///
/// @param name  of the playlist when the file has none.
/// @param[out] reason  why the file was refused.
std::optional<SmartPlaylist> ParseSmartPlaylist(std::string_view json, std::string_view name, std::string& reason);

}  // namespace MediaServer
