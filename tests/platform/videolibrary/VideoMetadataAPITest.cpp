#include <json/json.h>

#include "platform/database/TestDatabase.h"
#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer::LibReelhouse {
namespace {

/// Two films with a cast (one in two parts), one without anything, a show with a special and two seasons, two home
/// videos and three recordings.
constexpr char kLibrary[] = R"(
INSERT INTO directory (path, title, parent_id) VALUES
    ('/v', 'v', NULL), ('/v/films', 'films', 1), ('/v/films/old', 'old', 2), ('/v/empty', 'empty', 1),
    ('/v/show', 'show', 1), ('/v/filmsx', 'filmsx', 1);
INSERT INTO video (path, parent_id, title, duration, filesize, frame_bitrate, resolutionx, video_codec) VALUES
    ('/v/films/a cd10.mkv', 2, '', 5, 7, 0, 0, ''), ('/v/films/a cd2.mkv', 2, '', 3723.9, 5000000000, 900, 1280, 'h264'),
    ('/v/films/old/b.mkv', 3, '', 0, 0, 0, 0, ''), ('/v/films/old/C.mkv', 3, '', 0, 0, 0, 0, ''),
    ('/v/show/s0.mkv', 5, '', 0, 0, 0, 0, ''), ('/v/show/s1.mkv', 5, '', 0, 0, 0, 0, ''),
    ('/v/show/s2.mkv', 5, '', 0, 0, 0, 0, ''), ('/v/filmsx/h1.mkv', 6, '', 0, 0, 0, 0, ''),
    ('/v/filmsx/h2.mkv', 6, '', 0, 0, 0, 0, ''), ('/v/filmsx/r1.ts', 6, '', 0, 0, 0, 0, ''),
    ('/v/filmsx/r2.ts', 6, '', 0, 0, 0, 0, ''), ('/v/filmsx/r3.ts', 6, '', 0, 0, 0, 0, '');
INSERT INTO mapper (type, key) VALUES (1, 'a'), (1, 'b'), (1, 'c'), (2, 's'), (3, 's0'), (3, 's1'), (3, 's2'),
    (4, 'h1'), (4, 'h2'), (5, 'r1'), (5, 'r2'), (5, 'r3');
INSERT INTO video_file (id, mapper_id, type, subtitle) VALUES (1, 1, 1, true), (2, 1, 1, false), (3, 2, 1, true),
    (4, 3, 1, false), (5, 5, 3, false), (6, 6, 3, false), (7, 7, 3, false), (8, 8, 4, false), (9, 9, 4, false),
    (10, 10, 5, false), (11, 11, 5, false), (12, 12, 5, false);
INSERT INTO movie (mapper_id, title, sort_title, tag_line, year, original_available, subtitled) VALUES
    (1, 'Alpha', 'Zulu', 'Two parts', 1999, '1999-05-06', false), (2, 'Beta', 'Beta', '', 2010, '2010-01-01', true),
    (3, 'Ålpha', 'alphb', '', 0, '', false);
INSERT INTO tvshow (mapper_id, title, sort_title) VALUES (4, 'It''s a Show', 'It''s a Show');
INSERT INTO tvshow_episode (mapper_id, tvshow_id, season, episode, tag_line, year) VALUES
    (5, 1, 0, 1, 'Special', 2001), (7, 1, 2, 1, 'Late', 2002), (6, 1, 1, 10, 'Early', 2001);
INSERT INTO home_video (mapper_id, title, sort_title, record_date) VALUES
    (8, 'Beach', 'Beach', '2026-07-01 10:00:00'), (9, 'Snow', 'Snow', '2026-12-24');
INSERT INTO tv_record (mapper_id, title, sort_title, channel_name, record_date) VALUES
    (10, 'News', 'News', 'One', '2026-01-02 20:15:00'), (11, 'News', 'News', 'Two', '2026-01-03 20:15:00'),
    (12, '''t Weer', '''t Weer', '', '');
INSERT INTO actor (actor) VALUES ('Ann'), ('Bob'), ('Nobody');
INSERT INTO actor_map (mapper_id, actor_id, type, position) VALUES (1, 2, 1, 1), (1, 1, 1, 2), (2, 1, 1, 1), (6, 2, 3, 1);
INSERT INTO gnere (gnere) VALUES ('Drama');
INSERT INTO gnere_map (mapper_id, gnere_id, type, position) VALUES (7, 1, 3, 1), (8, 1, 4, 1);
INSERT INTO summary VALUES (1, 'What happens');
UPDATE directory SET (videos, first_video, video_kinds) = (SELECT count(*), coalesce(min(v.id), 0),
    coalesce(bit_or(1 << f.type), 0) FROM video AS v JOIN video_file AS f USING (id) WHERE v.path ~>=~ (directory.path || '/') AND v.path ~<~ (directory.path || '0')))";

constexpr std::uint32_t kAll = 255;

class VideoMetadataAPITest : public DatabaseTest {
protected:
    VideoMetadataAPITest() { database.Execute(kLibrary); }

    /// Names of a member of each record, in order.
    static std::string Join(const Json::Value& records, const char* member) {
        std::string text;
        for (const Json::Value& record : records) text += (text.empty() ? "" : ",") + record[member].asString();
        return text;
    }

    VideoMetadataAPI api;
    Json::Value reply;
};

struct ListCase {
    const char* why;
    ListQuery query;
    const char *list, *ids;
    int total;
};

ListQuery By(_VIDEO_TABLE_TYPE_ type, std::optional<std::string> f1, std::optional<std::string> f2 = {},
             std::optional<std::string> f3 = {}, std::optional<std::string> f4 = {}) {
    ListQuery query;
    query.type = type;
    query.sort_by = "sort_title";
    query.filter1 = std::move(f1);
    query.filter2 = std::move(f2);
    query.filter3 = std::move(f3);
    query.filter4 = std::move(f4);
    return query;
}

TEST_F(VideoMetadataAPITest, ListsOfAllKinds) {
    const ListCase cases[] = {
        {"by the titles for sorting, as people sort", By(kMovie, {}), "movies", "3,2,1", 3},
        {"backwards", {.sort_by = "sort_title", .direction = kDescending}, "movies", "1,2,3", 3},
        {"a page", {.page = {1, 1}, .sort_by = "sort_title"}, "movies", "2", 3},
        {"a page beyond the end", {.page = {3, 5}, .sort_by = "sort_title"}, "movies", "", 3},
        {"of an actor", By(kMovie, "1"), "movies", "2,1", 2},
        {"of nobody known", By(kMovie, ""), "movies", "3", 1},
        {"of somebody who is in none", By(kMovie, "3"), "movies", "", 0},
        {"what is no row id finds nothing", By(kMovie, "1 OR true"), "movies", "", 0},
        {"without any director, of an actor", By(kMovie, "1", ""), "movies", "2,1", 2},
        {"of a year", {.sort_by = "sort_title", .year = "2010"}, "movies", "2", 1},
        {"of an unknown year", {.sort_by = "sort_title", .year = "0"}, "movies", "3", 1},
        {"the last added", {.sort_by = "sort_title", .recent = 2}, "movies", "3,2", 2},
        {"of an actor, the last added", {.sort_by = "", .filter1 = "1", .recent = 1}, "movies", "2", 1},
        {"one file with subtitles", {.sort_by = "sort_title", .subtitled = true}, "movies", "2", 1},
        {"shows", By(kTvShow, {}), "tvshows", "1", 1},
        {"shows by who is in an episode", By(kTvShow, "2"), "tvshows", "1", 1},
        {"shows by who is in none", By(kTvShow, "1"), "tvshows", "", 0},
        {"shows of which an episode has no genre", By(kTvShow, {}, {}, {}, ""), "tvshows", "1", 1},
        {"episodes by season", {.type = kEpisode, .sort_by = "sort_time", .show_id = "1"}, "episodes", "1,3,2", 3},
        {"episodes of another show", {.type = kEpisode, .sort_by = "sort_time", .show_id = "2"}, "episodes", "", 0},
        {"home videos of a day", {.type = kHomeVideo, .filter2 = "2026-07-01", .by_date = true}, "videos", "1", 1},
        {"home videos without any director", By(kHomeVideo, {}, ""), "videos", "1,2", 2},
        {"home videos of a genre", By(kHomeVideo, {}, {}, {}, "1"), "videos", "1", 1},
        {"recordings of a programme", By(kTvRecord, "News"), "recordings", "1,2", 2},
        {"recordings of a quoted programme", By(kTvRecord, "'t Weer"), "recordings", "3", 1},
        {"recordings of a channel and a day", By(kTvRecord, {}, "2026-01-03", "Two"), "recordings", "2", 1},
        {"recordings of no known channel", By(kTvRecord, {}, {}, ""), "recordings", "3", 1},
        {"bytes that are not text", By(kTvRecord, "Ne\xffws"), "recordings", "1,2", 2},
    };
    for (const ListCase& c : cases) {
        SCOPED_TRACE(c.why);
        ASSERT_TRUE(api.List(c.query, reply));
        EXPECT_EQ(Join(reply[c.list], "id"), c.ids);
        EXPECT_EQ(reply["total"].asInt(), c.total);
    }
    EXPECT_FALSE(api.List({.type = static_cast<_VIDEO_TABLE_TYPE_>(9)}, reply));
}

TEST_F(VideoMetadataAPITest, ATotalIsThatOfTheLibraryAsItIs) {
    ASSERT_TRUE(api.List({}, reply));
    EXPECT_EQ(reply["total"].asInt(), 3);
    database.Execute("DELETE FROM video WHERE id = 4");
    ASSERT_TRUE(api.List({}, reply));
    EXPECT_EQ(reply["total"].asInt(), 2);
}

TEST_F(VideoMetadataAPITest, ARecordHasWhatIsAskedForAndKnown) {
    ASSERT_TRUE(api.GetInfo(kMovie, kAll, "1", reply));
    const Json::Value record = reply["movies"][0];
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    EXPECT_EQ(
        Json::writeString(writer, record["additional"]),
        R"({"actor":[{"name":"Bob"},{"name":"Ann"}],"files":[)"
        R"({"duration":"1:02:03","filesize":"5000000000","frame_bitrate":"900","id":"2",)"
        R"("path":"/v/films/a cd2.mkv","resolutionx":"1280","video_codec":"h264"},)"
        R"({"duration":"0:00:05","filesize":"7","id":"1","path":"/v/films/a cd10.mkv"}],"summary":"What happens"})");
    EXPECT_EQ(record["tagline"], "Two parts");
    EXPECT_EQ(record["mapper_id"], "1");
    EXPECT_EQ(record["original_available"], "1999-05-06");

    ASSERT_TRUE(api.GetInfo(kEpisode, 0, "3", reply));
    EXPECT_EQ(reply["episodes"][0]["title"], "It's a Show");
    EXPECT_EQ(reply["episodes"][0]["season"].asInt() * 100 + reply["episodes"][0]["episode"].asInt(), 110);
    EXPECT_FALSE(reply["episodes"][0].isMember("additional"));
    ASSERT_TRUE(api.GetInfo(kTvRecord, 0, "3", reply));
    EXPECT_FALSE(reply["recordings"][0].isMember("record_date"));
    for (const char* id : {"4", "0", "", "1;", "99999999999"}) {
        EXPECT_FALSE(api.GetInfo(kMovie, kAll, id, reply)) << id;
    }
}

TEST_F(VideoMetadataAPITest, CategoriesHaveTheUnknownFirst) {
    struct Case {
        const char* why;
        _VIDEO_TABLE_TYPE_ type;
        _VIDEO_CATEGORY_ category;
        Page page;
        const char *names, *ids;
        int total, without;
    };
    const Case cases[] = {
        {"nobody who is in none", kMovie, kCast, {}, "0,Ann,Bob", "0,1,2", 3, 1},
        {"a page of the unknown only", kMovie, kCast, {0, 1}, "0", "0", 3, 1},
        {"the page after it", kMovie, kCast, {1, 1}, "Ann", "1", 3, 1},
        {"a page across it", kMovie, kCast, {0, 2}, "0,Ann", "0,1", 3, 1},
        {"nothing is known", kMovie, kWriter, {}, "0", "0", 1, 3},
        {"years", kMovie, kYear, {}, "0,1999,2010", "0,1999,2010", 3, 1},
        {"shows have what their episodes have", kTvShow, kCast, {}, "0,Bob", "0,2", 2, 2},
        {"each year once", kEpisode, kYear, {}, "2001,2002", "2001,2002", 2, 0},
        {"days", kHomeVideo, kDate, {}, "2026-07-01,2026-12-24", "2026-07-01,2026-12-24", 2, 0},
        {"programmes", kTvRecord, kProgram, {}, "'t Weer,News", "3,1", 2, 0},
        {"channels", kTvRecord, kChannel, {}, "0,One,Two", "0,1,2", 3, 1},
        {"films have no channel", kMovie, kChannel, {}, "", "", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        std::int32_t total = -1, without = -1;
        ASSERT_TRUE(api.CategoryBrowse(c.type, c.category, c.page, kAscending, nullptr, reply, total, without));
        EXPECT_EQ(Join(reply["metadatas"], "name"), c.names);
        EXPECT_EQ(Join(reply["metadatas"], "id"), c.ids);
        EXPECT_EQ(total, c.total);
        EXPECT_EQ(without, c.without);
    }
    std::int32_t total = 0, without = 0;
    ASSERT_TRUE(api.CategoryBrowse(kMovie, kCast, {}, kAscending, "O", reply, total, without));
    EXPECT_EQ(Join(reply["metadatas"], "name"), "Bob");
}

TEST_F(VideoMetadataAPITest, FieldsByName) {
    using Place = std::array<const char*, 4>;
    for (const auto& [table, id, field, value] :
         {Place{"video_file", "2", "mapper_id", "1"}, Place{"video_file", "2", "path", "/v/films/a cd2.mkv"},
          Place{"tvshow_episode", "1", "title", "It's a Show"}, Place{"movie", "9", "title", ""},
          Place{"movie", "1 ", "title", ""}, Place{"library", "1", "generation", ""},
          Place{"movie", "1", "title FROM movie --", ""}}) {
        EXPECT_EQ(api.GetFieldValueById(table, id, field), value) << table << id << field;
    }
    std::map<std::string, std::string> fields;
    ASSERT_TRUE(api.GetFieldMapByKey("tv_record", "title", "''t Weer'", fields));
    EXPECT_EQ(fields["id"], "3");
    EXPECT_FALSE(api.GetFieldMapByKey("movie", "mapper_id", "x", fields));
    EXPECT_FALSE(api.GetFieldMapByKey("movie", "year", "1999", fields));
    EXPECT_FALSE(api.GetFieldMapByKey("home_video", "title", "'", fields));
}

TEST_F(VideoMetadataAPITest, PagesOfALongListJoinAndFollowChanges) {
    database.Execute(
        "INSERT INTO directory (id, path, title, parent_id) SELECT 100 + n, '/v/films/' || n, n::text, 2"
        " FROM generate_series(1, 1100) AS n;"
        "INSERT INTO video (id, path, parent_id) SELECT 100 + n, '/v/films/' || n || '.mkv', 2 FROM generate_series(1, "
        "1100) AS n;"
        "INSERT INTO mapper (id, type, key) SELECT 100 + n, 1, n::text FROM generate_series(1, 1100) AS n;"
        "INSERT INTO video_file (id, mapper_id, type) SELECT 100 + n, 100 + n, 1 FROM generate_series(1, 1100) AS n;"
        "INSERT INTO movie (mapper_id, title, sort_title) SELECT 100 + n, n::text, n::text FROM generate_series(1, "
        "1100) AS n;"
        "UPDATE directory SET videos = 1, video_kinds = 2 WHERE id > 100");
    // In the order of people 999 comes before 1000, and both before words.
    for (const std::int32_t offset : {0, 990, 999, 1000, 1060}) {
        SCOPED_TRACE(offset);
        std::string names;
        for (int n = offset + 1; n <= offset + 20; ++n) names += (names.empty() ? "" : ",") + std::to_string(n);
        std::int32_t total = 0;
        Json::Value listing;
        ASSERT_TRUE(api.List({.page = {offset, 20}, .sort_by = "sort_title"}, reply));
        EXPECT_EQ(Join(reply["movies"], "title"), names);
        ASSERT_TRUE(api.ListDir(kMovie, 0, "/v/films", {offset, 20}, false, listing, total));
        EXPECT_EQ(Join(listing["objects"], "title"), names);
        ASSERT_TRUE(GetDirInfo(reply, "/v/films", "movie", {offset, 20}));
        EXPECT_EQ(Join(reply["objects"], "title"), names);
    }
    database.Execute("DELETE FROM video WHERE id = 101");
    ASSERT_TRUE(api.List({.page = {1060, 1}, .sort_by = "sort_title"}, reply));
    EXPECT_EQ(Join(reply["movies"], "title"), "1062");
    EXPECT_EQ(reply["total"].asInt(), 1102);
}

TEST_F(VideoMetadataAPITest, WithoutADatabaseEverythingFails) {
    ASSERT_TRUE(api.List({}, reply));
    database.Stop();
    std::int32_t number = 0;
    std::string text;
    std::map<std::string, std::string> fields;
    EXPECT_FALSE(api.List({}, reply));
    EXPECT_FALSE(api.GetInfo(kMovie, kAll, "1", reply));
    EXPECT_FALSE(api.CategoryBrowse(kMovie, kCast, {}, kAscending, nullptr, reply, number, number));
    EXPECT_FALSE(api.ListDir(kMovie, kAll, "/v", {}, false, reply, number));
    EXPECT_FALSE(NIMBVideoGetRootDirByVideoType(reply, "movie"));
    EXPECT_FALSE(GetDirInfo(reply, "/v", "movie", {}));
    EXPECT_FALSE(api.GetDirFilesCount("1", number));
    EXPECT_FALSE(api.GetFileIdPathByDirPath("/v", text, text));
    EXPECT_FALSE(api.GetFieldMapByKey("movie", "mapper_id", "1", fields));
    EXPECT_EQ(api.GetFieldValueById("movie", "1", "title"), "");
    database.Start();
    EXPECT_TRUE(api.List({}, reply));
}

}  // namespace
}  // namespace MediaServer::LibReelhouse
