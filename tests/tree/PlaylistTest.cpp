#include "tree/CDSPlayListEntry.h"
#include "tree/CDSSRadioContainer.h"
#include "tree/CDSSmartContainer.h"
#include "tree/CDSSmartPlayList.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

constexpr const char* kConfig = "var/packages/MediaServer/etc/";

class PlaylistTest : public TreeTest {
protected:
    PlaylistTest() {
        for (const char* title : {"One", "Two", "Three"}) AddRow("music", files / (std::string(title) + ".mp3"), title);
    }
    std::int32_t AddList(const std::string& title, const std::string& text) {
        return AddRow("playlist", files.Write(title + ".m3u", text), title);
    }
    void AddSmart(const std::string& name) { sysroot.Write(kConfig + ("smartplaylists/" + name + ".json"), "{}"); }

    TempDir files;
    CDSPlayListEntry entry{"0", "13", "Playlists", ObjectType::kContainer, true};
};

TEST_F(PlaylistTest, SmartPlaylistsFollowThoseOfTheLibrary) {
    AddList("b", "One.mp3");
    AddList("c", "One.mp3");
    AddList("a", "One.mp3");
    AddSmart("x");
    AddSmart("y");
    const Answer all = Children(entry, "13");
    EXPECT_THAT(all.Titles(), ElementsAre("a", "b", "c", "@x", "@y"));
    EXPECT_THAT(all.Ids(), ElementsAre("13$3", "13$1", "13$2", "13$S0", "13$S1"));
    EXPECT_EQ(all.total, 5);
    const Answer middle = Children(entry, "13", {.start = 2, .count = 2});
    EXPECT_THAT(middle.objects, ElementsAre(Written{"13$2", "13", "c", 5, -1}, Written{"13$S0", "13", "@x", 5, -1}));
    EXPECT_EQ(middle.total, 5);
    EXPECT_THAT(Children(entry, "13", {.start = 4, .count = 2}).Ids(), ElementsAre("13$S1"));
    EXPECT_THAT(Children(entry, "13", {.start = 9, .count = 2}).Ids(), IsEmpty());
    EXPECT_EQ(Children(entry, "13", {.options = BrowseOption::kFakeChildCount}).objects[4].count, 1000);
    EXPECT_THAT(Metadata(entry, "13").objects, ElementsAre(Written{"13", "0", "Playlists", 1, 5}));

    CDSPlayListEntry plain("0", "13", "Playlists", ObjectType::kContainer, false);
    EXPECT_EQ(Children(plain, "13").total, 3);
    EXPECT_THAT(Metadata(plain, "13").objects, ElementsAre(Written{"13", "0", "Playlists", 1, 3}));
}

TEST_F(PlaylistTest, SongsOfAPlaylist) {
    AddList("l", "Three.mp3\nOne.mp3\n");
    AddSmart("x");
    const Answer songs = Children(entry, "13$1");
    EXPECT_THAT(songs.objects, ElementsAre(Written{"13$1$@3", "13$1", "Three", -1, -2, 3},
                                           Written{"13$1$@1", "13$1", "One", -1, -2, 1}));
    EXPECT_EQ(songs.total, 2);
    EXPECT_THAT(Metadata(entry, "13$1$@3").objects, ElementsAre(songs.objects[0]));
    EXPECT_THAT(Metadata(entry, "13$1").objects, ElementsAre(Written{"13$1", "13", "l", 5, 2}));
    EXPECT_THAT(Metadata(entry, "13$S0").objects, ElementsAre(Written{"13$S0", "13", "x", 5, 3})) << "without its mark";
    EXPECT_THAT(Children(entry, "13$S0", {.start = 1, .count = 1}).Ids(), ElementsAre("13$S0$@3")) << "by path";
    EXPECT_EQ(Children(entry, "13$S0", {.start = 1, .count = 1}).total, 3);

    entry.SetSongIdBase("4");
    EXPECT_THAT(Children(entry, "13$1").objects[0], (Written{"4$@3", "13$1", "Three", -1, -2, 3}));
    DMSClientChecker slash("", "", true);
    slash.flags = ClientFlag::kSlashSeparator;
    EXPECT_THAT(Children(entry, "13/1", {.client = &slash}).Ids(), ElementsAre("4/@3", "4/@1"));
}

TEST_F(PlaylistTest, WhatNamesNoPlaylistIsNoText) {
    AddList("l", "One.mp3");
    EXPECT_EQ(Children(entry, "13$1$2").result, 0) << "three fields";
    for (const char* id : {"13$x", "13$S", "13$S-1", "13$1;", "13$4294967297"}) {
        EXPECT_EQ(Children(entry, id).result, kNoSuchObject) << id;
        EXPECT_EQ(Metadata(entry, id).result, kNoSuchObject) << id;
    }
    for (const Answer& gone : {Metadata(entry, "13$9"), Children(entry, "13$9"), Children(entry, "13$S9")}) {
        EXPECT_EQ(gone.result, 0);
    }
    EXPECT_THAT(Metadata(entry, "13$S9").objects, IsEmpty());
    EXPECT_THAT(Metadata(entry, "13$1$@9").objects, IsEmpty());
    database.Stop();
    EXPECT_EQ(Children(entry, "13").result, kActionFailed);
    EXPECT_EQ(Children(entry, "13$1").result, kActionFailed);
    EXPECT_EQ(Metadata(entry, "13").result, kActionFailed);
    database.Start();
}

TEST_F(PlaylistTest, LongPagesAreReadInPieces) {
    database.Execute("INSERT INTO music (path, title) SELECT '" + files.Path() +
                     "/n' || n || '.mp3', n::text FROM generate_series(1, 450) AS n");
    std::string text;
    for (int i = 1; i <= 450; ++i) text += "n" + std::to_string(i) + ".mp3\n";
    AddList("l", text);
    for (const std::int32_t count : {0, 400, 401}) {
        const Answer answer = Children(entry, "13$1", {.start = 3, .count = count});
        ASSERT_EQ(answer.objects.size(), count == 0 ? 447u : static_cast<std::size_t>(count));
        EXPECT_EQ(answer.total, 450);
        for (std::size_t i = 0; i < answer.objects.size(); ++i) {
            ASSERT_EQ(answer.objects[i].title, std::to_string(i + 4));
        }
    }
}

TEST_F(PlaylistTest, SmartPlaylistsOfTheirOwnNode) {
    CDSSmartPlayList node("0", "P", "Smart", ObjectType::kContainer);
    for (const char* name : {"a", "b", "c"}) AddSmart(name);
    const Answer page = Children(node, "P", {.start = 1, .count = 5});
    EXPECT_THAT(page.objects, ElementsAre(Written{"P$1", "P", "b", 5, -1}, Written{"P$2", "P", "c", 5, -1}));
    EXPECT_EQ(page.total, 3);
    EXPECT_THAT(Metadata(node, "P").objects, ElementsAre(Written{"P", "0", "Smart", 1, 3}));
    EXPECT_THAT(Metadata(node, "P$2").objects, ElementsAre(Written{"P$2", "P", "c", 5, 3}));
    EXPECT_EQ(Metadata(node, "P$3").result, 1) << "reported as one object, and nothing written";
    EXPECT_THAT(Children(node, "P$2").Ids(), ElementsAre("P$2$@1", "P$2$@3", "P$2$@2")) << "by path: One, Three, Two";
    EXPECT_THAT(Metadata(node, "P$2$@2").objects, ElementsAre(Written{"P$2$@2", "P$2", "Two", -1, -2, 2}));
    EXPECT_EQ(Metadata(node, "P$2$@9").result, 0);
    EXPECT_EQ(Children(node, "P$2$9").result, 0) << "three fields";
    EXPECT_EQ(Metadata(node, "P$2$@1 or true").result, kNoSuchObject);
}

TEST_F(PlaylistTest, SmartContainersJoinTheirRules) {
    struct Case {
        bool any;
        std::vector<std::string> rules, titles;
    };
    for (const Case& c :
         {Case{false, {"title LIKE 'T%'", "id > 2"}, {"Three"}},
          Case{true, {"title = 'One'", "id > 2"}, {"One", "Three"}}, Case{false, {}, {"One", "Three", "Two"}}}) {
        CDSSmartContainer node(MediaKind::Music, c.any, "0", "s", "Smart", ObjectType::kContainer, strings);
        for (const std::string& rule : c.rules) node.AddRule(rule);
        EXPECT_EQ(Children(node, "s").Titles(), c.titles);
        EXPECT_THAT(Metadata(node, "s").objects,
                    ElementsAre(Written{"s", "0", "Smart", 1, static_cast<std::int32_t>(c.titles.size())}));
    }
    database.Execute("UPDATE music SET genre = CASE WHEN id = 1 THEN 'Rock' ELSE 'Pop' END");
    CDSSmartContainer node(MediaKind::Music, true, "0", "s", "Smart", ObjectType::kContainer, strings);
    node.AddRule("id = 2");
    node.AddRule("id = 3");
    node.AddCategory("genre", 0);
    EXPECT_THAT(Children(node, "s").Titles(), ElementsAre("Pop")) << "only of rows that a rule lets through";
    EXPECT_THAT(Children(node, "s$2").Titles(), ElementsAre("Three", "Two"));
}

TEST_F(PlaylistTest, RadioGenresAndStations) {
    sysroot.Write(std::string(kConfig) + "radio/Jazz.m3u", "#EXTINF:-1,Blue\nhttp://192.0.2.1/a\nhttp://192.0.2.1/b\n");
    sysroot.Write(std::string(kConfig) + "radio/Rock.m3u", "#EXTINF:-1,Loud\nhttp://192.0.2.1/c\n");
    CDSSRadioContainer node("0", "R", "Radio", ObjectType::kContainer);
    EXPECT_THAT(Children(node, "R").objects,
                ElementsAre(Written{"R$0", "R", "Jazz", 5}, Written{"R$1", "R", "Rock", 5}));
    EXPECT_EQ(Children(node, "R", {.start = 7}).total, 2);
    EXPECT_THAT(Children(node, "R$0", {.start = 0, .count = 1}).objects, ElementsAre(Written{"R$0$@0", "R$0", "Blue"}));
    EXPECT_EQ(Children(node, "R$0", {.start = 0, .count = 1}).total, 2);
    for (const char* id : {"R$-1", "R$2", "R$x"}) EXPECT_EQ(Children(node, id).result, 0) << id;
    EXPECT_THAT(Metadata(node, "R").objects, ElementsAre(Written{"R", "0", "Radio", 1, 2}));
    EXPECT_THAT(Metadata(node, "R$0").objects, ElementsAre(Written{"R$0", "R", "Jazz", 5, 2}));
    EXPECT_THAT(Metadata(node, "R$1$@0").objects, ElementsAre(Written{"R$1$@0", "R$1", "Loud"}));
    for (const char* id : {"R$2", "R$1$@1", "R$1$0$@0", "R$@0"})
        EXPECT_THAT(Metadata(node, id).objects, IsEmpty()) << id;
}

}  // namespace
}  // namespace MediaServer
