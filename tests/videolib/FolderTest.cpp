#include "videolib/VideoLibraryTest.h"

namespace MediaServer {
namespace {

using namespace LibReelhouse;

class FolderTest : public VideoLibraryTest {
protected:
    /// Three shared folders, two of one title, one without films. In the first: two folders with films (one of them
    /// deep) and one without; two films, one of two files, with subtitles beside some.
    void AddFilms() {
        const std::string root = disk / "v";
        for (const char* name : {"a1.srt", "c.srt"}) disk.Write(std::string("v/") + name, "1");
        AddFolder(root, "Films");
        AddFolder("/w", "Films");
        AddFolder("/empty", "Empty");
        AddFolder(root + "/b");
        AddFolder(root + "/b/deep");
        AddFolder(root + "/none");
        AddFolder(root + "/a");
        AddVideo(kMovie, "Two", {root + "/a0.mkv", root + "/a1.mkv"});
        AddVideo(kMovie, "One", {root + "/c.mkv"}, "tag_line", "'Alone'");
        AddVideo(kMovie, "Deep", {root + "/b/deep/d.mkv"});
        AddVideo(kMovie, "A", {root + "/a/x.mkv"});
        AddVideo(kMovie, "Other", {"/w/o.mkv"});
        AddVideo(kHomeVideo, "Home", {"/w/h.mkv"});
        CountFolders();
    }
    CDSStorageFolder_RH& Folders(Kind kind = kMovie) {
        return nodes.Make<CDSStorageFolder_RH>(kind, "P", "N", "Node", ObjectType::kStorageFolder);
    }
    std::string Root() const { return disk / "v"; }
};

TEST_F(FolderTest, FoldersComeFirstThenFilesThenTheirSubtitles) {
    AddFilms();
    CDSStorageFolder_RH& node = Folders();
    EXPECT_THAT(AskVideos(node, "N").lines, ElementsAre("N$1L0 in N: Films(1) [15]", "N$6L0 in N: Films(2) [15]"));
    const std::vector<std::string> expected = {
        "N$1L0$5L0 in N$1L0: a [15]",
        "N$1L0$4L1 in N$1L0: b [15]",
        "N$1L0$@1 in N$1L0: movie " + Root() + "/a0.mkv, by name",
        "N$1L0$@2 in N$1L0: movie " + Root() + "/a1.mkv, by name",
        "N$1L0$@3 in N$1L0: movie " + Root() + "/c.mkv, by name",
        "N$1L0$@s_2 in N$1L0: text s_2 " + Root() + "/a1.srt, by name",
        "N$1L0$@s_3 in N$1L0: text s_3 " + Root() + "/c.srt, by name",
    };
    const DMSClientChecker client = SubtitleClient();
    EXPECT_THAT(AskVideos(node, "N$1L0").lines, ElementsAreArray(expected.begin(), expected.begin() + 5));
    const VideoAnswer all = AskVideos(node, "N$1L0", {.client = &client});
    EXPECT_EQ(all.lines, expected);
    EXPECT_TRUE(all.records.back()["subtitle"].asBool());
    EXPECT_THAT(AskVideos(node, "N$1L0", {.start = 7, .client = &client}).lines, IsEmpty());
    EXPECT_THAT(AskVideos(node, "N", {.start = 1, .count = 1, .options = BrowseOption::kFakeChildCount}).lines,
                ElementsAre("N$6L0 in N: Films(2) [15] 1000"));
    EXPECT_THAT(AskVideos(Folders(kHomeVideo), "N").lines, ElementsAre(HasSubstr(": Films [15]")))
        << "the only one with home videos";
}

TEST_F(FolderTest, AKeyHoldsAsLongAsItsFile) {
    AddFilms();
    CDSStorageFolder_RH& node = Folders();
    ASSERT_THAT(AskVideos(node, "N$4L1").lines, ElementsAre("N$4L1$4L0 in N$4L1: deep [15]"));
    AddVideo(kMovie, "New", {Root() + "/b/new.mkv"});
    CountFolders();
    EXPECT_EQ(AskVideos(node, "N$4L1").total, 2) << "whatever comes into the folder";
    EXPECT_THAT(MetadataOf(node, "N$1L0$4L1").lines, ElementsAre("N$1L0$4L1 in N$1L0: b [15] 2"));
    EXPECT_THAT(MetadataOf(node, "N$4L2").lines, ElementsAre("N$4L2 in N: Films(1) [15] 5")) << "any level";
    database.Execute("DELETE FROM video WHERE id = 4");
    CountFolders();
    LogCapture log;
    EXPECT_EQ(AskVideos(node, "N$4L1").result, 0);
    EXPECT_EQ(MetadataOf(node, "N$4L1").result, 0);
    EXPECT_EQ(MetadataOf(node, "N$4L1$@4").result, 0);
    EXPECT_THAT(log.Text(), HasSubstr("Bad parameter"));
    EXPECT_THAT(AskVideos(node, "N$1L0").lines[1], HasSubstr("L0 in N$1L0: b [15]")) << "it gets a new key";
}

struct Failure {
    const char* why;
    _VIDEO_TABLE_TYPE_ kind;
    const char* id;
    const char* damage;  // done to the catalogue before
    const char* log;
    std::int32_t written = 0;
};
const Failure kFailures[] = {
    {"recordings", kTvRecord, "N", "", "cdsfolder_rh:%d Error: not support [by folder], type = 5"},
    {"roots", kMovie, "N", "ALTER TABLE directory RENAME COLUMN videos TO away",
     "cdsfolder_rh:%d Failed to get root paht for by folder"},
    {"no key", kMovie, "N$1", "", "cdsfolder_rh:%d Error: wrong itemID = 1"},
    {"two levels", kMovie, "N$1L0L0", "", "cdsfolder_rh:%d Error: wrong itemID = 1L0L0"},
    {"a key of something else", kMovie, "N$../etcL1", "", "cdsfolder_rh:%d Error: wrong itemID = ../etcL1"},
    {"levels that are none", kMovie, "N$1L-1", "", "cdsfolder_rh:%d Error: wrong itemID = 1L-1"},
    {"no directory left", kMovie, "N$1L2147483647", "", "cdsfolder_rh:%d Bad parameter"},
    {"a file that is gone", kMovie, "N$99L0", "", "cdsfolder_rh:%d Bad parameter"},
    {"a folder that lost its files meanwhile", kMovie, "N", "UPDATE directory SET first_video = 99 WHERE id = 2",
     "cdsfolder_rh:%d Failed to get id and path by directory path [dir=/w]", 1},
    {"a file above its folder", kMovie, "N$1L0", "UPDATE directory SET first_video = 6 WHERE title = 'b'",
     "cdsfolder_rh:%d Error: wrong levels [levels = -", 4},
    {"a folder without a name", kMovie, "N$1L0", "UPDATE directory SET path = '/' WHERE title = 'b'",
     "cdsfolder_rh:%d Error: wrong path [Dir = /, file = /", 4},
    {"a folder without a path", kMovie, "N", "UPDATE directory SET path = '' WHERE id = 2",
     "cdsfolder_rh:%d Bad parameter", 1},
};

TEST_F(FolderTest, EachFailureHasItsLogLine) {
    for (const Failure& c : kFailures) {
        SCOPED_TRACE(c.why);
        database.Clear();
        AddFilms();
        const std::string damage = c.damage;
        if (!damage.empty()) database.Execute(damage);
        LogCapture log;
        EXPECT_EQ(AskVideos(Folders(c.kind), c.id).result, c.written);
        const std::string text = log.Text();
        if (damage.starts_with("ALTER")) database.Execute("ALTER TABLE directory RENAME COLUMN away TO videos");
        // The line of the source is anybody's guess.
        const std::string line = c.log;
        const std::size_t number = line.find("%d");
        EXPECT_THAT(text, HasSubstr(line.substr(0, number)));
        EXPECT_THAT(text, HasSubstr(line.substr(number + 2)));
    }
    EXPECT_EQ(MetadataOf(Folders(kTvRecord), "N").result, 0);

    database.Clear();
    AddFilms();
    database.Execute("ALTER TABLE movie RENAME TO away");
    EXPECT_EQ(AskVideos(Folders(), "N$1L0").result, kActionFailed) << "the folders stand in the answer already";
    database.Execute("ALTER TABLE away RENAME TO movie");
}

}  // namespace
}  // namespace MediaServer
