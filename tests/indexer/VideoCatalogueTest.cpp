#include <filesystem>

#include <gtest/gtest.h>

#include "indexer/Indexer.h"
#include "indexer/MediaFiles.h"
#include "indexer/VideoCatalogue.h"
#include "platform/database/TestDatabase.h"

namespace MediaServer {
namespace {

namespace fs = std::filesystem;

class VideoCatalogueTest : public DatabaseTest {
protected:
    VideoCatalogueTest() {
        files.Make({"-f", "lavfi", "-i", "testsrc=d=0.1:s=32x32", "@/seed.mkv"});
        fs::rename(files.Path("seed.mkv"), seed = files.Path(".seed"));
    }
    void Add(const std::string& name) {
        fs::create_directories(fs::path(files.Path(name)).parent_path());
        fs::copy_file(seed, files.Path(name), fs::copy_options::overwrite_existing);
    }
    ScanResult Scan(const std::set<std::string>& directories = {}) {
        const FolderSet set({{files.Root(), "Shared", true, true, true}});
        Indexer indexer(set, progress, stop);
        const ScanResult result = directories.empty() ? indexer.ScanAll() : indexer.ScanDirectories(directories);
        EXPECT_TRUE(result.complete);
        EXPECT_EQ(database.Value("SELECT count(*) FROM video_work"), "0");
        return result;
    }
    /// All records, each with its files: "movie Title 2010: a.mkv b.mkv".
    std::string Records() {
        return database.Value(R"(
            WITH told (mapper_id, text, subtitled) AS (
                SELECT mapper_id, 'movie ' || title || ' ' || year, subtitled FROM movie
                UNION ALL SELECT e.mapper_id, 'episode ' || title || ' s' || season || 'e' || episode || tag_line,
                    subtitled FROM tvshow_episode AS e JOIN tvshow AS s ON s.id = tvshow_id
                UNION ALL SELECT mapper_id, 'home ' || title, subtitled FROM home_video
                UNION ALL SELECT mapper_id, 'recording ' || title || ' on ' || channel_name, subtitled FROM tv_record)
            SELECT string_agg(text, ' | ' ORDER BY text COLLATE "C") FROM (
                SELECT text || CASE WHEN subtitled THEN ' subtitled' ELSE '' END || ': '
                    || string_agg(regexp_replace(path, '.*/', ''), ' ' ORDER BY path) AS text
                FROM told LEFT JOIN video_file USING (mapper_id) LEFT JOIN video USING (id)
                GROUP BY mapper_id, text, subtitled) AS lines)");
    }
    std::string Names(const std::string& table) {
        return database.Value("SELECT string_agg(" + table + ", ',' ORDER BY position) FROM " + table + "_map JOIN " +
                              table + " ON " + table + ".id = " + table + "_id");
    }
    std::string Generation() { return database.Value("SELECT generation FROM library"); }

    MediaFiles files;
    std::string seed;
    Progress progress{true};
    std::atomic<bool> stop = false;
};

TEST_F(VideoCatalogueTest, EveryVideoIsInOneRecord) {
    for (const char* name : {"m/Alpha (1999) cd1.mkv", "m/Alpha (1999) cd2.mkv", "x/Alpha (1999) - 720p.mkv",
                             "m/Beta (2010).mkv", "Show/Season 1/01 One.mkv", "Show/Season 1/02.mkv",
                             "Show/Specials/S00E01 Special.mkv", "One - News - 2026-01-02 20-15.ts", "beach.mkv"}) {
        Add(name);
    }
    files.Write("m/Beta (2010).srt", "1\n00:00:00,000 --> 00:00:01,000\nx\n");
    files.Write("m/Alpha (1999) cd1.srt", "1\n00:00:00,000 --> 00:00:01,000\nx\n");
    EXPECT_EQ(Scan().described, 9U);
    EXPECT_EQ(
        Records(),
        "episode Show s0e1Special: S00E01 Special.mkv | episode Show s1e1One: 01 One.mkv | episode Show s1e2: 02.mkv"
        " | home beach: beach.mkv"
        " | movie Alpha 1999: Alpha (1999) cd1.mkv Alpha (1999) cd2.mkv Alpha (1999) - 720p.mkv"
        " | movie Beta 2010 subtitled: Beta (2010).mkv"
        " | recording News on One: One - News - 2026-01-02 20-15.ts");
    EXPECT_EQ(database.Value("SELECT string_agg(title || videos, ' ' ORDER BY title) FROM directory"),
              "m3 Season 12 Shared9 Show3 Specials1 x1");
    EXPECT_EQ(database.Value("SELECT count(*) FROM directory AS d WHERE first_video <> (SELECT min(id) FROM video"
                             " WHERE path LIKE d.path || '/%' AND video_codec <> 'text')"),
              "0");

    const std::string generation = Generation();
    EXPECT_FALSE(Scan().Changed()) << "a second run changes nothing";
    EXPECT_EQ(Generation(), generation);
}

TEST_F(VideoCatalogueTest, RecordsFollowTheirFiles) {
    for (const char* name : {"m/Alpha (1999) cd1.mkv", "m/Alpha (1999) cd2.mkv", "m/Beta (2010).mkv",
                             "s/Show S01E01.mkv", "s/Show S01E02.mkv"}) {
        Add(name);
    }
    Scan();
    const std::string id = database.Value("SELECT id FROM video WHERE path LIKE '%Beta%'");
    fs::remove(files.Path("m/Alpha (1999) cd2.mkv"));
    fs::rename(files.Path("m/Beta (2010).mkv"), files.Path("m/Gamma (2011).mkv"));
    fs::remove(files.Path("s/Show S01E02.mkv"));
    files.Write("m/Alpha (1999) cd1.srt", "1\n00:00:00,000 --> 00:00:01,000\nx\n");
    const std::string generation = Generation();
    EXPECT_TRUE(Scan().Changed());
    EXPECT_NE(Generation(), generation);
    EXPECT_EQ(Records(),
              "episode Show s1e1: Show S01E01.mkv | movie Alpha 1999 subtitled: Alpha (1999) cd1.mkv"
              " | movie Gamma 2011: Gamma (2011).mkv");
    EXPECT_EQ(database.Value("SELECT id FROM video_file JOIN video USING (id) WHERE path LIKE '%Gamma%'"), id);

    fs::remove_all(files.Path("s"));
    fs::remove(files.Path("m/Gamma (2011).mkv"));
    Scan({files.Root(), files.Path("m")});
    EXPECT_EQ(Records(), "movie Alpha 1999 subtitled: Alpha (1999) cd1.mkv");
    EXPECT_EQ(database.Value("SELECT count(*) FROM tvshow"), "0") << "a show goes with its last episode";
    EXPECT_EQ(database.Value("SELECT count(*) FROM mapper"), "1");
    EXPECT_EQ(database.Value("SELECT string_agg(title || videos, ' ' ORDER BY title) FROM directory"), "m1 Shared1");
}

TEST_F(VideoCatalogueTest, DescriptionsBesideTheVideosSayWhatTheyAre) {
    for (const char* name : {"film.mkv", "own/a cd1.mkv", "own/a cd2.mkv", "all/x.mkv", "all/y.mkv",
                             "all/x-trailer.mkv", "Show (2004)/Season 1/e01.mkv", "Show (2004)/Season 1/e02.mkv"}) {
        Add(name);
    }
    files.Write("film.nfo",
                "<movie><title>Film</title><year>1950</year><plot>p</plot><actor><name>Zoe</name></actor>"
                "<actor><name>Ann</name></actor><genre>Drama</genre></movie>");
    files.Write("own/a.nfo", "<movie><title>Two parts</title><year>1951</year></movie>");
    files.Write("all/movie.nfo", "<movie><title>Whole</title><year>1952</year></movie>");
    files.Write("Show (2004)/tvshow.nfo", "<tvshow><title>The Show</title><genre>Crime</genre></tvshow>");
    files.Write("Show (2004)/Season 1/e02.nfo", "<episodedetails><title>Two</title></episodedetails>");
    Scan();
    EXPECT_EQ(Records(),
              "episode The Show s1e1: e01.mkv | episode The Show s1e2Two: e02.mkv | home x-trailer: x-trailer.mkv"
              " | movie Film 1950: film.mkv"
              " | movie Two parts 1951: a cd1.mkv a cd2.mkv | movie Whole 1952: x.mkv y.mkv");
    EXPECT_EQ(Names("actor"), "Zoe,Ann") << "in the order in which they are told";
    EXPECT_EQ(database.Value("SELECT string_agg(DISTINCT gnere, ',') FROM gnere JOIN gnere_map ON gnere_id = gnere.id"),
              "Crime,Drama")
        << "episodes have the genres of their show";
    EXPECT_EQ(database.Value("SELECT summary FROM summary"), "p");

    EXPECT_FALSE(Scan().Changed());
    const std::string generation = Generation();
    files.Write("film.nfo",
                "<movie><title>Another film</title><year>1950</year><actor><name>Bob</name></actor></movie>");
    files.Write("Show (2004)/tvshow.nfo", "<tvshow><title>Renamed show</title></tvshow>");
    fs::remove(files.Path("own/a.nfo"));
    files.Write("all/movie.nfo", "no description at all");
    EXPECT_EQ(Scan().described, 7U) << "a description alone is noticed";
    EXPECT_NE(Generation(), generation);
    EXPECT_EQ(Records(),
              "episode Renamed show s1e1: e01.mkv | episode Renamed show s1e2Two: e02.mkv | home a cd1: a cd1.mkv"
              " | home a cd2: a cd2.mkv | home x-trailer: x-trailer.mkv | home x: x.mkv | home y: y.mkv | movie "
              "Another film 1950: film.mkv");
    EXPECT_EQ(database.Value("SELECT string_agg(actor, ',') FROM actor"), "Bob") << "nobody stays without a video";
    EXPECT_EQ(database.Value("SELECT count(*) FROM tvshow"), "1");
}

TEST_F(VideoCatalogueTest, TheBestDescriptionOfARecordWins) {
    for (const char* name : {"a/Film (2010).mkv", "b/Film (2010) 720p.mkv"}) Add(name);
    Scan();
    files.Write("b/Film (2010) 720p.nfo", "<movie><title>film</title><year>2010</year><plot>told</plot></movie>");
    Scan({files.Path("b")});
    EXPECT_EQ(database.Value("SELECT title || summary FROM movie JOIN summary USING (mapper_id)"), "filmtold");
    Add("c/Film (2010).mkv");
    Scan();
    EXPECT_EQ(database.Value("SELECT title || summary FROM movie JOIN summary USING (mapper_id)"), "filmtold")
        << "one that knows less does not take it away";
    files.Write("a/Film (2010).nfo", "<movie><title>FILM</title><year>2010</year><plot>mine</plot></movie>");
    Scan();
    fs::remove(files.Path("b/Film (2010) 720p.mkv"));
    Scan();
    EXPECT_EQ(database.Value("SELECT title || summary FROM movie JOIN summary USING (mapper_id)"), "FILMmine");
    fs::remove(files.Path("a/Film (2010).nfo"));
    Scan();
    EXPECT_EQ(database.Value("SELECT title || (SELECT count(*) FROM summary) FROM movie"), "Film0");
}

TEST_F(VideoCatalogueTest, WhatARunDidNotFinishTheNextOneDoes) {
    for (int i = 0; i < 3; ++i) Add(std::to_string(i) + "/Film " + std::to_string(i) + " (2010).mkv");
    database.Execute("ALTER TABLE movie ADD CONSTRAINT refuse CHECK (title <> 'Film 1')");
    const FolderSet set({{files.Root(), "Shared", true, true, true}});
    EXPECT_FALSE(Indexer(set, progress, stop).ScanAll().complete);
    EXPECT_EQ(Records(), "") << "nothing is half done";
    EXPECT_EQ(database.Value("SELECT count(*) FROM video"), "3");
    database.Execute("ALTER TABLE movie DROP CONSTRAINT refuse");
    EXPECT_EQ(Scan().described, 3U);
    EXPECT_EQ(database.Value("SELECT sum(videos) FROM directory"), "6");
}

TEST_F(VideoCatalogueTest, MoreThanOneStatementOfFilesOfAFolder) {
    // As rows alone: the names are what counts.
    database.Execute(
        "INSERT INTO directory (path) VALUES ('/many');"
        "INSERT INTO video (path, parent_id) SELECT '/many/Film ' || n || ' (2010).mkv', 1 FROM generate_series(1, "
        "1000) n");
    VideoCatalogue catalogue(ThreadDBConnection());
    EXPECT_EQ(catalogue.Update(stop), 1000U);
    EXPECT_EQ(database.Value("SELECT count(*) FROM movie"), "1000");
    EXPECT_EQ(database.Value("SELECT videos FROM directory"), "1000");
    database.Execute("UPDATE video SET path = '/many/Film 1 (2011).mkv' WHERE path = '/many/Film 1 (2010).mkv'");
    EXPECT_EQ(catalogue.Update(stop), 1U) << "the others are left alone";
}

}  // namespace
}  // namespace MediaServer
