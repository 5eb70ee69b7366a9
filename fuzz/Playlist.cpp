// Playlist files, of which many come from strangers. The first line of an input is the extension.
#include "Target.h"
#include "platform/playlist/PlaylistFormats.h"
#include "platform/text/Text.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    const std::string_view extension = TakeLine(text);
    std::size_t entries = 0;
    std::string title;
    ReadPlaylist(extension, text, title, [&](const PlaylistEntry& entry) {
        Require(!entry.location.empty() && IsUtf8(entry.location) && IsUtf8(entry.title), "entries are texts");
        for (const std::string& path : PlaylistEntryPaths("/music/lists", entry.location)) {
            Require(path.starts_with('/') && path.find('\0') == std::string::npos && IsUtf8(path),
                    "a path is absolute, and one that the database can hold");
            Require(path == GetAbsolutePath(path), "a path is normalised");
        }
        return ++entries < kMaxPlaylistEntries;
    });
    Require(IsUtf8(title), "the title is a text");
    return 0;
}
