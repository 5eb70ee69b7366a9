#include "tree/CDSSmartPlayList.h"

#include <algorithm>
#include <optional>

#include "platform/audio/NimbAudioUtils.h"
#include "platform/text/Text.h"
#include "tree/SongList.h"

namespace MediaServer {

CDSSmartPlayList::CDSSmartPlayList(std::string parent_id, std::string object_id, std::string object_title,
                                   ObjectTypeCode code)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code) {}

std::int32_t CDSSmartPlayList::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    if (query.flag == BrowseFlag::Metadata) return WriteMetadata(query, out, total);
    if (query.sub_id.empty()) return WritePlaylists(query, out, total);
    total = 0;
    if (query.sub_id.find(query.separator) != std::string_view::npos) return 0;
    const std::optional<std::int32_t> index = ParseRowId(query.sub_id);
    if (!index) return kNoSuchObject;
    return WriteSmartSongs(*index, query, ChildId(query.object_id, query.separator, kMaxPlaylistId), out, total);
}

std::int32_t CDSSmartPlayList::WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out,
                                             std::int32_t& total) const {
    if (query.sub_id.empty()) {
        out.SerializeContainerWithCount(id, parentId, title, SmartPLSGetCount(), typeCode);
        total = 1;
        return 1;
    }
    const auto [parent_id, field] = SplitLastField(query.object_id, query.separator);
    const bool is_song = field.starts_with('@');
    const std::optional<std::int32_t> number = ParseRowId(field.substr(is_song ? 1 : 0));
    if (!number) return kNoSuchObject;
    if (is_song) return WriteSong(*number, query, out, total);
    // Clients count what they are told, so a playlist that is gone is told as one object without text.
    const std::string name = SmartPLSGetName(*number);
    if (!name.empty()) {
        const std::int32_t songs = SmartPLSGetSongCount(*number, false);
        if (songs < 0) return kActionFailed;
        out.SerializeContainerWithCount(query.object_id, parent_id, name, songs, ObjectType::kPlaylist);
    }
    total = 1;
    return 1;
}

std::int32_t CDSSmartPlayList::WritePlaylists(const BrowseQuery& query, CDSObjectSerializer& out,
                                              std::int32_t& total) const {
    if (query.count < 0) return 0;
    const std::int32_t start = std::max(query.start, 0);
    ChildId ids(id, query.separator, kMaxPlaylistId);
    std::int32_t written = 0;
    for (const std::string& name : SmartPLSEnum(start, query.count, total, nullptr)) {
        out.SerializeContainerWithCount(ids.Row(start + written), id, name, query.ListedChildCount(),
                                        ObjectType::kPlaylist);
        ++written;
    }
    return written;
}

}  // namespace MediaServer
