#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "platform/database/Database.h"
#include "platform/database/TestDatabase.h"

namespace MediaServer {
namespace {

constexpr char kSchema[] = DMS_SOURCE_DIR "/share/schema";

/// A second, empty database in the same cluster.
class SchemaTest : public DatabaseTest {
protected:
    SchemaTest() {
        PGconn* server = NIMBDBConnect(nullptr, "postgres", nullptr, "postgres");
        PgResult{PQexec(server, "DROP DATABASE IF EXISTS fresh")};
        PgResult{PQexec(server, "CREATE DATABASE fresh OWNER admin")};
        NIMBDBClose(server);
    }

    std::string Ask(const char* sql) {
        PGconn* connection = NIMBDBConnect(nullptr, "admin", nullptr, "fresh");
        const PgResult rows = Query(connection, sql, {}, "ask");
        const std::string answer = rows && PQntuples(rows.get()) == 1 ? PQgetvalue(rows.get(), 0, 0) : "nothing";
        NIMBDBClose(connection);
        return answer;
    }

    bool Migrate(const std::string& directory) {
        PGconn* connection = NIMBDBConnect(nullptr, "admin", nullptr, "fresh");
        const bool done = MigrateSchema(connection, directory.c_str());
        NIMBDBClose(connection);
        return done;
    }
};

TEST_F(SchemaTest, SeveralAtOnceAndAgain) {
    std::atomic<int> succeeded = 0;
    std::vector<std::thread> processes;
    for (int i = 0; i < 4; ++i) processes.emplace_back([&] { succeeded += Migrate(kSchema); });
    for (std::thread& process : processes) process.join();
    EXPECT_EQ(succeeded, 4);
    EXPECT_TRUE(Migrate(kSchema));
    EXPECT_EQ(Ask("SELECT count(*) FROM schema_version WHERE version = 1"), "1");
    EXPECT_EQ(Ask("SELECT count(*) FROM library"), "1");
}

TEST_F(SchemaTest, ABrokenStepLeavesTheLastCompleteVersion) {
    const std::string directory = database.Directory() + "/schema";
    std::filesystem::create_directory(directory);
    std::ofstream(directory + "/0001-first.sql") << "CREATE TABLE one (n integer);";
    std::ofstream(directory + "/0002-broken.sql") << "CREATE TABLE two (n integer); CREATE TABLE one (n integer);";
    std::ofstream(directory + "/readme.txt") << "not a step";
    EXPECT_FALSE(Migrate(directory));
    EXPECT_EQ(Ask("SELECT max(version) FROM schema_version"), "1");
    EXPECT_EQ(Ask("SELECT count(*) FROM pg_tables WHERE tablename IN ('one', 'two')"), "1");

    std::ofstream(directory + "/0002-broken.sql", std::ios::trunc) << "CREATE TABLE two (n integer);";
    EXPECT_TRUE(Migrate(directory));
    EXPECT_EQ(Ask("SELECT max(version) FROM schema_version"), "2");
    EXPECT_FALSE(Migrate(directory + "/none"));
}

struct PlanCase {
    const char* why;
    const char* sql;
};
#define IN_ORDER " ORDER BY album, disc, track, path, id LIMIT 50"
#define VALUES(of, where) \
    "SELECT " of " as cateval, MIN(id) as minid FROM music" where " GROUP BY cateval ORDER BY cateval"
constexpr PlanCase kPlanCases[] = {
    {"one object", "SELECT * FROM music WHERE id=4711"},
    {"an object by path", "SELECT id FROM directory WHERE path='/m/17'"},
    {"songs of a folder",
     "SELECT * FROM music WHERE parent_id = (SELECT id FROM directory WHERE path = '/m/17')" IN_ORDER},
    {"folders of a folder",
     "SELECT id, title FROM directory WHERE parent_id = (SELECT id FROM directory WHERE path = '/m')"
     " ORDER BY title, id LIMIT 50"},
    {"number of songs of a folder",
     "SELECT count(*) FROM music WHERE parent_id = (SELECT id FROM directory WHERE path = '/m/17')"},
    {"a small part of the tree", "SELECT count(*) FROM music WHERE path LIKE '/m/17/%'"},
    {"all songs", "SELECT * FROM music" IN_ORDER},
    {"all songs below the top folder", "SELECT * FROM music WHERE path LIKE '/m/%'" IN_ORDER},
    {"songs of an artist", "SELECT * FROM music WHERE artist='artist 5'" IN_ORDER},
    {"songs of an album", "SELECT * FROM music WHERE album='album 77'" IN_ORDER},
    {"songs of an artist's album", "SELECT * FROM music WHERE artist='artist 5' and album='album 77'" IN_ORDER},
    {"songs of a year", "SELECT * FROM music WHERE year='1983'" IN_ORDER},
    {"songs of a month", "SELECT * FROM music WHERE to_char(date, 'YYYY/MM')='2020/05'" IN_ORDER},
    {"albums of a genre", VALUES("album", " WHERE genre = 'genre 3'")},
    {"albums of an artist", VALUES("album", " WHERE artist = 'artist 3'")},
    {"first page of albums", VALUES("album", "") " LIMIT 50"},
    {"artists of a letter",
     "SELECT artist as cateval, MIN(id) as minid FROM music WHERE upper(substr(artist, 1,1)) = 'B'"
     " GROUP BY cateval ORDER BY upper(artist), cateval LIMIT 50"},
    {"videos by name",
     "SELECT *, upper(substring(path from '([^/]+)$')) as filename FROM video WHERE (video_codec <> 'text')"
     " ORDER BY filename, id LIMIT 50"},
    {"videos by title", "SELECT * FROM video WHERE (video_codec <> 'text') ORDER BY upper(title), id LIMIT 50"},
    {"videos of a folder",
     "SELECT * FROM video WHERE parent_id = 5 AND (video_codec <> 'text') ORDER BY upper(path), id LIMIT 50"},
    {"videos of a day",
     "SELECT * FROM video WHERE to_char(date, 'YYYY/MM/DD')='2020/05/06' ORDER BY upper(title), id LIMIT 50"},
    {"photos of a year", "SELECT * FROM photo WHERE EXTRACT(YEAR FROM date)='2020' ORDER BY title, id LIMIT 50"},
    {"photos taken in a month",
     "SELECT * FROM photo WHERE to_char(timetaken, 'YYYY/MM')='2020/05' ORDER BY title, id LIMIT 50"},
    {"photos of a folder", "SELECT * FROM photo WHERE parent_id = 5 ORDER BY title, id LIMIT 50"},
};

TEST_F(SchemaTest, NoPageScansTheLibrary) {
    database.Execute(
        "INSERT INTO directory (path, title) VALUES ('/m', 'm');"
        "INSERT INTO directory (path, title, parent_id) SELECT '/m/' || n, 'folder ' || n, 1"
        " FROM generate_series(1, 3000) n;"
        "INSERT INTO music (path, title, album, artist, genre, year, track, parent_id, date)"
        " SELECT '/m/' || n / 15 || '/' || n || '.mp3', 'title ' || n, 'album ' || n / 12,"
        " (ARRAY['artist ', 'Band ', 'the '])[n % 3 + 1] || n % 997, 'genre ' || n % 31, 1950 + n % 70, n % 12,"
        " n / 15 + 2, timestamp '2000-01-01' + n * interval '4 hours' FROM generate_series(1, 50000) n;"
        "INSERT INTO video (path, title, parent_id, date) SELECT '/v/' || n / 15 || '/' || n || '.mkv', 'v ' || n,"
        " n / 15, timestamp '2000-01-01' + n * interval '8 hours' FROM generate_series(1, 10000) n;"
        "INSERT INTO photo (path, title, parent_id, date, timetaken) SELECT '/p/' || n / 15 || '/' || n, 'p ' || n,"
        " n / 15, d, d FROM (SELECT n, timestamp '2000-01-01' + n * interval '8 hours' d"
        " FROM generate_series(1, 10000) n) days;"
        "ANALYZE music, video, photo, directory");
    for (const PlanCase& c : kPlanCases) {
        SCOPED_TRACE(c.why);
        const std::string plan = database.Value(std::string("EXPLAIN (FORMAT JSON) ") + c.sql);
        EXPECT_EQ(plan.find("Seq Scan"), std::string::npos) << plan;
    }
}

}  // namespace
}  // namespace MediaServer
