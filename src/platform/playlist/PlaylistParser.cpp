#include "platform/playlist/PlaylistParser.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <unordered_map>

#include "platform/database/GenerationCache.h"
#include "platform/database/MediaDB.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/database/PageBounds.h"
#include "platform/playlist/PlaylistFormats.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Entries that are looked up at once, which is what reading a playlist costs in memory besides its text.
constexpr std::size_t kLookupEntries = 1000;

using SongIds = std::vector<std::int32_t>;

/// What is known of the playlists that were read last, bounded in bytes.
GenerationCache<std::shared_ptr<const SongIds>>& Cache() {
    static GenerationCache<std::shared_ptr<const SongIds>> cache{4 << 20};
    return cache;
}

void AppendArrayElement(std::string& array, std::string_view text) {
    array.append(array.empty() ? "{\"" : ",\"");
    for (const char c : text) {
        if (c == '"' || c == '\\') array.push_back('\\');
        array.push_back(c);
    }
    array.push_back('"');
}

std::int64_t LibraryGeneration() {
    const PgResult rows = Query(ThreadDBConnection(), "SELECT generation FROM library", {}, "read the generation");
    return rows && PQntuples(rows.get()) == 1 ? std::atoll(PQgetvalue(rows.get(), 0, 0)) : 0;
}

/// Finds the rows of entries, a batch with one query.
class SongFinder {
public:
    explicit SongFinder(std::string directory) : directory_(std::move(directory)) {}

    bool Add(const PlaylistEntry& entry) {
        const std::vector<std::string> paths = PlaylistEntryPaths(directory_, entry.location);
        if (paths.empty()) return true;
        for (const std::string& path : paths) AppendArrayElement(array_, path);
        batch_.push_back(paths);
        return batch_.size() < kLookupEntries || Flush();
    }

    /// @return false when the database failed.
    bool Flush() {
        if (batch_.empty()) return true;
        array_.push_back('}');
        const char* const params[] = {array_.c_str()};
        const PgResult rows = Query(ThreadDBConnection(), "SELECT path, id FROM music WHERE path = ANY($1::text[])",
                                    params, "look up the songs of a playlist");
        failed_ = !rows;
        std::unordered_map<std::string_view, std::int32_t> found;
        for (int row = 0; rows && row < PQntuples(rows.get()); ++row) {
            found.emplace(PQgetvalue(rows.get(), row, 0), ToInt(PQgetvalue(rows.get(), row, 1)));
        }
        for (const std::vector<std::string>& paths : batch_) {
            for (const std::string& path : paths) {
                const auto song = found.find(path);
                if (song == found.end()) continue;
                ids_.push_back(song->second);
                break;
            }
        }
        batch_.clear();
        array_.clear();
        return !failed_;
    }

    /// Null when the database failed.
    std::shared_ptr<const SongIds> Finish() {
        if (failed_ || !Flush()) return nullptr;
        return std::make_shared<const SongIds>(std::move(ids_));
    }

private:
    const std::string directory_;
    std::vector<std::vector<std::string>> batch_;
    std::string array_;
    SongIds ids_;
    bool failed_ = false;
};

Lookup NoPlaylist(const std::string& path) {
    DMSPrintf(1, "could not read playlist \"%s\": %s", path.c_str(), std::strerror(errno));
    return Lookup::NotFound;
}

Lookup ReadSongs(const std::string& path, std::shared_ptr<const SongIds>& songs) {
    const auto text = ReadWholeFile(path, kMaxPlaylistBytes);
    if (!text) return NoPlaylist(path);
    SongFinder finder{std::string(DirName(path))};
    std::string title;
    ReadPlaylist(PathExtension(path), *text, title, [&](const PlaylistEntry& entry) { return finder.Add(entry); });
    songs = finder.Finish();
    return songs ? Lookup::Found : Lookup::Failed;
}

/// The songs of a playlist file, read again when the file or the library has changed.
Lookup FindSongs(const std::string& path, std::shared_ptr<const SongIds>& songs) {
    const std::optional<FileState> state = StateOf(path);
    if (!state) return NoPlaylist(path);
    const std::int64_t generation = LibraryGeneration();
    if (generation == 0) return Lookup::Failed;
    const std::string key = path + "|" + std::to_string(state->size) + "|" + std::to_string(state->mtime);
    if (const auto known = Cache().Find(key, generation)) {
        songs = *known;
        return Lookup::Found;
    }
    const Lookup found = ReadSongs(path, songs);
    if (found == Lookup::Found) Cache().Keep(key, generation, songs, songs->size() * sizeof(std::int32_t));
    return found;
}

/// @return false when the database failed.
bool FetchSongs(const SongIds& page, const char* fields, std::vector<NIMB_MEDIA_INFO>& songs) {
    if (page.empty()) return true;
    std::string condition = "id IN (";
    for (const std::int32_t id : page) condition.append(std::to_string(id)).append(",");
    condition.back() = ')';
    MediaDB db(MediaKind::Music);
    db.AddCondition(condition);
    if (db.Select(fields, {}, 0, 0) < 0) return false;
    std::unordered_map<std::int32_t, NIMB_MEDIA_INFO> records;
    for (NIMB_MEDIA_INFO record; db.NextRow();) {
        db.FetchMediaItem(record);
        records.emplace(record.id, record);
    }
    // A playlist may play a song more than once.
    for (const std::int32_t id : page) {
        if (const auto record = records.find(id); record != records.end()) songs.push_back(record->second);
    }
    return !db.Failed();
}

}  // namespace

void NIMBPlaylistRecFree(NIMBPlaylistRec* records) noexcept {
    delete records;
}

NIMBPlaylistRec* ParsePlayListByField(std::int32_t row, std::int32_t& total, std::int32_t start, std::int32_t count,
                                      const char* fields, int) {
    std::string path;
    std::shared_ptr<const SongIds> songs;
    Lookup found = FindMediaPath(MediaKind::Playlist, row, path);
    if (found == Lookup::Found) found = FindSongs(path, songs);
    total = found == Lookup::Failed ? -1 : 0;
    if (found != Lookup::Found) return nullptr;
    const auto size = static_cast<std::int32_t>(songs->size());
    const PageBounds bounds = BoundsOfPage(start, count, size);
    PlaylistRecPtr page(new NIMBPlaylistRec);
    const bool is_read =
        FetchSongs(SongIds(songs->begin() + bounds.first, songs->begin() + bounds.end), fields, page->songs);
    total = is_read ? size : -1;
    return is_read ? page.release() : nullptr;
}

bool ReadPlaylistTitle(const std::string& path, std::string& title) {
    const auto text = ReadWholeFile(path, kMaxPlaylistBytes);
    if (!text) return false;
    title.clear();
    // The title stands at the head in every format but one, and may be missing: the whole file is looked at.
    return ReadPlaylist(PathExtension(path), *text, title, [](const PlaylistEntry&) { return true; });
}

}  // namespace MediaServer
