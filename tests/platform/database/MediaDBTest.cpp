#include <chrono>
#include <numeric>
#include <random>

#include <gtest/gtest.h>
#include <signal.h>

#include "platform/database/MediaDB.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/database/TestDatabase.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using Ids = std::vector<std::int32_t>;

Ids ReadIds(MediaDB& rows) {
    Ids ids;
    while (rows.NextRow()) ids.push_back(rows.FetchFieldAsInt("id"));
    return ids;
}

class MediaDBTest : public DatabaseTest {
protected:
    void AddSongs(int count) {
        database.Execute(
            "INSERT INTO music (path, title, album, disc, track) SELECT '/m/' || n || '.mp3', 't' || n,"
            " 'album ' || n % 7, n % 3, n % 5 FROM generate_series(1, " +
            std::to_string(count) + ") n");
    }
};

TEST_F(MediaDBTest, FillsARecordFromEveryTable) {
    database.Insert("music", "path, title, year, duration, frame_bitrate, filesize, date, embedded_art",
                    "'/m/ä.flac', 'Ä', 1999, 200.5, 4294967295, 5000000000, '2020-05-06 07:08:09', 1");
    database.Insert("photo", "path, title, resolutionx", "'/p/a.jpg', 'A', 4000");
    database.Insert("directory", "path, title", "'/m', 'm'");
    NIMB_MEDIA_INFO record;

    MediaDB music(MediaKind::Music);
    ASSERT_EQ(music.Select("*", "", 0, 0), 1);
    ASSERT_TRUE(music.NextRow());
    music.FetchMediaItem(record);
    EXPECT_EQ(record.title, "Ä");
    EXPECT_EQ(record.year, 1999);
    EXPECT_EQ(record.duration, 200.5F);
    EXPECT_EQ(record.frame_bitrate, 4294967295U);
    EXPECT_EQ(record.filesize, 5000000000);
    EXPECT_EQ(record.date, "2020-05-06 07:08:09");
    EXPECT_EQ(record.embedded_art, 1);

    // The same record again: what the photo table lacks must not keep the song's values.
    MediaDB photos(MediaKind::Photo);
    ASSERT_EQ(photos.Select("*", "", 0, 0), 1);
    ASSERT_TRUE(photos.NextRow());
    photos.FetchMediaItem(record);
    EXPECT_EQ(record.path, "/p/a.jpg");
    EXPECT_EQ(record.resolutionx, 4000);
    EXPECT_EQ(record.year, 0);
    EXPECT_EQ(record.timetaken, "1970-01-01 00:00:00");
    EXPECT_FALSE(photos.NextRow());
    EXPECT_EQ(photos.FetchField("path"), "") << "a field after the last row";

    MediaDB directories(MediaKind::Directory);
    ASSERT_EQ(directories.Select("id, title", "title", 0, 0), 1);
    ASSERT_TRUE(directories.NextRow());
    EXPECT_EQ(directories.FetchField("title"), "m");
    EXPECT_EQ(directories.FetchField("no such field"), "");
}

TEST_F(MediaDBTest, PagesJoinedEqualTheWhole) {
    AddSongs(3000);
    struct Song {
        std::string album;
        int disc, track, id;
        auto operator<=>(const Song&) const = default;
    };
    std::vector<Song> model;
    for (int n = 1; n <= 3000; ++n) model.push_back({"album " + std::to_string(n % 7), n % 3, n % 5, n});
    std::sort(model.begin(), model.end());

    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 60; ++round) {
        const int offset = static_cast<int>(random() % 3100);
        const int limit = round % 4 == 0 ? 0 : static_cast<int>(random() % 1600);  // 0 and beyond one chunk as well
        SCOPED_TRACE(testing::Message() << "offset " << offset << " limit " << limit);
        Ids expected;
        for (int i = offset; i < 3000 && (limit == 0 || i < offset + limit); ++i) expected.push_back(model[i].id);
        MediaDB rows(MediaKind::Music);
        EXPECT_EQ(rows.Select("*", "album, disc, track", offset, limit), static_cast<int>(expected.size()));
        EXPECT_EQ(ReadIds(rows), expected);
    }
}

TEST_F(MediaDBTest, PagesJoinWithoutAnOrderToo) {
    AddSongs(1200);
    database.Execute("UPDATE music SET title = 'moved to the end of the table' WHERE id % 3 = 0");
    Ids joined;
    for (int offset = 0; offset < 1200; offset += 100) {
        MediaDB rows(MediaKind::Music);
        rows.Select("*", "", offset, 100);
        const Ids page = ReadIds(rows);
        joined.insert(joined.end(), page.begin(), page.end());
        database.Execute("UPDATE music SET title = 'moved again' WHERE id % 5 = 0");
    }
    Ids all(1200);
    std::iota(all.begin(), all.end(), 1);
    EXPECT_EQ(joined, all);
}

TEST_F(MediaDBTest, WhatIsKeptEndsWithTheNextChange) {
    AddSongs(1500);
    struct View {
        std::int32_t total, groups;
        std::string last_group;
        Ids last_page;
        bool operator==(const View&) const = default;
    };
    const auto look = [] {
        View view;
        MediaDB rows(MediaKind::Music);
        view.total = rows.SelectTotal();
        view.groups = rows.SelectTotal("album AS cateval", "cateval");
        rows.Select("album AS cateval, MIN(id) AS minid", "cateval", view.groups - 1, 5, "cateval");
        if (rows.NextRow()) view.last_group = rows.FetchField("cateval");
        EXPECT_FALSE(rows.NextRow());
        rows.Select("*", "album, disc, track", view.total - 2, 10);
        view.last_page = ReadIds(rows);
        return view;
    };
    const View before = look();
    EXPECT_EQ(before, (View{1500, 7, "album 6", {1364, 1469}}));
    EXPECT_EQ(look(), before);
    database.Insert("music", "path, album", "'/m/last.mp3', 'album 7'");
    EXPECT_EQ(look(), (View{1501, 8, "album 7", {1469, 1501}}));
    database.Execute("DELETE FROM music WHERE id = 1501");
    EXPECT_EQ(look(), before);
}

TEST_F(MediaDBTest, WhatIsKeptEndsWithTheDay) {
    const auto live_in = [](const char* zone) {
        const std::string sql = std::string("SET timezone = '") + zone + "'";
        EXPECT_TRUE(Query(ThreadDBConnection(), sql.c_str(), {}, "move") != nullptr);
    };
    const auto seen_today = [] {
        MediaDB rows(MediaKind::Music);
        rows.AddCondition("date::date = current_date");
        MediaDB groups(MediaKind::Music);
        groups.AddCondition("date::date = current_date");
        return rows.SelectTotal() + groups.Select("album AS cateval, min(id) AS minid", "cateval", 0, 0, "cateval");
    };
    live_in("Etc/GMT+12");
    database.Execute("INSERT INTO music (path, title, date) VALUES ('/m/1', 't', now() AT TIME ZONE 'Etc/GMT+12')");
    EXPECT_EQ(seen_today(), 2);
    live_in("Etc/GMT-14");
    EXPECT_EQ(seen_today(), 0) << "it is a day later there";
}

TEST_F(MediaDBTest, ALongListSurvivesOtherQueriesAndTheirFailures) {
    AddSongs(3000);
    MediaDB outer(MediaKind::Music), second(MediaKind::Music);
    ASSERT_EQ(outer.Select("id", "id", 0, 0), 3000);
    ASSERT_EQ(second.Select("id", "id DESC", 0, 0), 3000);
    for (int id = 1; id <= 3000; ++id) {
        ASSERT_TRUE(outer.NextRow());
        ASSERT_TRUE(second.NextRow());
        ASSERT_EQ(outer.FetchFieldAsInt("id"), id);
        ASSERT_EQ(second.FetchFieldAsInt("id"), 3001 - id);
        if (id % 900 == 0) {
            MediaDB broken(MediaKind::Music);
            broken.AddCondition("no such column = 1");
            EXPECT_LT(broken.Select("*", "", 0, 0), 0);
            EXPECT_LT(broken.SelectTotal(), 0);
        }
    }
    EXPECT_FALSE(outer.NextRow());
    EXPECT_EQ(outer.Select("id", "", 0, 3), 3) << "a new query takes the place of an open list";
    EXPECT_EQ(database.Value("SELECT count(*) FROM music"), "3000");
}

TEST_F(MediaDBTest, MoreGroupsThanAreKeptArePagedToo) {
    // Two songs to a group, the later one first in the table. That many may take a busy machine long.
    database.Execute(
        "SET statement_timeout = 0; INSERT INTO music (id, path, album) SELECT 50000 - n, '/m/' || n, 'album ' || (n % "
        "21000)"
        " FROM generate_series(1, 42000) AS n");
    for (const int offset : {0, 999, 1000, 20995}) {
        SCOPED_TRACE(offset);
        MediaDB rows(MediaKind::Music);
        EXPECT_EQ(rows.SelectTotal("album AS cateval, MIN(id) AS minid", "cateval"), 21000);
        EXPECT_EQ(rows.SelectTotal("album AS cateval, MIN(id) AS minid", "cateval", "cateval"), 21000);
        ASSERT_EQ(rows.Select("album AS cateval, MIN(id) AS minid", "cateval", offset, 10, "cateval"),
                  std::min(10, 21000 - offset));
        for (int n = offset; rows.NextRow(); ++n) {
            EXPECT_EQ(rows.FetchField("cateval"), "album " + std::to_string(n));
            EXPECT_EQ(rows.FetchFieldAsInt("minid"), 50000 - 21000 - (n == 0 ? 21000 : n));
        }
    }
}

TEST_F(MediaDBTest, AQuestionThatCameBeforeIsAnsweredAfterItsTableChanged) {
    AddSongs(20);
    const auto ask = [] {
        MediaDB rows(MediaKind::Music);
        rows.Select("*", "id", 0, 2);
        return ReadIds(rows);
    };
    // The third time it is a prepared statement; the server refuses one whose columns have changed.
    for (int times = 0; times < 3; ++times) EXPECT_EQ(ask(), (Ids{1, 2}));
    database.Execute("ALTER TABLE music ADD COLUMN mood text");
    for (int times = 0; times < 3; ++times) EXPECT_EQ(ask(), (Ids{1, 2}));
    database.Execute("ALTER TABLE music DROP COLUMN mood");
    // More than are prepared at once push each other out.
    for (int times = 0; times < 3; ++times) {
        for (int offset = 0; offset < 40; ++offset) {
            MediaDB rows(MediaKind::Music);
            EXPECT_EQ(rows.Select("id", "id", offset, 1), offset < 20 ? 1 : 0);
            EXPECT_EQ(rows.NextRow() ? rows.FetchFieldAsInt("id") : 0, offset < 20 ? offset + 1 : 0);
        }
    }
}

TEST_F(MediaDBTest, NamesAreOrderedAsPeopleExpect) {
    for (const char* title : {"Disc 10", "disc 2", "Zebra", "Édith", "Edith Q", "abba", "ABBA 2"}) {
        database.Insert("directory", "path, title", std::string("'/") + title + "', '" + title + "'");
    }
    MediaDB rows(MediaKind::Directory);
    rows.Select("title", "title", 0, 0);
    std::string order;
    while (rows.NextRow()) order.append(rows.FetchField("title")).append("|");
    EXPECT_EQ(order, "abba|ABBA 2|disc 2|Disc 10|Édith|Edith Q|Zebra|");
}

TEST_F(MediaDBTest, DirectoryConditionsTakeAnyName) {
    struct DirectoryCase {
        const char *why, *directory;
        const char* beside;  ///< must not be taken for the directory
    };
    constexpr DirectoryCase kCases[] = {
        {"quotes end no literal", "/m/it's \"'; DROP TABLE music; --", "/m/it"},
        {"percent matches only itself", "/m/100%", "/m/1000"},
        {"underscore matches only itself", "/m/a_b", "/m/axb"},
        {"backslash escapes nothing", "/m/back\\slash", "/m/backslash"},
        {"a name that begins alike", "/m/abc", "/m/abcd"},
        {"not only letters", "/m/日本 🎵", "/m/日本"},
    };
    for (const DirectoryCase& c : kCases) {
        SCOPED_TRACE(c.why);
        database.Clear();
        const auto add = [&](const std::string& directory) {
            const std::string path = SQLEscapeString(directory);
            const int id = database.Insert("directory", "path", "'" + path + "'");
            const int below =
                database.Insert("directory", "path, parent_id", "'" + path + "/s', " + std::to_string(id));
            database.Insert("music", "path, parent_id", "'" + path + "/1.mp3', " + std::to_string(id));
            database.Insert("music", "path, parent_id", "'" + path + "/s/2.mp3', " + std::to_string(below));
        };
        add(c.beside);
        add(c.directory);
        MediaDB direct(MediaKind::Music), subtree(MediaKind::Music), directories(MediaKind::Directory);
        direct.AddParentCondition(c.directory);
        EXPECT_EQ(direct.Select("id", "id", 0, 0), 1);
        EXPECT_EQ(ReadIds(direct), Ids{3});
        subtree.AddSubtreeCondition(std::string(c.directory) + "/");
        EXPECT_EQ(subtree.Select("id", "id", 0, 0), 2);
        EXPECT_EQ(ReadIds(subtree), (Ids{3, 4}));
        directories.AddParentCondition(c.directory);
        EXPECT_EQ(directories.SelectTotal(), 1);
    }
}

TEST_F(MediaDBTest, PathsAreFoundById) {
    const int id = database.Insert("video", "path", "'/v/a.mkv'");
    std::string path;
    EXPECT_EQ(FindMediaPath(MediaKind::Video, id, path), Lookup::Found);
    EXPECT_EQ(path, "/v/a.mkv");
    EXPECT_EQ(FindMediaPath(MediaKind::Video, id + 1, path), Lookup::NotFound);
    EXPECT_EQ(FindMediaPath(MediaKind::Music, id, path), Lookup::NotFound);
    MediaInfoCursorPtr cursor(MediaInfoDBOpen(MediaKind::Video, "path", "id=1"));
    EXPECT_EQ(MediaInfoDBGet(cursor.get()), "/v/a.mkv");
    EXPECT_EQ(MediaInfoDBGet(cursor.get()), std::nullopt);
}

TEST_F(MediaDBTest, TheRequestAfterARestartSucceeds) {
    AddSongs(3);
    EXPECT_EQ(MediaDB(MediaKind::Music).SelectTotal(), 3);
    database.Stop();
    EXPECT_LT(MediaDB(MediaKind::Music).SelectTotal(), 0);
    std::string path;
    EXPECT_EQ(FindMediaPath(MediaKind::Music, 1, path), Lookup::Failed);
    database.Start();
    EXPECT_EQ(MediaDB(MediaKind::Music).SelectTotal(), 3);

    // A restart between two requests, which nobody noticed.
    database.Stop();
    database.Start();
    EXPECT_EQ(MediaDB(MediaKind::Music).SelectTotal(), 3);
}

TEST_F(MediaDBTest, AServerThatStandsStillIsNotWaitedFor) {
    const PgResult pid = Query(ThreadDBConnection(), "SELECT pg_backend_pid()", {}, "ask for the process");
    ASSERT_TRUE(pid);
    const pid_t backend = std::stoi(PQgetvalue(pid.get(), 0, 0));
    ASSERT_EQ(kill(backend, SIGSTOP), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Query(ThreadDBConnection(), "SELECT 1", {}, "ask", std::chrono::milliseconds(300)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    // The next request has a connection of its own and does not get the answer of this one.
    const PgResult next = Query(ThreadDBConnection(), "SELECT 2", {}, "ask");
    kill(backend, SIGCONT);
    ASSERT_TRUE(next);
    EXPECT_STREQ(PQgetvalue(next.get(), 0, 0), "2");
}

TEST_F(MediaDBTest, AStatementThatFailsIsRunOnceHoweverOftenItCame) {
    database.Execute("CREATE SEQUENCE runs");
    for (int times = 0; times < 4; ++times)
        EXPECT_FALSE(Query(ThreadDBConnection(), "SELECT nextval('runs') / 0", {}, "ask"));
    const PgResult runs = Query(ThreadDBConnection(), "SELECT last_value FROM runs", {}, "ask");
    ASSERT_TRUE(runs);
    EXPECT_STREQ(PQgetvalue(runs.get(), 0, 0), "4");
}

TEST_F(MediaDBTest, ARestartInTheMiddleOfALongListEndsIt) {
    AddSongs(3000);
    MediaDB rows(MediaKind::Music);
    ASSERT_EQ(rows.Select("id", "id", 0, 0), 3000);
    ASSERT_TRUE(rows.NextRow());
    database.Stop();
    database.Start();
    while (rows.NextRow()) {
    }
    EXPECT_EQ(rows.Select("id", "id", 0, 10), 10);
}

}  // namespace
}  // namespace MediaServer
