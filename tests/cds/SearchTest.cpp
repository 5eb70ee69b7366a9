#include <gmock/gmock.h>

#include "cds/CDSActions.h"
#include "cds/Criteria.h"
#include "platform/clients/DMSClientChecker.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

constexpr const char* kSong = R"(upnp:class derivedfrom "object.item.audioItem")";
constexpr const char* kAlbum = R"(upnp:class = "object.container.album.musicAlbum")";

class SearchTest : public ClientsTest {
protected:
    SearchTest() {
        directory.LoadMenu(sysroot.Write("menu.xml", "<menu><entrylist/></menu>"), {}, false);
        struct Song {
            const char *title, *artist, *album, *composer;
        };
        for (const Song& song :
             {Song{"Love Me", "Ann", "First", "Ann"}, Song{"Lovely", "Bob", "First", ""},
              Song{"100% Élan", "O'Hara", "50% off_er", ""}, Song{"a\"b\\c", "AC/DC", "Live@Night", ""}}) {
            AddRow("music", "/m/" + std::to_string(++songs) + ".mp3", song.title, "artist, album, composer, genre",
                   "'" + SQLEscapeString(song.artist) + "', '" + song.album + "', '" + song.composer + "', 'Pop'");
        }
    }

    Answer Search(const std::string& agent, const std::string& container, const std::string& criteria, Ask ask = {}) {
        ClientRequest request;
        request.headers["user-agent"] = agent;
        const DMSClientChecker client(agent, "", true);
        Answer answer;
        Recorder recorder(&client);
        answer.result = SearchObjects(directory, request, container, criteria, Property::kAll, 0, ask.start, ask.count,
                                      recorder, answer.total);
        answer.objects = std::move(recorder.objects);
        return answer;
    }

    int songs = 0;
    ContentDirectoryService directory{strings};
};

struct CriteriaCase {
    std::string criteria, sql;
    std::vector<std::string> titles;
};

TEST_F(SearchTest, CriteriaBecomeConditions) {
    const std::string song = kSong, album = kAlbum;
    const std::string artists = R"(upnp:class = "object.container.person.musicArtist")";
    const std::vector<std::string> all = {"100% Élan", "Love Me", "Lovely", "a\"b\\c"};
    const CriteriaCase cases[] = {
        {song, "", all},
        {song + R"( and dc:title contains "love")", " title  ilike '%love%' ", {"Love Me", "Lovely"}},
        {R"(dc:title contains "love" and )" + song, " title  ilike '%love%' ", {"Love Me", "Lovely"}},
        {album + R"( and dc:title contains "irs")", " album  ilike '%irs%' ", {"First"}},
        {artists + R"( and dc:title = "Bob")", " artist  = 'Bob' ", {"Bob"}},
        // Operators.
        {song + R"( and upnp:artist = "Bob")", " artist  = 'Bob' ", {"Lovely"}},
        {song + R"( and upnp:album != "First")", " album  <> 'First' ", {"100% Élan", "a\"b\\c"}},
        {song + R"( and upnp:artist < "Bob")", " artist  < 'Bob' ", {"Love Me", "a\"b\\c"}},
        {song + R"( and upnp:artist <= "Ann")", " artist  <= 'Ann' ", {"Love Me", "a\"b\\c"}},
        {song + R"( and upnp:artist > "Bob")", " artist  > 'Bob' ", {"100% Élan"}},
        {song + R"( and upnp:artist >= "Bob")", " artist  >= 'Bob' ", {"100% Élan", "Lovely"}},
        {song + R"( and dc:title doesNotContain "LOVE")", " title  NOT ilike '%LOVE%' ", {"100% Élan", "a\"b\\c"}},
        {song + R"( and upnp:author exists true)", " composer  != '' ", {"Love Me"}},
        {song + R"( and upnp:author exists false)", " composer  = '' ", {"100% Élan", "Lovely", "a\"b\\c"}},
        {song + R"( and upnp:author@role = "Composer")", " composer  != '' ", {"Love Me"}},
        {song + R"( and upnp:author@role = "Ann")", " composer  = 'Ann' ", {"Love Me"}},
        // Letters with a meaning somewhere on the way.
        {song + R"( and upnp:artist = "O'Hara")", " artist  = 'O''Hara' ", {"100% Élan"}},
        {song + R"( and dc:title = "a\"b\\c")", " title  = 'a\"b\\c' ", {"a\"b\\c"}},
        {song + R"( and dc:title contains "\"b\\c")", " title  ilike '%\"b\\\\c%' ", {"a\"b\\c"}},
        {song + R"( and upnp:album contains "0%")", " album  ilike '%0\\%%' ", {"100% Élan"}},
        {song + R"( and upnp:album contains "f_e")", " album  ilike '%f\\_e%' ", {"100% Élan"}},
        {song + R"( and dc:title contains "éLAN")", " title  ilike '%éLAN%' ", {"100% Élan"}},
        {song + R"( and upnp:album = "Live@Night")", " album  = 'Live@Night' ", {"a\"b\\c"}},
        {song + R"( and upnp:artist = "x' OR 'a'='a")", " artist  = 'x'' OR ''a''=''a' ", {}},
        {song + R"( and upnp:artist = "x'; DROP TABLE music; --")", " artist  = 'x''; DROP TABLE music; --' ", {}},
        // Brackets, paired or not, also around what writes no SQL.
        {"(" + song + R"() and (upnp:artist = "Ann" or upnp:artist = "Bob"))",
         "( artist  = 'Ann' or artist  = 'Bob' )",
         {"Love Me", "Lovely"}},
        {"(" + song + R"( and ( dc:title contains "love" ) ) and upnp:artist = "Bob")",
         "(( title  ilike '%love%' ))and artist  = 'Bob' ",
         {"Lovely"}},
        {"(((" + song + R"( and dc:title contains "love")", "((( title  ilike '%love%' )))", {"Love Me", "Lovely"}},
        {song + R"( and dc:title contains "love"))) and upnp:artist = "Ann")",
         " title  ilike '%love%' and artist  = 'Ann' ",
         {"Love Me"}},
        {song + R"( and dc:title contains "love" and)", " title  ilike '%love%' ", {"Love Me", "Lovely"}},
        // What the table cannot tell.
        {song + R"( and upnp:actor = "x" and upnp:artist = "Ann")", " TRUE and artist  = 'Ann' ", {"Love Me"}},
        {song + R"( and (upnp:actor = "x" or upnp:artist = "Ann"))", "( NULL or artist  = 'Ann' )", {"Love Me"}},
        {song + R"( and upnp:artist = "Ann" and @refID exists false)", " artist  = 'Ann' and TRUE ", {"Love Me"}},
        {song + R"( and upnp:artist = "Ann" or upnp:actor = "x")", " artist  = 'Ann' or NULL ", {"Love Me"}},
        {song + R"( and (upnp:artist = "Bob" or upnp:artist = "Ann" upnp:actor exists true))",
         "( artist  = 'Bob' or artist  = 'Ann' )",
         {"Love Me", "Lovely"}},
    };
    for (const CriteriaCase& c : cases) {
        SCOPED_TRACE(c.criteria);
        const auto parsed = ParseCriteria(c.criteria);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->condition, c.sql);
        const Answer answer = Search("Roku", "0", c.criteria);
        std::vector<std::string> titles = answer.Titles();
        std::sort(titles.begin(), titles.end());
        EXPECT_THAT(titles, ElementsAreArray(c.titles));
        EXPECT_EQ(answer.result, static_cast<std::int32_t>(c.titles.size()));
        EXPECT_EQ(answer.total, answer.result);
    }
    EXPECT_EQ(database.Value("SELECT count(*) FROM music"), std::to_string(songs));
}

TEST_F(SearchTest, WhatCannotBeUnderstoodIsRefused) {
    const std::string song = kSong;
    for (const std::string& criteria : {
             song + R"( and dc:title derivedfrom "a")",  // no title derives from anything
             song + R"( and dc:title contain "a")",      // no operator
             song + R"( and upnp:artist = "")",          // runs on to the end
             song + R"( and upnp:artist = "" or dc:title = "b")",
             song + R"( and upnp:artist = "a\\")",  // ends with a backslash, which the pattern cannot tell
             song + R"( ; DROP TABLE music; dc:title = "a")",
             song + R"( xor dc:title = "a")",
             song + R"( and dc:title = "a" order by 1)",
             song + R"( and dc:title = "a)",
             song + R"( and dc:title = 'a')",
             std::string(100, '(') + song,
             std::string(5000, ' ') + song,
             "upnp:class" + std::string(4000, 'a'),
             std::string(4096, '('),
         }) {
        EXPECT_EQ(Search("Roku", "0", criteria).result, kBadCriteria) << criteria;
    }
    for (const char* criteria : {"", "*", R"(dc:title contains "love")", R"(upnp:class = "object.item.imageItem")"}) {
        EXPECT_EQ(Search("Roku", "0", criteria).result, kNoSuchObject) << "no class that the menu has: " << criteria;
    }
    database.Stop();
    EXPECT_EQ(Search("Roku", "0", song).result, kActionFailed);
    database.Start();
}

TEST_F(SearchTest, NumberedClientsGetNodesOfTheirMenu) {
    EXPECT_THAT(Search("Roku", "0", kAlbum).Ids(), ElementsAre("3$3", "3$1", "3$4"));
    EXPECT_THAT(Search("SlashRoku", "0", kSong).Ids(), ElementsAre("1/@3", "1/@1", "1/@2", "1/@4"));
    const Answer page = Search("Roku", "0", kSong, {.start = 1, .count = 2});
    EXPECT_THAT(page.Ids(), ElementsAre("1$@1", "1$@2"));
    EXPECT_EQ(page.total, 4);
    AddRow("playlist", sysroot.Write("l.m3u", "/m/1.mp3\n"), "List");
    EXPECT_THAT(Search("Roku", "0", R"(upnp:class = "object.container.playlistContainer" and rubbish)").objects,
                ElementsAre(Written{"6$1", "6", "List", 5, -1}));
}

TEST_F(SearchTest, WhatASearchFoundCanBeOpened) {
    struct Case {
        const char *agent, *id;
        std::vector<std::string> songs;
    };
    const Case cases[] = {
        {"Roku", "3$1", {"3$1$@1", "3$1$@2"}},
        {"SlashRoku", "2/4", {"2/4/@4"}},
        {"Roku", "3", {}},     // which no search shows
        {"Slash", "3/1", {}},  // and no other client
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        ClientRequest request;
        request.headers["user-agent"] = c.agent;
        Recorder recorder(nullptr);
        Answer answer;
        std::uint32_t update_id = 0;
        const std::int32_t result = directory.FindObject(request, c.id, BrowseFlag::DirectChildren, Property::kAll, 0,
                                                         0, 0, recorder, answer.total, update_id);
        EXPECT_EQ(result, c.songs.empty() ? kNoSuchObject : static_cast<std::int32_t>(c.songs.size()));
        answer.objects = std::move(recorder.objects);
        EXPECT_THAT(answer.Ids(), ElementsAreArray(c.songs));
    }
}

TEST_F(SearchTest, FlatClientsSearchClassesFromTheRoot) {
    AddRow("video", "/v/a.mkv", "Film");
    EXPECT_THAT(Search("Flat", "0", R"(upnp:class derivedfrom "object.item.videoItem")").objects,
                ElementsAre(Written{"6$@1", "6", "Film", -1, -2, 1}));
    EXPECT_EQ(Search("Flat", "0", kSong).result, 4);
    EXPECT_EQ(Search("Flat", "1", R"(upnp:class = "object.item.videoItem")").result, kNoSuchObject);
    EXPECT_EQ(Search("Flat", "0", "dc:title = \"x\"").result, kNoSuchObject);
}

TEST_F(SearchTest, ConsolesBrowseWithASearch) {
    const char* albums = R"((upnp:class = "object.container.album.musicAlbum") and (upnp:artist = "Bob")";
    EXPECT_THAT(Search("Console", "1", albums).objects, ElementsAre(Written{"8$2$2", "8$2", "First", 23, -1, 2}));
    EXPECT_THAT(Search("Console", "1", R"(upnp:artist = "O'Hara")").Ids(), ElementsAre("8$3$3"));
    EXPECT_EQ(Search("Console", "1", R"(upnp:artist = "nobody")").Ids(), Search("Console", "8", "").Ids());
    AddRow("music", "/m/x.mp3", "X", "artist, album", "'', 'Odd'");
    AddRow("music", "/m/y.mp3", "Y", "artist, album", R"('The "Q\', 'Odd')");
    EXPECT_THAT(Search("Console", "1", R"(upnp:artist = "The \"Q\\")").Ids(), ElementsAre("8$6$6"));
    EXPECT_THAT(Search("Console", "1", R"(upnp:artist = "nobody")").Ids(), ElementsAre("8$5$5")) << "those of nobody";
    EXPECT_THAT(Search("Console", "7", "").Titles(), ElementsAre("50% off_er", "First", "Live@Night", "Odd"));
    EXPECT_EQ(Search("Console", "1", "").total, 6) << "the entries of the node";
    EXPECT_EQ(Search("Console", "99", "").result, kNoSuchObject);
    EXPECT_EQ(Search("Console", std::string(600, '1'), "").result, kNoSuchObject);
}

TEST_F(SearchTest, NobodyElseSearches) {
    for (const char* agent : {"", "DLNADOC/1.50"}) EXPECT_EQ(Search(agent, "0", kSong).result, kNoSuchObject);
}

}  // namespace
}  // namespace MediaServer
