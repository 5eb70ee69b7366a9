#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/audio/ConfigFolder.h"
#include "platform/audio/NimbAudioUtils.h"
#include "platform/audio/SmartRules.h"
#include "platform/database/MediaDB.h"
#include "platform/database/PageBounds.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using Playlists = std::shared_ptr<const std::vector<SmartPlaylist>>;

void ReadRuleFile(const ConfigFile& file, std::vector<SmartPlaylist>& playlists) {
    std::string reason;
    const auto text = ReadWholeFile(file.path, kMaxConfigFileBytes);
    if (!text) reason = std::strerror(errno);
    auto playlist = text ? ParseSmartPlaylist(*text, BaseNameWithoutExtension(file.path), reason) : std::nullopt;
    if (playlist) {
        playlists.push_back(std::move(*playlist));
    } else {
        DMSPrintf(0, "could not read smart playlist \"%s\": %s", file.path.c_str(), reason.c_str());
    }
}

Playlists All() {
    static ConfigFolder<SmartPlaylist> folder({"json", "nsp"}, ReadRuleFile);
    return folder.Get(SystemPath(std::string(kPackageConfigDir) + "/smartplaylists"));
}

/// @param db  of the music table; restricted to the songs of the playlist.
std::int32_t CountSongs(const SmartPlaylist& playlist, MediaDB& db) {
    db.AddCondition(playlist.condition);
    const std::int32_t all = db.SelectTotal();
    return playlist.limit > 0 ? std::min(all, playlist.limit) : all;
}

}  // namespace

std::int32_t SmartPLSGetCount() {
    return static_cast<std::int32_t>(All()->size());
}

std::vector<std::string> SmartPLSEnum(std::int32_t start, std::int32_t count, std::int32_t& total, const char*) {
    const Playlists playlists = All();
    total = static_cast<std::int32_t>(playlists->size());
    const PageBounds page = BoundsOfPage(start, count, total);
    std::vector<std::string> names;
    for (std::int32_t i = page.first; i < page.end; ++i)
        names.push_back((*playlists)[static_cast<std::size_t>(i)].name);
    return names;
}

std::string SmartPLSGetName(std::int32_t index) {
    const Playlists playlists = All();
    const SmartPlaylist* playlist = EntryAt(*playlists, index);
    return playlist ? playlist->name : std::string();
}

std::int32_t SmartPLSGetSongCount(std::int32_t index, bool) {
    const Playlists playlists = All();
    const SmartPlaylist* playlist = EntryAt(*playlists, index);
    if (playlist == nullptr) return 0;
    MediaDB db(MediaKind::Music);
    return CountSongs(*playlist, db);
}

std::int32_t SmartPLSListSongs(std::int32_t index, std::int32_t start, std::int32_t count, std::int32_t& total,
                               std::vector<NIMB_MEDIA_INFO>& songs, bool) {
    const Playlists playlists = All();
    const SmartPlaylist* playlist = EntryAt(*playlists, index);
    total = 0;
    if (playlist == nullptr) return 0;
    MediaDB db(MediaKind::Music);
    const std::int32_t all = CountSongs(*playlist, db);
    if (all < 0) return all;
    total = all;
    const PageBounds page = BoundsOfPage(start, count, all);
    if (page.Size() == 0) return 0;
    db.KeepIds();
    if (db.Select("*", playlist->order, page.first, page.Size()) < 0) return -1;
    for (NIMB_MEDIA_INFO record; db.NextRow();) {
        db.FetchMediaItem(record);
        songs.push_back(record);
    }
    return db.Failed() ? -1 : static_cast<std::int32_t>(songs.size());
}

}  // namespace MediaServer
