#include "platform/videolibrary/CatalogueTables.h"

#include <algorithm>
#include <iterator>

namespace MediaServer::LibReelhouse {
namespace {

constexpr VideoKind kKinds[] = {
    {kMovie,
     "movie",
     "movies",
     "t.id, t.mapper_id, t.title, t.sort_title, t.tag_line AS tagline, t.original_available",
     "",
     {"t.sort_title"},
     {"t.original_available"},
     "t.year",
     nullptr},
    {kTvShow,
     "tvshow",
     "tvshows",
     "t.id, t.mapper_id, t.title, t.sort_title, t.original_available",
     "",
     {"t.sort_title"},
     {"t.original_available"},
     "t.year",
     nullptr},
    // The seasons' order is the order in time, and unlike the dates it is always known.
    {kEpisode,
     "tvshow_episode",
     "episodes",
     "t.id, t.mapper_id, s.title, s.sort_title, t.season, t.episode, t.tag_line AS tagline, t.original_available",
     " JOIN tvshow AS s ON s.id = t.tvshow_id",
     {"t.season", "t.episode"},
     {"t.season", "t.episode"},
     "t.year",
     nullptr},
    {kHomeVideo,
     "home_video",
     "videos",
     "t.id, t.mapper_id, t.title, t.sort_title, t.record_date",
     "",
     {"t.sort_title"},
     {"t.record_date"},
     nullptr,
     "left(t.record_date, 10)"},
    {kTvRecord,
     "tv_record",
     "recordings",
     "t.id, t.mapper_id, t.title, t.sort_title, t.record_date",
     "",
     {"t.sort_title"},
     {"t.record_date"},
     nullptr,
     "left(t.record_date, 10)"},
};

constexpr VideoField kFields[] = {
    {"movie", "id", "t.id", true},
    {"movie", "mapper_id", "t.mapper_id", true},
    {"movie", "title", "t.title", false},
    {"movie", "tag_line", "t.tag_line", false},
    {"tvshow", "id", "t.id", true},
    {"tvshow", "mapper_id", "t.mapper_id", true},
    {"tvshow", "title", "t.title", false},
    {"tvshow_episode", "id", "t.id", true},
    {"tvshow_episode", "mapper_id", "t.mapper_id", true},
    {"tvshow_episode", "title", "(SELECT s.title FROM tvshow AS s WHERE s.id = t.tvshow_id)", false},
    {"tvshow_episode", "tag_line", "t.tag_line", false},
    {"home_video", "id", "t.id", true},
    {"home_video", "mapper_id", "t.mapper_id", true},
    {"home_video", "title", "t.title", false},
    {"tv_record", "id", "t.id", true},
    {"tv_record", "mapper_id", "t.mapper_id", true},
    {"tv_record", "title", "t.title", false},
    {"tv_record", "channel_name", "t.channel_name", false},
    {"actor", "id", "t.id", true},
    {"actor", "actor", "t.actor", false},
    {"director", "id", "t.id", true},
    {"director", "director", "t.director", false},
    {"writer", "id", "t.id", true},
    {"writer", "writer", "t.writer", false},
    {"gnere", "id", "t.id", true},
    {"gnere", "gnere", "t.gnere", false},
    {"video_file", "id", "t.id", true},
    {"video_file", "mapper_id", "t.mapper_id", true},
    {"video_file", "path", "(SELECT v.path FROM video AS v WHERE v.id = t.id)", false},
};

}  // namespace

const VideoKind* FindVideoKind(_VIDEO_TABLE_TYPE_ type) {
    const auto kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const VideoKind& row) { return row.type == type; });
    return kind == std::end(kKinds) ? nullptr : kind;
}

const VideoKind* FindVideoKind(std::string_view table) {
    const auto kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const VideoKind& row) { return row.table == table; });
    return kind == std::end(kKinds) ? nullptr : kind;
}

std::string SelectRecords(const VideoKind& kind) {
    return std::string("SELECT ") + kind.columns + " FROM " + kind.table + " AS t" + kind.join;
}

const VideoField* FindVideoField(std::string_view table, std::string_view name) {
    const auto field = std::find_if(std::begin(kFields), std::end(kFields),
                                    [&](const VideoField& row) { return row.table == table && row.name == name; });
    return field == std::end(kFields) ? nullptr : field;
}

std::span<const VideoField> AllVideoFields() {
    return kFields;
}

}  // namespace MediaServer::LibReelhouse
