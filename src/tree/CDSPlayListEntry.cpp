#include "tree/CDSPlayListEntry.h"

#include <algorithm>
#include <mutex>
#include <optional>

#include "platform/audio/NimbAudioUtils.h"
#include "platform/playlist/PlaylistParser.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "tree/MediaItems.h"
#include "tree/SongList.h"

namespace MediaServer {

namespace {

constexpr int kLocalOnly = 1;

/// In the whole process one at a time, as the parser of playlists wants it.
PlaylistRecPtr ParseOneAtATime(std::int32_t row, std::int32_t& total, std::int32_t start, std::int32_t count,
                               const char* fields) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    return PlaylistRecPtr(ParsePlayListByField(row, total, start, count, fields, kLocalOnly));
}

/// Position of a smart playlist's field "S<number>"; nothing for another text.
std::optional<std::int32_t> ParseSmartField(std::string_view field) {
    return field.starts_with('S') ? ParseRowId(field.substr(1)) : std::nullopt;
}

std::int32_t WriteSmartMetadata(std::int32_t index, const BrowseQuery& query, std::string_view parent_id,
                                CDSObjectSerializer& out, std::int32_t& total) {
    const std::string name = SmartPLSGetName(index);
    if (name.empty()) return 0;
    const std::int32_t songs = SmartPLSGetSongCount(index, false);
    if (songs < 0) return kActionFailed;
    out.SerializeContainerWithCount(query.object_id, parent_id, name, songs, ObjectType::kPlaylist);
    total = 1;
    return 1;
}

std::int32_t WritePlaylistMetadata(std::int32_t row, const BrowseQuery& query, std::string_view parent_id,
                                   CDSObjectSerializer& out, std::int32_t& total) {
    NIMB_MEDIA_INFO record;
    const Lookup found = FindMediaRecord(MediaKind::Playlist, row, record);
    if (found != Lookup::Found) return found == Lookup::Failed ? kActionFailed : 0;
    // The total is wanted, not the songs.
    std::int32_t songs = 0;
    if (!ParseOneAtATime(row, songs, 0, 1, "id, path")) return songs < 0 ? kActionFailed : 0;
    out.SerializeContainerWithCount(query.object_id, parent_id, record.title, songs, ObjectType::kPlaylist);
    total = 1;
    return 1;
}

}  // namespace

CDSPlayListEntry::CDSPlayListEntry(std::string parent_id, std::string object_id, std::string object_title,
                                   ObjectTypeCode code, bool merge_smart)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code), merge_smart_(merge_smart) {}

std::int32_t CDSPlayListEntry::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    if (query.flag == BrowseFlag::Metadata) {
        return query.sub_id.empty() ? WriteSelf(out, total) : WriteMetadata(query, out, total);
    }
    return query.sub_id.empty() ? WritePlaylists(query, out, total) : WritePlaylistSongs(query, out, total);
}

std::int32_t CDSPlayListEntry::WriteSelf(CDSObjectSerializer& out, std::int32_t& total) const {
    const std::int32_t playlists = MediaDB(MediaKind::Playlist).SelectTotal();
    if (playlists < 0) return kActionFailed;
    out.SerializeContainerWithCount(id, parentId, title, playlists + (merge_smart_ ? SmartPLSGetCount() : 0), typeCode);
    total = 1;
    return 1;
}

std::int32_t CDSPlayListEntry::WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out,
                                             std::int32_t& total) const {
    const auto [parent_id, field] = SplitLastField(query.object_id, query.separator);
    if (const auto smart = ParseSmartField(field)) return WriteSmartMetadata(*smart, query, parent_id, out, total);
    const bool is_song = field.starts_with('@');
    const std::optional<std::int32_t> row = ParseRowId(field.substr(is_song ? 1 : 0));
    if (!row) return kNoSuchObject;
    return is_song ? WriteSong(*row, query, out, total) : WritePlaylistMetadata(*row, query, parent_id, out, total);
}

std::int32_t CDSPlayListEntry::WritePlaylists(const BrowseQuery& query, CDSObjectSerializer& out,
                                              std::int32_t& total) const {
    if (query.count < 0) return 0;
    MediaDB db(MediaKind::Playlist);
    const std::int32_t all = db.SelectTotal();
    const std::int32_t start = std::max(query.start, 0);
    if (all < 0 || db.Select("*", "title", start, query.count) < 0) return kActionFailed;
    ChildId ids(id, query.separator, kMaxPlaylistId);
    std::int32_t written = 0;
    for (NIMB_MEDIA_INFO record; (query.count == 0 || written < query.count) && db.NextRow(); ++written) {
        db.FetchMediaItem(record);
        out.SerializeContainerWithCount(ids.Row(record.id), id, record.title, query.ListedChildCount(),
                                        ObjectType::kPlaylist);
    }
    if (db.Failed()) return kActionFailed;
    total = all;
    if (!merge_smart_) return written;

    total += SmartPLSGetCount();
    if (query.count != 0 && written >= query.count) return written;
    const std::int32_t first = std::max(start - all, 0);
    std::int32_t smart_total = 0, position = first;
    for (const std::string& name :
         SmartPLSEnum(first, query.count == 0 ? 0 : query.count - written, smart_total, nullptr)) {
        out.SerializeContainerWithCount(ids.Field("S", std::to_string(position++)), id, "@" + name,
                                        query.ListedChildCount(), ObjectType::kPlaylist);
        ++written;
    }
    return written;
}

std::int32_t CDSPlayListEntry::WritePlaylistSongs(const BrowseQuery& query, CDSObjectSerializer& out,
                                                  std::int32_t& total) const {
    total = 0;
    // One field, no more: a playlist holds songs only.
    if (query.sub_id.find(query.separator) != std::string_view::npos) return 0;
    ChildId ids(song_id_base_.empty() ? query.object_id : std::string_view(song_id_base_), query.separator, kMaxSongId);
    std::int32_t written = 0;
    if (const auto smart = ParseSmartField(query.sub_id)) {
        written = WriteSmartSongs(*smart, query, std::move(ids), out, total);
    } else {
        const std::optional<std::int32_t> row = ParseRowId(query.sub_id);
        if (!row) return kNoSuchObject;
        const auto read = [&](std::int32_t start, std::int32_t count, std::int32_t& all,
                              std::vector<NIMB_MEDIA_INFO>& songs) {
            PlaylistRecPtr records = ParseOneAtATime(*row, all, start, count, "*");
            if (records) songs = std::move(records->songs);
            return all >= 0;
        };
        written = WriteSongs(query, read, std::move(ids), out, total);
    }
    DMSPrintf(2, "playlist %s, %d songs, start=%d, limit=%d, iRet=%d", std::string(query.sub_id).c_str(), total,
              query.start, query.count, written);
    return written;
}

}  // namespace MediaServer
