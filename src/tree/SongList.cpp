#include "tree/SongList.h"

#include <algorithm>

#include "platform/audio/NimbAudioUtils.h"
#include "tree/MediaItems.h"

namespace MediaServer {

namespace {

constexpr std::int32_t kSongsAtOnce = 200;

}  // namespace

std::int32_t WriteSongs(const BrowseQuery& query, const SongReader& read, ChildId ids, CDSObjectSerializer& out,
                        std::int32_t& total) {
    if (query.count < 0) return 0;
    const std::int32_t start = std::max(query.start, 0);
    std::int32_t written = 0, done = 0, all = 0;
    std::vector<NIMB_MEDIA_INFO> songs;
    do {
        const std::int32_t wanted = query.count == 0 ? kSongsAtOnce : std::min(kSongsAtOnce, query.count - done);
        songs.clear();
        if (!read(start + done, wanted, all, songs)) return kActionFailed;
        for (const NIMB_MEDIA_INFO& song : songs) out.SerializeMusicItem(ids.Item(song.id), query.object_id, song);
        written += static_cast<std::int32_t>(songs.size());
        done += wanted;
        // A piece may come short when a song goes in between.
    } while (done < all - start && (query.count == 0 || done < query.count));
    total = all;
    return written;
}

std::int32_t WriteSmartSongs(std::int32_t index, const BrowseQuery& query, ChildId ids, CDSObjectSerializer& out,
                             std::int32_t& total) {
    const auto read = [&](std::int32_t start, std::int32_t count, std::int32_t& all,
                          std::vector<NIMB_MEDIA_INFO>& songs) {
        return SmartPLSListSongs(index, start, count, all, songs, false) >= 0;
    };
    return WriteSongs(query, read, std::move(ids), out, total);
}

std::int32_t WriteSong(std::int32_t row, const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    NIMB_MEDIA_INFO record;
    const Lookup found = FindMediaRecord(MediaKind::Music, row, record);
    if (found != Lookup::Found) return found == Lookup::Failed ? kActionFailed : 0;
    out.SerializeMediaItem(MediaKind::Music, query.object_id,
                           SplitLastField(query.object_id, query.separator).parent_id, record);
    total = 1;
    return 1;
}

}  // namespace MediaServer
