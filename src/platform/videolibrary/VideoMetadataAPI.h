#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace MediaServer::LibReelhouse {

/// Kinds of the catalogue's records. A show is not played: its episodes are.
enum _VIDEO_TABLE_TYPE_ : std::uint32_t { kMovie = 1, kTvShow = 2, kEpisode = 3, kHomeVideo = 4, kTvRecord = 5 };

enum _VIDEO_CATEGORY_ : std::uint32_t {
    kCast = 1,
    kDirector = 2,
    kWriter = 3,
    kGenre = 4,
    kYear = 5,
    kDate = 6,
    kProgram = 7,
    kChannel = 8
};

/// What a video record carries in "additional" beside its own members: a bit set.
namespace _VIDEO_ADDITIONAL_ {
inline constexpr std::uint32_t kSummary = 1, kActor = 8, kDirector = 16, kWriter = 32, kGenre = 64, kFiles = 128;
}  // namespace _VIDEO_ADDITIONAL_

enum _ORDER_DIRECTION_ : std::uint32_t { kAscending = 1, kDescending = 2 };

/// Part of a list: `limit` 0 means all from `offset` on.
struct Page {
    std::int32_t offset = 0, limit = 0;
};

/// Which videos a list has. A filter without a value does not filter; an empty one finds what is unknown.
struct ListQuery {
    _VIDEO_TABLE_TYPE_ type = kMovie;
    Page page = {};
    std::uint32_t additional = 0;   ///< _VIDEO_ADDITIONAL_ bits
    std::string_view sort_by = {};  ///< "sort_title", "sort_time" or empty for any order; ties are broken by id
    _ORDER_DIRECTION_ direction = kAscending;
    std::string show_id = {};  ///< of episodes: only those of this show
    /// Of recordings filter1 is the programme's title, filter2 the date and filter3 the channel's name; of all others
    /// they are row ids: of an actor, a director, a writer and (filter4) a genre. Shows are found by what their
    /// episodes have.
    std::optional<std::string> filter1 = {}, filter2 = {}, filter3 = {}, filter4 = {};
    bool by_date = false;     ///< of home videos: filter2 is the date
    std::string year = {};    ///< "0" finds an unknown year; empty does not filter
    std::int64_t recent = 0;  ///< only so many that were added last; 0 does not filter
    bool subtitled = false;   ///< only videos of one file that has a subtitle file ("<name>.srt") beside it
};

/// The catalogue of movies, shows, home videos and recordings. Replies are JSON documents:
///   - a category: {"metadatas": [{"id": "7", "name": "Ann Actor"}, …]}; the unknown value is {"id": "0", "name": "0"}
///   - a list: {"total": 30, "offset": 0, "movies": [record, …]}; the array is named "movies", "tvshows", "episodes",
///     "videos" or "recordings" after the kind
///   - a record: {"id", "mapper_id", "title", "sort_title", "tagline", "season", "episode" (numbers),
///     "original_available", "record_date" ("YYYY-MM-DD…"), "additional": {"summary", "actor": [{"name"}], "director",
///     "writer", "genre", "files": [file, …]}}
///   - a file: {"id", "path", and the media parameters, texts: "audio_bitrate", "audio_codec", "channel",
///     "container_type", "duration" ("H:MM:SS"), "filesize", "frame_bitrate", "frame_rate_num", "frame_rate_den",
///     "frequency", "resolutionx", "resolutiony", "video_bitrate", "video_codec"}
/// Ids are texts of decimal digits. A member that is not known is left out.
///
/// Errors: a call returns false when the database fails or a name or id is none of the catalogue's; the database's own
/// reason is in the log. Every value is a bound parameter; table and field names are only ever those of a fixed list.
/// Lifetime: one request. Threads: one; uses the calling thread's database connection.
class VideoMetadataAPI {
public:
    /// Values of a category. Of shows, the values that any of their episodes has.
    /// @param keyword  only values that contain it; null for all.
    /// @param[out] total  number of values in all. @param[out] second  number of videos that have none of them.
    bool CategoryBrowse(_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category, Page page, _ORDER_DIRECTION_ direction,
                        const char* keyword, Json::Value& reply, std::int32_t& total, std::int32_t& second);

    /// A page of videos or shows; "total" of the reply counts them all.
    bool List(const ListQuery& query, Json::Value& reply);

    /// One video or show: the reply's array has the one record. @return false when there is none of that id.
    bool GetInfo(_VIDEO_TABLE_TYPE_ type, std::uint32_t additional, std::string_view id, Json::Value& reply);

    /// A field of one row as text; empty when there is no such row, table or field.
    std::string GetFieldValueById(std::string_view table, std::string_view id, std::string_view field);

    /// The first row whose `field` is `value`, as field name to text ("id" among them). A value in single quotes is
    /// taken without them, whatever stands between. @return false when there is none.
    bool GetFieldMapByKey(std::string_view table, std::string_view field, std::string_view value,
                          std::map<std::string, std::string>& fields);

    /// Number of video files at any depth below a directory, by its row id.
    bool GetDirFilesCount(std::string_view folder_id, std::int32_t& count);

    /// Appends a page of the videos of one kind that lie directly in a directory, in the order of their names, to
    /// "objects" of the listing: records with "type" = "file", "id" (of the file), "path", "title" and the members of
    /// the video's record.
    /// @param subtitled  only files with a subtitle file beside them.
    /// @param[out] total  number of such files in all.
    bool ListDir(_VIDEO_TABLE_TYPE_ type, std::uint32_t additional, std::string_view directory, Page page,
                 bool subtitled, Json::Value& listing, std::int32_t& total);

    /// The video file with the smallest id at any depth below a directory. @return false when there is none.
    bool GetFileIdPathByDirPath(std::string_view directory, std::string& file_id, std::string& file_path);
};

/// The shared folders that hold videos of the kind that a table ("movie", "tvshow", "home_video") names: "objects" of
/// the reply, records with "type" = "folder", "id", "path" and "title". @return false when the database fails.
bool NIMBVideoGetRootDirByVideoType(Json::Value& reply, std::string_view table);

/// A page of the subdirectories that hold videos of that kind at any depth, in the order of their names: "objects" of
/// the reply as above, each with "file_id" and "file_path" of the video below it that has the smallest id; "total"
/// their number in all, and "path", an array with the directory itself. @return false when the database fails or there
/// is no such directory.
bool GetDirInfo(Json::Value& reply, std::string_view directory, std::string_view table, Page page);

}  // namespace MediaServer::LibReelhouse
