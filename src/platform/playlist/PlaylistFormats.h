#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

/// Largest playlist file that is read: some ten thousand entries of the longest usual paths.
inline constexpr std::size_t kMaxPlaylistBytes = 4 * 1024 * 1024;
/// Entries of a playlist after these are ignored.
inline constexpr std::size_t kMaxPlaylistEntries = 100'000;

/// One entry as its file has it, in UTF-8.
struct PlaylistEntry {
    std::string location;  ///< a path, relative or absolute, or a URI
    std::string title;     ///< empty when the file gives none
};

/// Told each entry in the order of the file; false ends the reading.
using PlaylistVisitor = std::function<bool(const PlaylistEntry&)>;

/// Reads the text of a playlist: m3u, m3u8, pls, xspf, wpl or asx, as `extension` (any case) says. Text that is not
/// UTF-8 is taken for Windows-1252. A file that breaks off in the middle gives what stands before.
/// @param[out] title  the playlist's own title; untouched when it has none.
/// @return false for an extension that names no such format.
bool ReadPlaylist(std::string_view extension, std::string_view text, std::string& title, const PlaylistVisitor& visit);

/// The absolute paths that an entry of a playlist in `directory` may mean, the likelier first: relative ones are joined
/// to the directory, "file:" URIs and percent-encoding undone, backslashes turned. Empty for what is no local file.
std::vector<std::string> PlaylistEntryPaths(std::string_view directory, std::string_view location);

}  // namespace MediaServer
