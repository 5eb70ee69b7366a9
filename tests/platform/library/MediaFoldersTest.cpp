#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/library/MediaFolders.h"
#include "platform/system/Files.h"
#include "platform/system/Paths.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using testing::ElementsAre;
using testing::Pair;

class MediaFoldersTest : public testing::Test {
protected:
    void Configure(std::string_view text) const { root_.Write(kFoldersFile, text); }
    TempSysroot root_;
};

TEST_F(MediaFoldersTest, LinesAsPeopleWriteThem) {
    Configure(
        "# my folders\n"
        "music = /srv/Music/ | My Music\n"
        "all=/srv/./Mixed//This|That\n"
        "photo = /srv/a=b | Pictures | Best\n"
        "video = /srv/Music\n");
    EXPECT_THAT(GetIndexLoacationPath(MediaKind::Music),
                ElementsAre(Pair("/srv/Mixed/This|That", "This|That"), Pair("/srv/Music", "My Music")));
    EXPECT_THAT(GetIndexLoacationPath(MediaKind::Photo),
                ElementsAre(Pair("/srv/Mixed/This|That", "This|That"), Pair("/srv/a=b | Pictures", "Best")));
    EXPECT_THAT(GetIndexLoacationPath(MediaKind::Video),
                ElementsAre(Pair("/srv/Mixed/This|That", "This|That"), Pair("/srv/Music", "My Music")));
    EXPECT_EQ(ReadMediaFolders().size(), 3U) << "a folder named twice is one folder";
    EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Music), "/srv/Music") << "first in the file, not in the alphabet";
    EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Playlist), "/srv/Music");
    EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Photo), "/srv/Mixed/This|That");
}

TEST_F(MediaFoldersTest, BrokenLinesAreToldOnceAndSkipped) {
    LogCapture log;
    Configure("music /srv/a\nmusic = relative/b\nbooks = /srv/c\nall = /\nall = /../\nmusic =\nmusic = /srv/good\n");
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(GetIndexLoacationPath(MediaKind::Music), ElementsAre(Pair("/srv/good", "good")));
    const std::string text = log.Text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6) << text;
    EXPECT_THAT(text, testing::HasSubstr("\"music = relative/b\""));
}

TEST_F(MediaFoldersTest, EqualNamesAreToldApart) {
    Configure(
        "music = /disk1/Music\nmusic = /disk2/Music\n"
        "photo = /a/x/Photos\nphoto = /b/x/Photos\n"
        "video = /disk1/Films | Music\n");
    std::vector<std::string> names;
    for (const MediaFolder& folder : ReadMediaFolders()) names.push_back(folder.name);
    EXPECT_THAT(names, ElementsAre("Music (disk1) (/disk1/Music)", "Music (disk2)", "Photos (x) (/a/x/Photos)",
                                   "Photos (x) (/b/x/Photos)", "Music (disk1) (/disk1/Films)"));
}

TEST_F(MediaFoldersTest, AChangedFileIsReadAgain) {
    EXPECT_TRUE(ReadMediaFolders().empty());
    EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Video), "");
    const std::string file = root_ / kFoldersFile;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    for (const char* path : {"/srv/1", "/srv/2", "/srv/3"}) {  // same size, and within one tick of the clock
        ASSERT_TRUE(WriteFileAtomically(file, "all = " + std::string{path}));
        EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Video), path);
    }
    std::filesystem::remove(file);
    EXPECT_TRUE(ReadMediaFolders().empty());
}

TEST_F(MediaFoldersTest, ReadersAndARewriteAtOnce) {
    const std::string file = root_ / kFoldersFile;
    Configure("music = /srv/0\n");
    std::atomic<bool> done = false;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&done] {
            while (!done) {
                ASSERT_EQ(GetIndexLoacationPath(MediaKind::Music).size(), 1U);
            }
        });
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(WriteFileAtomically(file, "music = /srv/" + std::to_string(i)));
    done = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(DMSGetMediaFolderPath(MediaKind::Music), "/srv/49");
}

}  // namespace
}  // namespace MediaServer
