#include "model/ServiceOptions.h"
#include "tree/CDSIndexStorageFolder.h"
#include "tree/CDSStorageFolder.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

class FolderTest : public TreeTest {
protected:
    /// "/m" with the folders a (and in it "deep"), b, c and five songs; "/mm" beside it.
    void AddMusic() {
        for (const char* path : {"/m", "/mm", "/m/c", "/m/a", "/m/b", "/m/a/deep"}) AddFolder(path);
        AddRow("music", "/m/3.mp3", "third", "album, disc, track", "'A', 1, 3");
        AddRow("music", "/m/1.mp3", "first", "album, disc, track", "'A', 1, 1");
        AddRow("music", "/m/5.mp3", "fifth", "album, disc, track", "'B', 1, 1");
        AddRow("music", "/m/2.mp3", "second", "album, disc, track", "'A', 1, 2");
        AddRow("music", "/m/4.mp3", "fourth", "album, disc, track", "'A', 2, 1");
        AddRow("music", "/m/a/deep/6.mp3", "sixth");
        AddRow("music", "/mm/7.mp3", "beside");
    }
    CDSStorageFolder music{MediaKind::Music, "/m", "21", "22", "Folders", ObjectType::kStorageFolder};
};

TEST_F(FolderTest, PagesRunFromTheFoldersIntoTheFiles) {
    AddMusic();
    EXPECT_THAT(Children(music, "22").Titles(),
                ElementsAre("a", "b", "c", "first", "second", "third", "fourth", "fifth"));
    const Answer across = Children(music, "22", {.start = 2, .count = 3});
    EXPECT_THAT(across.Titles(), ElementsAre("c", "first", "second"));
    EXPECT_EQ(across.total, 8);
    EXPECT_THAT(Children(music, "22", {.start = 4, .count = 2}).Titles(), ElementsAre("second", "third"));
    EXPECT_EQ(Children(music, "22", {.start = 8}).result, 0);
    EXPECT_EQ(Children(music, "22", {.start = 2147483647, .count = 2147483647}).result, 0);
    EXPECT_EQ(Children(music, "22").objects[0], (Written{"22$4", "22", "a", ObjectType::kStorageFolder, -1}));
    EXPECT_EQ(Children(music, "22", {.count = 1, .options = BrowseOption::kFakeChildCount}).objects[0].count, 1000);
}

TEST_F(FolderTest, MetadataNamesTheFolderThatHoldsTheObject) {
    AddMusic();
    struct Case {
        const char* why;
        std::string_view id;
        std::uint32_t filter;
        Written expected;
    };
    const Case kCases[] = {
        {"the node", "22", 0, {"22", "21", "Folders", 15}},
        {"the node, counted", "22", Property::kChildCount, {"22", "21", "Folders", 15, 8}},
        {"the node with a final separator", "22$", 0, {"22", "21", "Folders", 15}},
        {"a folder in the root", "22$4", 0, {"22$4", "22", "a", 15}},
        {"a folder deeper, in its long form", "22$c6", Property::kChildCount, {"22$6", "22$4", "deep", 15, 1}},
        {"a file in the root", "22$@1", 0, {"22$@1", "22", "third", -1, -2, 1}},
        {"a file three levels deep", "22$@6", 0, {"22$@6", "22$6", "sixth", -1, -2, 6}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        const Answer answer = Metadata(music, c.id, {.filter = c.filter});
        EXPECT_THAT(answer.objects, ElementsAre(c.expected));
        EXPECT_EQ(answer.total, 1);
    }
}

TEST_F(FolderTest, WhatIsNotThereWritesNothing) {
    AddMusic();
    for (const char* id : {"22$99", "22$@99", "22$c99", "22$0", "22$2147483647"}) {
        EXPECT_EQ(Children(music, id).result, 0) << id;
        EXPECT_EQ(Metadata(music, id).result, 0) << id;
    }
    for (const char* id : {"22$x", "22$@", "22$-1", "22$../m", "22$1 OR 1=1", "22$4294967296", "22$4$6", "22$no",
                           "22$c", "22$c+1", "22$@1 ", "22$@c7"}) {
        EXPECT_EQ(Children(music, id).result, kNoSuchObject) << id;
        EXPECT_EQ(Metadata(music, id).result, kNoSuchObject) << id;
    }
    CDSStorageFolder gone(MediaKind::Music, "/gone", "0", "23", "Gone", ObjectType::kStorageFolder);
    EXPECT_EQ(Children(gone, "23").total, 0);
}

TEST_F(FolderTest, EachKindHasItsOrder) {
    AddFolder("/v");
    AddFolder("/v/z");
    AddRow("video", "/v/b.mkv", "A");
    AddRow("video", "/v/A.mkv", "b");
    AddRow("video", "/v/c.srt", "c", "video_codec", "'text'");
    AddRow("photo", "/v/1.jpg", "sea");
    CDSStorageFolder video(MediaKind::Video, "/v", "0", "22", "Video", ObjectType::kStorageFolder);
    CDSStorageFolder photo(MediaKind::Photo, "/v", "0", "23", "Photo", ObjectType::kStorageFolder);
    DMSClientChecker console("", "", true), subtitles("", "", true);
    console.full_menu = true;
    subtitles.flags = ClientFlag::kTextItems;

    EXPECT_THAT(Children(video, "22").Titles(), ElementsAre("z", "b", "A")) << "by path, without subtitles";
    EXPECT_THAT(Children(video, "22", {.flags = OptionFlag::kEmbeddedVideoInfo}).Titles(), ElementsAre("z", "A", "b"));
    EXPECT_EQ(Children(video, "22", {.client = &subtitles}).total, 4);
    EXPECT_EQ(Metadata(video, "22", {.filter = Property::kChildCount}).objects.at(0).count, 3);
    EXPECT_THAT(Children(video, "22", {.client = &console}).Titles(), ElementsAre("z", "b", "A"));
    EXPECT_THAT(Children(photo, "23").Titles(), ElementsAre("z", "sea"));
    EXPECT_THAT(Children(photo, "23", {.client = &console}).Titles(), ElementsAre("sea", "z"));
    EXPECT_THAT(Children(photo, "23", {.start = 1, .count = 5, .client = &console}).Titles(), ElementsAre("z"));
}

class IndexFolderTest : public TreeTest {
protected:
    // Two shared folders that exist, one that is not mounted.
    IndexFolderTest() {
        for (const char* share : {"one", "two"}) std::filesystem::create_directories(disk / share);
        for (const char* folder : {"one", "one/sub", "absent"}) AddFolder(disk / folder);
        AddRow("video", disk / "one/sub/a.mkv", "deep");
        AddRow("video", disk / "one/b.mkv", "near");
        AddRow("video", disk / "absent/c.mkv", "lost");
    }
    void Share(const std::vector<std::string>& names) {
        std::map<std::string, std::string> locations;
        std::string lines;
        for (const std::string& name : names) {
            locations[disk / name] = "Share " + name;
            lines += "video = " + disk / name + "\n";
        }
        sysroot.Write("var/packages/MediaServer/etc/media_folders.conf", lines);
        node.SetIndexLocations(locations);
    }
    TempDir disk;
    CDSIndexStorageFolder node{MediaKind::Video, "0", "30", "Folders", ObjectType::kStorageFolder};
};

TEST_F(IndexFolderTest, SeveralLocationsAreTheFirstLevel) {
    Share({"one", "two", "absent"});
    const Answer root = Children(node, "30");
    EXPECT_EQ(root.total, 2) << "a folder that is not on the disk is left out";
    EXPECT_THAT(root.objects,
                ElementsAre(Written{"30$1", "30", "Share one", 15, -1}, Written{"30$no", "30", "Share two", 15, -1}));
    EXPECT_THAT(Children(node, "30", {.start = 1, .count = 7}).Ids(), ElementsAre("30$no"));
    EXPECT_THAT(Metadata(node, "30", {.filter = Property::kChildCount}).objects,
                ElementsAre(Written{"30", "0", "Folders", 15, 2}));
    EXPECT_THAT(Metadata(node, "30$1", {.filter = Property::kChildCount}).objects,
                ElementsAre(Written{"30$1", "30", "Share one", 15, 2}));
    EXPECT_THAT(Children(node, "30$1").objects,
                ElementsAre(Written{"30$2", "30$1", "sub", 15, -1}, Written{"30$@2", "30$1", "near", -1, -2, 2}));
    EXPECT_EQ(Metadata(node, "30$@1").objects.at(0).parent, "30$2");
    for (const BrowseFlag flag : {BrowseFlag::Metadata, BrowseFlag::DirectChildren}) {
        EXPECT_EQ(BrowseNode(node, "30$no", flag).result, 0);
    }
}

TEST_F(IndexFolderTest, OneLocationIsShownByItsContent) {
    Share({"one"});
    EXPECT_THAT(Children(node, "30").Titles(), ElementsAre("sub", "near"));
    EXPECT_EQ(Metadata(node, "30$2").objects.at(0).parent, "30") << "its own parent is the node that lists it";
    EXPECT_EQ(Metadata(node, "30$@2").objects.at(0).parent, "30");
    Share({"absent", "one"});
    EXPECT_THAT(Children(node, "30").Titles(), ElementsAre("sub", "near")) << "the first folder is not mounted";
}

TEST_F(IndexFolderTest, AStorageFolderOfAllFilesShowsTheSharedFolders) {
    Share({"one", "two"});
    CDSStorageFolder all(MediaKind::Video, ":@AllIndexFiles@", "0", "31", "All", ObjectType::kStorageFolder);
    EXPECT_THAT(Children(all, "31").Ids(), ElementsAre("31$1", "31$no"));
    Share({"one"});
    CDSStorageFolder only(MediaKind::Video, ":@AllIndexFiles@", "0", "31", "All", ObjectType::kStorageFolder);
    EXPECT_THAT(Children(only, "31").Titles(), ElementsAre("sub", "near"));
    Share({});
    CDSStorageFolder none(MediaKind::Video, ":@AllIndexFiles@", "0", "31", "All", ObjectType::kStorageFolder);
    EXPECT_EQ(Children(none, "31").total, 0);
}

}  // namespace
}  // namespace MediaServer
