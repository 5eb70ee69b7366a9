#include "model/PropertyFilter.h"
#include "videolib/VideoLibraryTest.h"

namespace MediaServer {
namespace {

using namespace LibReelhouse;

class CategoryTest : public VideoLibraryTest {
protected:
    CategoryTest() { AddFolder("/v"); }

    /// Four movies: B of two files, the others of one; D has a subtitle.
    void AddMovies() {
        AddFolder(disk.Path());
        disk.Write("d.srt", "1");
        const std::int32_t b = AddVideo(kMovie, "B", {"/v/b1.mkv", "/v/b2.mkv"}, "year, tag_line", "1999, 'Twice'");
        const std::int32_t a = AddVideo(kMovie, "A", {"/v/a.mkv"}, "year, tag_line", "1999, 'Once'");
        const std::int32_t d = AddVideo(kMovie, "D", {disk / "d.mkv"}, "year", "2005");
        AddVideo(kMovie, "C", {disk / "c.mkv"});
        AddName("actor", a, "Ann");
        AddName("actor", b, "Ann");
        AddName("actor", b, "Bob");
        AddName("gnere", a, "Drama");
        AddName("director", b, "O'Hara \"<&>\"");
        AddName("writer", d, "Wil");
        database.Execute("INSERT INTO summary VALUES (" + std::to_string(a) + ", 'What happens')");
    }
    /// The show S: a special, the first episode, and the second of two files; the show T: one episode.
    void AddShows() {
        AddVideo(kTvShow, "S", {});
        AddVideo(kTvShow, "T", {});
        const std::int32_t second =
            AddVideo(kEpisode, "S", {"/v/s2a.mkv", "/v/s2b.mkv"}, "season, episode, tag_line", "1, 2, 'Pilot'");
        AddVideo(kEpisode, "S", {"/v/s1.mkv"}, "season, episode", "1, 1");
        AddVideo(kEpisode, "S", {"/v/s0.mkv"}, "season, episode", "0, 1");
        const std::int32_t other = AddVideo(kEpisode, "T", {"/v/t.mkv"}, "season, episode", "1, 1");
        AddName("gnere", second, "Crime");
        AddName("gnere", other, "News");
    }
    std::vector<std::string> Lines(CDSContainer& node, std::string_view id, const VideoAsk& ask = {}) {
        return AskVideos(node, id, ask).lines;
    }
};

TEST_F(CategoryTest, MoviesOfOneFileAreItemsAndOthersContainers) {
    AddMovies();
    CDSCategoryFolder_RH& node = Node(kMovie);
    EXPECT_THAT(Lines(node, "N"),
                ElementsAre("N$@3 in N: movie /v/a.mkv", "N$1 in N: B - Twice [1]",
                            "N$@5 in N: movie " + disk / "c.mkv", "N$@4 in N: movie " + disk / "d.mkv"));
    EXPECT_THAT(Lines(node, "N$1"),
                ElementsAre("N$1$@1 in N$1: movie /v/b1.mkv, by name", "N$1$@2 in N$1: movie /v/b2.mkv, by name"));
    EXPECT_EQ(AskVideos(node, "N$1", {.start = 1, .count = 5}).total, 2);
    EXPECT_THAT(Lines(node, "N$1", {.start = 1, .count = 5}), ElementsAre(HasSubstr("b2.mkv")));
    EXPECT_THAT(MetadataOf(node, "N").lines, ElementsAre("N in P: Node [1] 4"));
    EXPECT_THAT(MetadataOf(node, "N$").lines, ElementsAre("N in P: Node [1] 4"));
    DMSClientChecker console("", "", true);
    console.full_menu = true;
    EXPECT_THAT(MetadataOf(node, "N", {.client = &console}).lines, ElementsAre("N in P: Node [15] 4"));
    EXPECT_THAT(
        Lines(node, "N", {.start = 1, .count = 1, .options = BrowseOption::kFakeChildCount, .client = &console}),
        ElementsAre("N$1 in N: B - Twice [15] 1000"));
}

TEST_F(CategoryTest, SubtitlesFollowTheVideosForClientsThatAreShownThem) {
    AddMovies();
    CDSCategoryFolder_RH& node = Node(kMovie);
    const DMSClientChecker client = SubtitleClient();
    const VideoAnswer all = AskVideos(node, "N", {.client = &client});
    ASSERT_EQ(all.lines.size(), 5U);
    EXPECT_EQ(all.lines[4], "N$@s_4 in N: text s_4 " + disk / "d.srt");
    EXPECT_TRUE(all.records.back()["subtitle"].asBool());
    EXPECT_THAT(AskVideos(node, "N", {.start = 3, .count = 2, .client = &client}).lines,
                ElementsAre(all.lines[3], all.lines[4]));
    EXPECT_EQ(AskVideos(node, "N", {.start = 5, .client = &client}).total, 0) << "past the end";
    EXPECT_EQ(AskVideos(node, "N", {.start = 4}).total, 0);

    std::filesystem::remove(disk / "d.srt");
    EXPECT_EQ(AskVideos(node, "N", {.client = &client}).result, 4) << "gone, and the catalogue does not know yet";
    EXPECT_THAT(MetadataOf(node, "N$@s_4").lines, ElementsAre("N$@s_4 in N: text s_4 " + disk / "d.mkv"));
    disk.Write("d2.srt", "1");
    AddVideo(kMovie, "E", {disk / "d1.mkv", disk / "d2.mkv"});
    EXPECT_THAT(AskVideos(node, "N$5", {.client = &client}).lines,
                ElementsAre("N$5$@6 in N$5: movie " + disk / "d1.mkv, by name", HasSubstr("d2.mkv, by name"),
                            "N$5$@s_7 in N$5: text s_7 " + disk / "d2.srt, by name"));
}

TEST_F(CategoryTest, ValuesOfCategoriesNarrowTheLists) {
    AddMovies();
    AddShows();
    struct Case {
        const char* why;
        Kind kind;
        const char *category, *id;
        std::vector<std::string> titles;  // what stands in the lines
    };
    const Case kCases[] = {
        {"of an actor", kMovie, "cast", "N$1", {"a.mkv", "N$1$1 in N$1: B - Twice"}},
        {"of a director", kMovie, "director", "N$1", {"B - Twice"}},
        {"of a writer", kMovie, "writer", "N$1", {"d.mkv"}},
        {"of a genre", kMovie, "genre", "N$1", {"a.mkv"}},
        {"who acts in none", kMovie, "cast", "N$_99", {"c.mkv", "d.mkv"}},
        {"the files of one", kMovie, "cast", "N$1$1", {"N$1$1$@1 in", "b2.mkv"}},
        {"directors", kMovie, "director", "N", {"unknown", "O'Hara \"<&>\""}},
        {"of an unknown year", kMovie, "year", "N$_99", {"c.mkv"}},
        {"shows are found by their episodes", kTvShow, "genre", "N", {"unknown", "Crime", "News"}},
        {"the shows of a genre", kTvShow, "genre", "N$2", {"N$2$1 in N$2: S [1]"}},
        {"a category that nobody knows", kMovie, "mood", "N", {}},
        {"and below it", kMovie, "mood", "N$1", {}},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        CDSCategoryFolder_RH& node = Node(c.kind, c.category);
        const VideoAnswer answer = AskVideos(node, c.id);
        ASSERT_EQ(answer.lines.size(), c.titles.size()) << testing::PrintToString(answer.lines);
        EXPECT_EQ(answer.total, answer.result);
        for (std::size_t i = 0; i < c.titles.size(); ++i) EXPECT_THAT(answer.lines[i], HasSubstr(c.titles[i]));
    }
    CDSCategoryFolder_RH& two = Node(kMovie, "cast");
    two.AddCategory("genre", 0);
    EXPECT_THAT(Lines(two, "N"), IsEmpty()) << "two categories";
    CDSCategoryFolder_RH& cast = Node(kMovie, "cast");
    EXPECT_THAT(Lines(cast, "N", {.start = 1, .count = 1}), ElementsAre(HasSubstr("Ann")));
    EXPECT_EQ(AskVideos(cast, "N", {.start = 1, .count = 1}).total, 3);
    EXPECT_EQ(AskVideos(cast, "N", {.start = 3}).total, 0);
}

TEST_F(CategoryTest, EpisodesStandInTheirOrderUnderTheirShow) {
    AddShows();
    CDSCategoryFolder_RH& all = Node(kTvShow);
    EXPECT_THAT(Lines(all, "N"), ElementsAre("N$1 in N: S [1]", "N$2 in N: T [1]"));
    EXPECT_THAT(Lines(all, "N$1"), ElementsAre("N$1$@4 in N$1: show /v/s0.mkv", "N$1$@3 in N$1: show /v/s1.mkv",
                                               "N$1$1 in N$1: S - S01E02 - Pilot [1]"));
    EXPECT_THAT(Lines(all, "N$1$1"), ElementsAre(HasSubstr("N$1$1$@1 in"), HasSubstr("s2b.mkv, by name")));
    EXPECT_THAT(MetadataOf(all, "N$1").lines, ElementsAre("N$1 in N: S [1] 3"));
    EXPECT_THAT(MetadataOf(all, "N$1$1").lines, ElementsAre(HasSubstr("N$1$1 in N$1: S - S01E02 - Pilot [1]")));
    CDSCategoryFolder_RH& genres = Node(kTvShow, "genre");
    EXPECT_THAT(Lines(genres, "N$1$1$1"), ElementsAre(HasSubstr("N$1$1$1$@1 in N$1$1$1: show"), HasSubstr("s2b")));
}

TEST_F(CategoryTest, OneRuleIsFollowedAndNoOther) {
    AddMovies();
    const std::pair<std::vector<const char*>, std::size_t> kCases[] = {
        {{}, 4},          {{"recent:2"}, 2}, {{"recent:2", "recent:2"}, 4}, {{"recent"}, 4},     {{"newest:2"}, 4},
        {{"recent:"}, 4}, {{"recent:x"}, 4}, {{"recent:9999999999"}, 4},    {{"a:recent:2"}, 4},
    };
    for (const auto& [rules, expected] : kCases) {
        CDSCategoryFolder_RH& node = Node(kMovie);
        for (const char* rule : rules) node.AddRule(rule);
        EXPECT_EQ(Lines(node, "N").size(), expected) << testing::PrintToString(rules);
        EXPECT_THAT(MetadataOf(node, "N").lines, ElementsAre("N in P: Node [1] " + std::to_string(expected)));
    }
}

TEST_F(CategoryTest, SubtitlesOfTheNewestAreNotTheNewestSubtitles) {
    AddMovies();
    const DMSClientChecker client = SubtitleClient();
    for (const auto& [rule, expected] : {std::pair("recent:1", 1U), std::pair("recent:2", 3U)}) {
        CDSCategoryFolder_RH& node = Node(kMovie);
        node.AddRule(rule);
        EXPECT_EQ(Lines(node, "N", {.client = &client}).size(), expected) << rule;
    }
}

TEST_F(CategoryTest, PeopleAndSummariesOnlyWhenTheClientTakesThemAndAsks) {
    AddMovies();
    CDSCategoryFolder_RH& node = Node(kMovie);
    DMSClientChecker client("", "", true);
    const auto members = [&](std::uint32_t filter) {
        const VideoAnswer answer = AskVideos(node, "N", {.count = 1, .filter = filter, .client = &client});
        const VideoAnswer self = MetadataOf(node, "N$@3", {.filter = filter, .client = &client});
        EXPECT_EQ(answer.records.at(0)["additional"], self.records.at(0)["additional"]);
        return answer.records.at(0)["additional"].getMemberNames();
    };
    EXPECT_THAT(members(Property::kAll), ElementsAre("files"));
    client.flags = ClientFlag::kVideoDetails;
    EXPECT_THAT(members(Property::kAll), ElementsAre("actor", "files", "genre", "summary"));
    EXPECT_THAT(members(Property::kGenre), ElementsAre("files", "genre"));
    EXPECT_THAT(members(Property::kRes), ElementsAre("files"));
}

TEST_F(CategoryTest, WhatNobodyWroteFindsNothing) {
    AddMovies();
    CDSCategoryFolder_RH &node = Node(kMovie), &cast = Node(kMovie, "cast");
    for (const char* id : {"N$x", "N$1 OR 1=1", "N$-1", "N$4294967296", "N$../v", "N$@", "N$@x", "N$@s_", "N$@s_x",
                           "N$@1$@1", "N$_99", "N$1$'"}) {
        EXPECT_EQ(AskVideos(node, id).result, kNoSuchObject) << id;
        EXPECT_EQ(MetadataOf(node, id).result, kNoSuchObject) << id;
    }
    for (const char* id : {"N$1$2$3$4$5", "N$1$_98"}) EXPECT_LE(AskVideos(cast, id).result, 0) << id;
    EXPECT_EQ(AskVideos(node, "N$1$2").total, 0) << "too deep";

    database.Execute("DELETE FROM video WHERE path = '/v/a.mkv'");
    EXPECT_EQ(MetadataOf(node, "N$@3").result, 0) << "a file that is gone";
    EXPECT_EQ(MetadataOf(node, "N$@s_3").result, 0);
    const DMSClientChecker slash = [] {
        DMSClientChecker client("", "", true);
        client.flags = ClientFlag::kSlashSeparator;
        return client;
    }();
    EXPECT_THAT(Lines(node, "N/1", {.client = &slash}), ElementsAre(HasSubstr("N/1/@1 in N/1"), HasSubstr("N/1/@2")));
}

TEST_F(CategoryTest, LongIdentifiersAreCut) {
    AddMovies();
    CDSCategoryFolder_RH node(kMovie, "P", std::string(47, 'n'), "Node", ObjectType::kContainer, strings);
    EXPECT_EQ(AskVideos(node, node.id, {.count = 1}).ids.at(0), node.id + "$@");
}

struct Failure {
    const char *why, *category, *id;
    BrowseFlag flag;
    const char* broken;  // the table that is away meanwhile
    const char* log;
    const char* written = "";
};

constexpr BrowseFlag kChildren = BrowseFlag::DirectChildren, kSelf = BrowseFlag::Metadata;
constexpr Failure kFailures[] = {
    {"values", "cast", "N", kChildren, "actor_map", "Failed to category browse - database access error"},
    {"count of values", "cast", "N", kSelf, "actor_map", "Failed to category browse", "N in P: Node [1]"},
    {"list", "", "N", kChildren, "movie", "Failed to database[reelhouse] list"},
    {"list below a value", "year", "N$1999", kChildren, "movie", "Failed to database[reelhouse] list"},
    {"count of a list", "", "N", kSelf, "movie", "Failed to database[reelhouse] list", "N in P: Node [1] 0"},
    {"files", "", "N$1", kChildren, "video_file", "Failed to database[reelhouse] getinfo"},
    {"files of a video that is gone", "", "N$99", kChildren, "", "Failed to database[reelhouse] getinfo"},
    {"a file", "", "N$@1", kSelf, "movie", ""},
};

TEST_F(CategoryTest, EachFailureHasItsLogLine) {
    AddMovies();
    for (const Failure& c : kFailures) {
        SCOPED_TRACE(c.why);
        CDSCategoryFolder_RH& node = Node(kMovie, c.category);
        const std::string table = c.broken;
        if (!table.empty()) database.Execute("ALTER TABLE " + table + " RENAME TO away");
        LogCapture log;
        const VideoAnswer answer = AskVideos(node, c.id, {.flag = c.flag});
        EXPECT_THAT(log.Text(), HasSubstr(c.log));
        if (!table.empty()) database.Execute("ALTER TABLE away RENAME TO " + table);
        EXPECT_EQ(Joined(answer.lines), c.written);
        EXPECT_EQ(answer.total, static_cast<std::int32_t>(answer.lines.size()));
    }
}

}  // namespace
}  // namespace MediaServer
