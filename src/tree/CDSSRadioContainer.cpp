#include "tree/CDSSRadioContainer.h"

#include <algorithm>
#include <optional>

#include "platform/audio/NimbAudioUtils.h"
#include "platform/text/Text.h"
#include "tree/SongList.h"

namespace MediaServer {

namespace {

std::optional<std::int32_t> ParseGenre(std::string_view field) {
    const std::optional<std::int32_t> genre = ParseRowId(field);
    return genre && *genre < RadioGetGenreCount() ? genre : std::nullopt;
}

}  // namespace

CDSSRadioContainer::CDSSRadioContainer(std::string parent_id, std::string object_id, std::string object_title,
                                       ObjectTypeCode code)
    : ListEntry(std::move(object_title), std::move(object_id), std::move(parent_id), code) {
    RadioInit();
}

std::int32_t CDSSRadioContainer::List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) {
    if (query.flag == BrowseFlag::Metadata) {
        // One object, also when its station is gone from the list meanwhile.
        WriteMetadata(query, out);
        total = 1;
        return 1;
    }
    return query.sub_id.empty() ? WriteGenres(query, out, total) : WriteStations(query, out, total);
}

void CDSSRadioContainer::WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out) const {
    if (query.sub_id.empty()) {
        out.SerializeContainerWithCount(id, parentId, title, RadioGetGenreCount(), typeCode);
        return;
    }
    const auto [parent_id, last] = SplitLastField(query.object_id, query.separator);
    if (last.starts_with('@')) {
        const std::string_view genre_field = SplitObjectId(query.sub_id, query.separator).key;
        const std::optional<std::int32_t> genre = ParseGenre(genre_field), station = ParseRowId(last.substr(1));
        const bool has_two_fields = genre_field.size() + query.separator.size() + last.size() == query.sub_id.size();
        RadioStation record;
        if (has_two_fields && genre && station && RadioGetStationData(*genre, *station, record) == 1) {
            out.SerializeRadioItem(query.object_id, parent_id, record);
        }
        return;
    }
    const std::optional<std::int32_t> genre = ParseGenre(last);
    RadioGenre record;
    if (genre && RadioGetGenreData(*genre, record) == 1) {
        out.SerializeContainerWithCount(query.object_id, parent_id, record.name, RadioGetGenreStationCount(*genre),
                                        ObjectType::kPlaylist);
    }
}

std::int32_t CDSSRadioContainer::WriteGenres(const BrowseQuery& query, CDSObjectSerializer& out,
                                             std::int32_t& total) const {
    if (query.count < 0) return 0;
    std::vector<RadioGenre> genres;
    const std::int32_t written = RadioGetGenres(std::max(query.start, 0), query.count, genres, total);
    ChildId ids(id, query.separator, kMaxSongId);
    for (const RadioGenre& genre : genres) {
        out.SerializeContainer(ids.Row(genre.number), id, genre.name, ObjectType::kPlaylist);
    }
    return written;
}

std::int32_t CDSSRadioContainer::WriteStations(const BrowseQuery& query, CDSObjectSerializer& out,
                                               std::int32_t& total) const {
    const std::optional<std::int32_t> genre = ParseGenre(query.sub_id);
    if (!genre || query.count < 0) {
        total = 0;
        return 0;
    }
    std::vector<RadioStation> stations;
    const std::int32_t written = RadioGetStations(*genre, std::max(query.start, 0), query.count, stations, total);
    ChildId ids(query.object_id, query.separator, kMaxSongId);
    for (const RadioStation& station : stations) {
        out.SerializeRadioItem(ids.Item(station.number), query.object_id, station);
    }
    return written;
}

}  // namespace MediaServer
