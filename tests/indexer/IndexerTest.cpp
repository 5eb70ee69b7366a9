#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "indexer/Indexer.h"
#include "indexer/MediaFiles.h"
#include "platform/database/TestDatabase.h"

namespace MediaServer {
namespace {

namespace fs = std::filesystem;

class IndexerTest : public DatabaseTest {
protected:
    ScanResult Scan() { return Scan({{files.Root(), "Shared", true, true, true}}); }
    ScanResult Scan(std::vector<MediaFolder> folders) {
        const FolderSet set(std::move(folders));
        return Indexer(set, progress, stop).ScanAll();
    }
    ScanResult ScanDirectories(const std::set<std::string>& paths) {
        const FolderSet set({{files.Root(), "Shared", true, true, true}});
        return Indexer(set, progress, stop).ScanDirectories(paths);
    }
    /// Paths below the root, in order, separated by blanks.
    std::string Paths(const std::string& table) {
        return database.Value("SELECT string_agg(substr(path, " + std::to_string(files.Root().size() + 2) +
                              "), ' ' ORDER BY path COLLATE \"C\") FROM " + table + " WHERE path <> '" + files.Root() +
                              "'");
    }
    std::string Id(const std::string& name) {
        return database.Value("SELECT id FROM music WHERE path = '" + files.Path(name) + "'");
    }
    std::string Generation() { return database.Value("SELECT generation FROM library"); }

    MediaFiles files;
    Progress progress{true};
    std::atomic<bool> stop = false;
};

TEST_F(IndexerTest, EveryFileAndDirectoryHasARow) {
    files.AddSong("a/b/1.mp3", "One");
    files.AddSong("a/2.MP3", "Two");
    files.Write("a/list.m3u", "2.MP3\n");
    files.Write("a/other.xspf", "<playlist><title>Own title</title></playlist>");
    files.Write("a/notes.txt", "no media");
    files.Make({"-f", "lavfi", "-i", "testsrc=d=0.2", "-frames:v", "1", "@/p.jpg"});
    files.Make({"-f", "lavfi", "-i", "testsrc=d=0.2", "@/v.mkv"});
    const ScanResult result = Scan();
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.stored, 6U);
    EXPECT_EQ(Paths("music"), "a/2.MP3 a/b/1.mp3");
    EXPECT_EQ(Paths("video"), "v.mkv");
    EXPECT_EQ(Paths("photo"), "p.jpg");
    EXPECT_EQ(Paths("playlist"), "a/list.m3u a/other.xspf");
    EXPECT_EQ(database.Value("SELECT string_agg(title, '|' ORDER BY path) FROM playlist"), "list|Own title");
    EXPECT_EQ(Paths("directory"), "a a/b");
    EXPECT_EQ(database.Value("SELECT title FROM directory WHERE parent_id IS NULL"), "Shared");
    EXPECT_EQ(database.Value("SELECT string_agg(d.title, ' ' ORDER BY d.title) FROM music m JOIN directory d ON "
                             "d.id = m.parent_id"),
              "a b");
    EXPECT_EQ(database.Value("SELECT title FROM video"), "v") << "without a tag the title is the name";
    EXPECT_EQ(database.Value("SELECT filesize FROM music WHERE title = 'One'"),
              std::to_string(fs::file_size(files.Path("a/b/1.mp3"))));
}

TEST_F(IndexerTest, ChangesAreNoticedAndRowsKeepTheirIds) {
    for (const char* name : {"a/1.mp3", "a/2.mp3", "a/3.mp3", "b/4.mp3", "b/c/5.mp3"}) files.AddSong(name, "Old");
    Scan();
    const std::string generation = Generation();
    const std::string id1 = Id("a/1.mp3"), id2 = Id("a/2.mp3"), id5 = Id("b/c/5.mp3");

    files.AddSong("a/1.mp3", "Newer title");
    fs::create_directory(files.Path("z"));
    fs::rename(files.Path("a/2.mp3"), files.Path("z/renamed.mp3"));
    fs::remove(files.Path("a/3.mp3"));
    fs::rename(files.Path("b"), files.Path("moved"));
    const ScanResult result = Scan();
    EXPECT_EQ(result.renamed, 3U);
    EXPECT_EQ(Paths("music"), "a/1.mp3 moved/4.mp3 moved/c/5.mp3 z/renamed.mp3");
    EXPECT_EQ(Paths("directory"), "a moved moved/c z");
    EXPECT_EQ(Id("a/1.mp3"), id1);
    EXPECT_EQ(database.Value("SELECT title FROM music WHERE id = " + id1), "Newer title");
    EXPECT_EQ(Id("z/renamed.mp3"), id2);
    EXPECT_EQ(Id("moved/c/5.mp3"), id5);
    EXPECT_NE(Generation(), generation);
    EXPECT_EQ(database.Value("SELECT count(*) FROM music m LEFT JOIN directory d ON d.id = m.parent_id"
                             " WHERE d.path || '/' <> left(m.path, length(d.path) + 1) OR d.id IS NULL"),
              "0")
        << "each file hangs on its own directory";
}

TEST_F(IndexerTest, ADirectoryAloneIsScannedWithWhatIsNewInIt) {
    files.AddSong("a/1.mp3");
    files.AddSong("b/2.mp3");
    Scan();
    files.AddSong("a/new/deep/3.mp3");
    files.AddSong("b/4.mp3");
    fs::remove(files.Path("a/1.mp3"));
    const ScanResult result = ScanDirectories({files.Path("a"), files.Path("never seen")});
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(Paths("music"), "a/new/deep/3.mp3 b/2.mp3");
}

TEST_F(IndexerTest, StrangeEntriesCostNothingButThemselves) {
    files.AddSong("good.mp3");
    files.AddSong(".hidden.mp3");
    files.AddSong(".git/x.mp3");
    files.AddSong("@eaDir/x.mp3");
    files.AddSong("name \"with' \\odd\n%_chars.mp3");
    files.AddSong("not utf-8 \xff.mp3");
    files.AddSong("not utf-8 \xfe/inside.mp3");
    files.Write("broken.mp3", "nothing to hear");
    files.Write("directory.mp3/.keep", "");
    ASSERT_EQ(mkfifo(files.Path("pipe.mp3").c_str(), 0600), 0);
    fs::create_directory_symlink(files.Root(), files.Path("loop"));
    fs::create_symlink("nowhere", files.Path("dangling.mp3"));
    std::string deep = "d";
    for (int i = 0; i < 12; ++i) deep += "/" + std::string(200, 'x');
    files.AddSong(deep + "/far.mp3");

    const ScanResult result = Scan();
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.broken, 1U);
    EXPECT_EQ(Paths("music"), "good.mp3 name \"with' \\odd\n%_chars.mp3");
    EXPECT_EQ(Scan().unchanged, 2U);
}

TEST_F(IndexerTest, LinksToOutsideAreFollowedOnce) {
    const MediaFiles outside;
    outside.AddSong("x/1.mp3");
    fs::create_directory_symlink(outside.Root(), outside.Path("x/back"));
    fs::create_directory_symlink(outside.Root(), files.Path("link"));
    fs::create_directory_symlink(outside.Root(), files.Path("second link"));
    Scan();
    EXPECT_EQ(Paths("music"), "link/x/1.mp3");
}

TEST_F(IndexerTest, WhatCannotBeReadKeepsItsRows) {
    if (geteuid() == 0) {  // root reads everything
        const passwd* user = getpwnam("postgres");
        ASSERT_NE(user, nullptr);
        ASSERT_EQ(seteuid(user->pw_uid), 0);
    }
    const MediaFiles own;
    own.AddSong("closed/1.mp3");
    own.AddSong("open/2.mp3");
    const MediaFolder folder{own.Root(), "Own", true, false, false};
    Scan({folder});
    const fs::path closed = own.Path("closed");
    for (const int mode : {0, 0400}) {  // not to be listed; to be listed, but its files not to be asked
        fs::permissions(closed, fs::perms(mode));
        fs::remove(own.Path("open/2.mp3"));
        const ScanResult result = Scan({folder});
        EXPECT_TRUE(result.complete);
        EXPECT_EQ(database.Value("SELECT string_agg(path, ' ') FROM music"), own.Path("closed/1.mp3"));
    }
    fs::permissions(closed, fs::perms(0700));
    Scan({{own.Path("gone for now"), "Gone", true, false, false}, folder});
    EXPECT_EQ(database.Value("SELECT count(*) FROM music"), "1");
    EXPECT_EQ(seteuid(getuid()), 0);
}

TEST_F(IndexerTest, SharedFoldersComeAndGo) {
    files.AddSong("m/1.mp3");
    files.AddSong("m/sub/2.mp3");
    files.AddSong("n/3.mp3");
    files.Make(
        {"-f", "lavfi", "-i", "testsrc=d=0.2", "-frames:v", "1", "@/m/sub/p.jpg", "-frames:v", "1", "@/m/q.jpg"});
    const MediaFolder m{files.Path("m"), "M", true, false, false}, n{files.Path("n"), "N", true, false, false};
    const MediaFolder sub{files.Path("m/sub"), "Sub", false, false, true};

    Scan({m, n});
    EXPECT_EQ(Paths("music"), "m/1.mp3 m/sub/2.mp3 n/3.mp3");
    EXPECT_EQ(Paths("photo"), "") << "no photos are shared";
    const std::string id = Id("m/sub/2.mp3");
    Scan({m, n, sub});
    EXPECT_EQ(Paths("photo"), "m/sub/p.jpg") << "photos are shared in the inner folder only";
    EXPECT_EQ(Id("m/sub/2.mp3"), id);
    Scan({sub});
    EXPECT_EQ(Paths("music"), "");
    EXPECT_EQ(Paths("photo"), "m/sub/p.jpg");
    EXPECT_EQ(database.Value("SELECT string_agg(title, ' ') FROM directory WHERE parent_id IS NULL"), "Sub");
    EXPECT_EQ(Paths("directory"), "m/sub");
    Scan({});
    EXPECT_EQ(Paths("directory"), "");
    EXPECT_EQ(Paths("photo"), "");
}

TEST_F(IndexerTest, AStoppedDatabaseIsAnErrorAndNoMore) {
    files.AddSong("1.mp3");
    database.Stop();
    EXPECT_FALSE(Scan().complete);
    database.Start();
    EXPECT_TRUE(Scan().complete);
    EXPECT_EQ(Paths("music"), "1.mp3");
    stop = true;
    fs::remove(files.Path("1.mp3"));
    EXPECT_FALSE(Scan().complete);
    EXPECT_EQ(Paths("music"), "1.mp3") << "a scan that was stopped knows nothing of what it did not reach";
}

TEST_F(IndexerTest, OneRowThatTheDatabaseRefusesCostsOnlyItself) {
    LibraryTables tables(database.Connection());
    std::vector<MediaRow> rows(3);
    for (MediaRow& row : rows) row.record.date = row.record.timetaken = "2020-01-01 00:00:00";
    rows[0].record.path = "/a";
    rows[1].record.path = "/b";
    rows[1].record.date = "no date";
    rows[2].record.path = "/c";
    EXPECT_EQ(tables.PutFiles(MediaKind::Music, rows), 1U);
    EXPECT_EQ(database.Value("SELECT string_agg(path, ' ' ORDER BY path) FROM music"), "/a /c");
}

}  // namespace
}  // namespace MediaServer
