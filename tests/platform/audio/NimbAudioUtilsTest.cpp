#include <gmock/gmock.h>

#include "platform/audio/NimbAudioUtils.h"
#include "platform/audio/SmartRules.h"
#include "platform/database/TestDatabase.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kConfig = "var/packages/MediaServer/etc/";

class AudioUtilsTest : public DatabaseTest {
protected:
    void Write(const std::string& name, const std::string& text) { sysroot.Write(kConfig + name, text); }
    std::vector<std::string> Songs(std::int32_t index, std::int32_t start = 0, std::int32_t count = 0) {
        std::vector<NIMB_MEDIA_INFO> songs;
        total = -1;
        const std::int32_t listed = SmartPLSListSongs(index, start, count, total, songs, false);
        EXPECT_EQ(listed, static_cast<std::int32_t>(songs.size()));
        std::vector<std::string> titles;
        for (const NIMB_MEDIA_INFO& song : songs) titles.push_back(song.title);
        return titles;
    }

    TempSysroot sysroot;
    std::int32_t total = -1;
};

struct RuleCase {
    const char* rules;  // the members of the file
    std::vector<std::string> titles;
};

TEST_F(AudioUtilsTest, RulesSelectSongs) {
    database.Execute(
        "INSERT INTO music (path, title, artist, genre, year, audio_bitrate, duration, date) VALUES"
        " ('/m/1', 'Café', 'O''Hara', 'Rock', 1979, 128000, 100.5, '2020-05-31'),"
        " ('/m/2', '100%', 'Abba', 'Pop', 1980, 320000, 200, now() - interval '2 days'),"
        " ('/m/3', '100 x', 'Back\\slash', 'Pop Rock', 1989, 0, 300, '2020-01-01')");
    const RuleCase cases[] = {
        {R"("sort": "title")", {"100 x", "100%", "Café"}},
        {R"("all": [{"is": {"artist": "O'Hara"}}])", {"Café"}},
        {R"("all": [{"is": {"artist": "Back\\slash"}}])", {"100 x"}},
        {R"("all": [{"is": {"title": "' OR true --"}}])", {}},
        {R"("all": [{"contains": {"title": "0%"}}])", {"100%"}},
        {R"("all": [{"contains": {"title": "FÉ"}}])", {"Café"}},
        {R"("all": [{"notContains": {"genre": "rock"}}])", {"100%"}},
        {R"("all": [{"startsWith": {"genre": "pop"}}], "sort": "year")", {"100%", "100 x"}},
        {R"("all": [{"endsWith": {"genre": "rock"}}], "sort": "year", "order": "desc")", {"100 x", "Café"}},
        {R"("all": [{"inTheRange": {"year": [1980, 1989]}}, {"isNot": {"artist": "Abba"}}])", {"100 x"}},
        {R"("all": [{"gt": {"bitrate": 128}}])", {"100%"}},
        {R"("all": [{"lt": {"duration": 100.6}}])", {"Café"}},
        {R"("all": [{"inTheLast": {"dateadded": 7}}])", {"100%"}},
        {R"("all": [{"before": {"dateAdded": "2020-05-31"}}])", {"100 x"}},
        {R"("all": [{"is": {"dateadded": "2020-05-31"}}])", {"Café"}},
        {R"("any": [{"is": {"year": 1979}}, {"all": [{"is": {"genre": "Pop"}}, {"gt": {"year": 1979}}]}], "sort": "year")",
         {"Café", "100%"}},
        {R"("all": [{"any": []}], "sort": "year", "limit": 2)", {"Café", "100%"}},
    };
    for (const RuleCase& c : cases) {
        SCOPED_TRACE(c.rules);
        Write("smartplaylists/a.json", std::string("{ // a comment\n") + c.rules + "}");
        EXPECT_THAT(Songs(0), ElementsAreArray(c.titles));
        EXPECT_EQ(total, static_cast<std::int32_t>(c.titles.size()));
        EXPECT_EQ(SmartPLSGetSongCount(0, false), total);
    }
    EXPECT_THAT(Songs(0, 1, 5), ElementsAre("100%")) << "the limit ends the last page, too";
    EXPECT_EQ(total, 2);
}

TEST(SmartRules, WhatCannotBeMeantIsRefused) {
    for (const char* text : {
             "",
             "[]",
             "{",
             R"({"all": {}})",
             R"({"all": ["is"]})",
             R"({"all": [{}]})",
             R"({"all": [{"is": {"loudness": 1}}]})",
             R"({"all": [{"near": {"year": 1}}]})",
             R"({"all": [{"is": {"year": "1; DROP TABLE music"}}]})",
             R"({"all": [{"gt": {"title": "a"}}]})",
             R"({"all": [{"inTheRange": {"year": [1]}}]})",
             R"({"all": [{"before": {"dateadded": "2023-02-29"}}]})",
             R"({"all": [{"inTheLast": {"dateadded": -1}}]})",
             R"({"all": [{"contains": {"title": 3}}]})",
             R"({"sort": "id; DROP TABLE music"})",
             R"({"limit": "many"})",
         }) {
        std::string reason;
        EXPECT_FALSE(ParseSmartPlaylist(text, "n", reason)) << text;
        EXPECT_FALSE(reason.empty()) << text;
    }
}

TEST(SmartRules, TheSampleIsOne) {
    std::string reason;
    const auto text = ReadWholeFile(DMS_SOURCE_DIR "/share/samples/smartplaylist.json", kMaxConfigFileBytes);
    ASSERT_TRUE(text);
    EXPECT_TRUE(ParseSmartPlaylist(*text, "", reason)) << reason;
}

TEST_F(AudioUtilsTest, SmartPlaylistsFollowTheirFolder) {
    EXPECT_EQ(SmartPLSGetCount(), 0);
    EXPECT_THAT(SmartPLSEnum(0, 0, total, nullptr), IsEmpty());
    Write("smartplaylists/b.nsp", R"({"name": "Second"})");
    Write("smartplaylists/a.json", "{}");
    Write("smartplaylists/broken.json", "{");
    Write("smartplaylists/readme.txt", "{}");
    EXPECT_THAT(SmartPLSEnum(0, 0, total, nullptr), ElementsAre("a", "Second")) << "named after its file, or itself";
    EXPECT_THAT(SmartPLSEnum(1, 5, total, nullptr), ElementsAre("Second"));
    EXPECT_EQ(total, 2);
    EXPECT_EQ(SmartPLSGetName(2), "");
    EXPECT_EQ(SmartPLSGetName(-1), "");
    EXPECT_THAT(Songs(7), IsEmpty());
    Write("smartplaylists/b.nsp", R"({"name": "Changed"})");
    EXPECT_EQ(SmartPLSGetName(1), "Changed");
}

TEST_F(AudioUtilsTest, RadioStationsByGenre) {
    Write("radio/Jazz.m3u",
          "#PLAYLIST:Other\n#EXTINF:-1,Blue\nhttp://192.0.2.1/blue\n/etc/passwd\nftp://192.0.2.1/x\nHTTPS://192.0.2.1/"
          "b\n");
    Write("radio/Ambient.pls", "File1=http://192.0.2.1/a\nTitle1=Calm\n");
    RadioInit();
    std::vector<RadioStation> stations;
    EXPECT_EQ(RadioGetStations(1, 1, 9, stations, total), 1) << "only what is on the web is a station";
    EXPECT_EQ(total, 2);
    EXPECT_EQ(stations.at(0).title, "HTTPS://192.0.2.1/b") << "without a title";
    EXPECT_EQ(stations.at(0).number, 1);
    RadioStation station;
    EXPECT_EQ(RadioGetStationData(0, 0, station), 1);
    EXPECT_EQ(station.title, "Calm");
    EXPECT_EQ(station.url, "http://192.0.2.1/a");
}

}  // namespace
}  // namespace MediaServer
