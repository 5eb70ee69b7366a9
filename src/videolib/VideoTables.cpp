#include "videolib/VideoTables.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace MediaServer {

using namespace LibReelhouse;

MappingTable::MappingTable()
    : names_{{1, "movie"},     {2, "tvshow"},       {3, "tvshow_episode"}, {4, "home_video"},      {5, "tv_record"},
             {7, "plus_info"}, {6, "summary"},      {16, "mapper"},        {9, "writer"},          {10, "director"},
             {11, "actor"},    {12, "gnere"},       {13, "collection"},    {14, "collection_map"}, {15, "video_file"},
             {8, "poster"},    {17, "watch_status"}} {}

std::string_view MappingTable::operator[](std::uint32_t code) const {
    const auto found = names_.find(code);
    return found == names_.end() ? std::string_view() : found->second;
}

const MappingTable& TableNames() {
    static const MappingTable table;
    return table;
}

const char* VideoListKeyTable(_VIDEO_TABLE_TYPE_ kind) {
    static constexpr const char* kKeys[] = {"", "movies", "tvshows", "episodes", "videos", "recordings"};
    return kind < std::size(kKeys) ? kKeys[kind] : kKeys[0];
}

_VIDEO_TABLE_TYPE_ VideoKindOf(std::string_view media) {
    static constexpr std::pair<std::string_view, _VIDEO_TABLE_TYPE_> kKinds[] = {
        {"tvshow", kTvShow}, {"home_video", kHomeVideo}, {"tv_record", kTvRecord}};
    const auto* row =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& k) { return k.first == media; });
    return row == std::end(kKinds) ? kMovie : row->second;
}

_VIDEO_TABLE_TYPE_ FiledKind(_VIDEO_TABLE_TYPE_ kind) {
    return kind == kTvShow ? kEpisode : kind;
}

const VideoCategory* VideoCategoryTable(std::string_view name) {
    static constexpr VideoCategory kCategories[] = {
        {"cast", kCast, &ListQuery::filter1, "actor", "actor"},
        {"director", kDirector, &ListQuery::filter2, "director", "director"},
        {"writer", kWriter, &ListQuery::filter3, "writer", "writer"},
        {"genre", kGenre, &ListQuery::filter4, "gnere", "gnere"},
        {"year", kYear, nullptr},
        {"date", kDate, &ListQuery::filter2},
        {"program", kProgram, &ListQuery::filter1, "tv_record", "title", true},
        {"channel", kChannel, &ListQuery::filter3, "tv_record", "channel_name", true},
    };
    const auto* row = std::find_if(std::begin(kCategories), std::end(kCategories),
                                   [&](const VideoCategory& category) { return category.name == name; });
    return row == std::end(kCategories) ? nullptr : row;
}

VideoBrowseLevel BrowseLevelOf(_VIDEO_TABLE_TYPE_ kind, std::size_t categories, std::size_t fields) {
    using enum VideoBrowseLevel;
    // By shows or not, by a category or not, and by the number of fields.
    static constexpr VideoBrowseLevel kLevels[2][2][4] = {
        {{VideoList, FileList, Invalid, Invalid}, {CategoryValues, VideoList, FileList, Invalid}},
        {{ShowList, EpisodeList, FileList, Invalid}, {CategoryValues, ShowList, EpisodeList, FileList}},
    };
    if (categories >= 2 || fields < 1 || fields > 4) return Invalid;
    return kLevels[kind == kTvShow ? 1 : 0][categories][fields - 1];
}

}  // namespace MediaServer
