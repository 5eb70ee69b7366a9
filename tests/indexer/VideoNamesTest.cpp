#include <gtest/gtest.h>

#include "indexer/NfoReader.h"
#include "indexer/VideoNames.h"

namespace MediaServer {
namespace {

using namespace LibReelhouse;

/// What was told, in one line: only what is known.
std::string Told(const VideoDetails& details) {
    std::string text = std::array{"", "movie", "show", "episode", "home", "recording"}.at(details.type);
    const auto add = [&](const char* name, const std::string& value) {
        if (!value.empty() && value != "-1" && value != "0") text += std::string(" ") + name + "=" + value;
    };
    add("show", details.show);
    if (details.season >= 0) text += " s" + std::to_string(details.season) + "e" + std::to_string(details.episode);
    add("title", details.title);
    add("year", std::to_string(details.year));
    add("channel", details.channel);
    add("date", details.date);
    return text;
}

struct NameCase {
    const char *path, *told;
};
constexpr NameCase kNames[] = {
    {"/v/Show S01E02 The Title.mkv", "episode show=Show s1e2 title=The Title"},
    {"/v/The.Show.s10.e123.mkv", "episode show=The Show s10e123"},
    {"/v/Show - 1x02 - Two.avi", "episode show=Show s1e2 title=Two"},
    {"/v/Show S01E02E03 Both.mkv", "episode show=Show s1e2 title=Both"},
    {"/v/Show S01E02-E03 - Both.mkv", "episode show=Show s1e2 title=Both"},
    {"/v/Show.S01E02.1080p.WEB.x264.mkv", "episode show=Show s1e2"},
    {"/v/Show/Season 01/S01E02.mkv", "episode show=Show s1e2"},
    {"/v/Show/Season 2/other name s02e01.mkv", "episode show=Show s2e1"},
    {"/v/Show/Season 2/03 - Three.mkv", "episode show=Show s2e3 title=Three"},
    {"/v/Show/Season 2/Episode 4.mkv", "episode show=Show s2e4"},
    {"/v/Show/Specials/Show S00E01 Making of.mkv", "episode show=Show s0e1 title=Making of"},
    {"/v/Show/Specials/01.mkv", "episode show=Show s0e1"},
    {"/v/Show/S01E02.mkv", "episode show=Show s1e2"},
    {"/v/Show.S01E02-03.mkv", "episode show=Show s1e2"},
    {"/v/Show S01E02v2.mkv", "episode show=Show s1e2"},
    {"/v/Show Season 1 Episode 2.mkv", "episode show=Show s1e2"},
    {"/v/Show/Season 1 (2004)/02 Title.mkv", "episode show=Show s1e2 title=Title"},
    {"/v/Show/Säsong 1/S01E02.mkv", "episode show=Show s1e2"},
    {"/v/Show/Seizoen 1/02.mkv", "episode show=Show s1e2"},
    {"/v/Show/シーズン1/02.mkv", "episode show=Show s1e2"},
    {"/v/tv/Show Season 1/02.mkv", "episode show=Show s1e2"},
    {"/v/Show/Season 1/Show - 02 - Title.mkv", "episode show=Show s1e2 title=Title"},
    {"/v/Show (2004)/Season 1/Show - Episode 2.mkv", "episode show=Show (2004) s1e2"},
    {"/v/Show (2004)/Season 1/Show (2004) - 02.mkv", "episode show=Show (2004) s1e2"},
    {"/v/Show/Season 1/1-02 Title.mkv", "episode show=Show s1e2 title=Title"},
    {"/v/Show/Season 1/01-02 Title.mkv", "episode show=Show s1e1 title=Title"},
    {"/v/24/Season 1/24 - 02 - Title.mkv", "episode show=24 s1e2 title=Title"},
    {"/v/24/Season 1/24 Title.mkv", "episode show=24 s1e24 title=Title"},
    {"/v/2 Girls/Season 1/2 Girls - Episode 3.mkv", "episode show=2 Girls s1e3"},
    {"/v/Football season 2010/001.mp4", "home"},
    {"/v/Phone S8/001.mp4", "home"},
    {"/v/Season of Love (2010)/Season of Love.mkv", "movie title=Season of Love year=2010"},
    {"/v/picture 1920x1080.mkv", "home"},
    {"/v/abcS01E02.mkv", "home"},

    {"/v/Title (2010)/Title (2010)-trailer.mkv", "home"},
    {"/v/Title (2010)/Title-Trailer2.mkv", "home"},
    {"/v/Title (2010) - behindthescenes.mkv", "home"},
    {"/v/Title (2010)/Sample/Title.2010.1080p.mkv", "home"},
    {"/v/Title (2010)/Behind.The.Scenes/Title (2010).mkv", "home"},
    {"/v/Title.2010.1080p.sample.mkv", "home"},
    {"/v/sample-title.2010.1080p.mkv", "home"},
    {"/v/Show S01E02-deleted.mkv", "home"},
    {"/v/Show - 1x02 - The Trailer.mkv", "episode show=Show s1e2 title=The Trailer"},
    {"/v/Show - 1x02 - Other.mkv", "episode show=Show s1e2 title=Other"},
    {"/v/The Sample (2010).mkv", "movie title=The Sample year=2010"},

    {"/v/Title (2010).mkv", "movie title=Title year=2010"},
    {"/v/Title (2010) - 1080p.mkv", "movie title=Title year=2010"},
    {"/v/Title [2010] cd1.avi", "movie title=Title year=2010"},
    {"/v/Blade.Runner.2049.2017.1080p.BluRay.mkv", "movie title=Blade Runner 2049 year=2017"},
    {"/v/2001 A Space Odyssey (1968) 720p.mkv", "movie title=2001 A Space Odyssey year=1968"},
    {"/v/1984 (1984).mkv", "movie title=1984 year=1984"},
    {"/v/Title (2010)/Title.mkv", "movie title=Title year=2010"},
    {"/v/The Title (1999)/the.title.720p.mkv", "movie title=The Title year=1999"},
    {"/v/Mr. Title (2009)/Mr.Title-cd1.mkv", "movie title=Mr. Title year=2009"},
    {"/v/Title (2010)/Title 2010 uncut.mkv", "movie title=Title year=2010"},
    {"/v/Title.2010.German.DL.1080p.mkv", "movie title=Title year=2010"},
    {"/v/Title.2010.Blu-ray.H.264.mkv", "movie title=Title year=2010"},
    {"/v/2012.2009.720p.mkv", "movie title=2012 year=2009"},
    {"/v/Holiday (2010)/clip 1.mp4", "home"},
    {"/v/Rome (2015)/Rome 1.mp4", "home"},
    {"/v/Rome (2015)/Rome 2015 1.mp4", "home"},
    {"/v/Rome (2015)/Romeo.mp4", "home"},
    {"/v/The.Day.2020.01.15.1080p.WEB.mkv", "home date=2020-01-15"},
    {"/v/Race.2021.Round02.1080p.mkv", "home"},
    {"/v/Clip.1920x1080.x264.mp4", "home"},
    {"/v/[Group] Show - 01 (BD 1920x1080 x264).mkv", "home"},
    {"/v/Best of the 1980s 720p.mkv", "home"},
    {"/v/(2010).mkv", "home"},
    {"/v/Title (1234).mkv", "home"},
    {"/v/Party 2010.mkv", "home"},

    {"/v/One - News - 2026-01-02 20-15.ts", "recording title=News channel=One date=2026-01-02 20:15:00"},
    {"/v/One - News - 2026-01-02 20-15.mp4", "recording title=News channel=One date=2026-01-02 20:15:00"},
    {"/v/One - News - 2026-01-02.ts", "recording title=News channel=One date=2026-01-02"},
    {"/v/20260102 2015 - One HD - News - Late.ts",
     "recording title=News - Late channel=One HD date=2026-01-02 20:15:00"},
    {"/v/One - 2026-01-02_20.15.30 - News.mpg", "recording title=News channel=One date=2026-01-02 20:15:30"},
    {"/v/One (2004) - 2026-01-02 20 15 00 - News.ts",
     "recording title=News channel=One (2004) date=2026-01-02 20:15:00"},
    {"/v/News - 2026-01-02 20-15.ts", "recording title=News date=2026-01-02 20:15:00"},
    {"/v/News_ONE_2026_01_02_20_15_00.wtv", "recording title=News channel=ONE date=2026-01-02 20:15:00"},
    {"/v/News - 2026-01-02 20-15.mp4", "home date=2026-01-02 20:15:00"},
    {"/v/Family - Birthday - 2026-01-02.mp4", "home date=2026-01-02"},
    {"/v/Family - Birthday - 2026-01-02.mts", "home date=2026-01-02"},
    {"/v/Game 2026.01.02 - 20.15.30.02.mp4", "home date=2026-01-02 20:15:30"},
    {"/v/2026-01-02 20-15-30 Birthday - Anna.mp4", "home date=2026-01-02 20:15:30"},
    {"/v/20260102201530.MTS", "home date=2026-01-02 20:15:30"},
    {"/v/VID_20260701_101112.mp4", "home date=2026-07-01 10:11:12"},
    {"/v/Beach 2026-07-01.ts", "home date=2026-07-01"},
    {"/v/One - News - 2026-13-02 20-15.ts", "home"},
    {"/v/One - News - 2026-01-02 25-15.ts", "home date=2026-01-02"},
    {"/v/120260102.mp4", "home"},

    {"", "home"},
    {"/", "home"},
    {".mkv", "home"},
    {"/v/\xff\xfe S01E02.mkv", "episode show=\xff\xfe s1e2"},
};

TEST(VideoNames, TellWhatAVideoIs) {
    for (const NameCase& c : kNames) EXPECT_EQ(Told(ReadVideoName(c.path)), c.told) << c.path;
}

TEST(VideoNames, PartsAndYears) {
    constexpr std::pair<std::string_view, std::string_view> kParts[] = {
        {"Film cd1", "Film"},
        {"Film.CD2", "Film"},
        {"Film - part 10", "Film"},
        {"Film disc3", "Film"},
        {"cd1", "cd1"},
        {"abcd1", "abcd1"},
        {"Film 2", "Film 2"},
        {"Film cd100", "Film cd100"},
        {"", ""},
    };
    for (const auto& [name, rest] : kParts) EXPECT_EQ(WithoutPart(name), rest);
    std::int32_t year = 0;
    EXPECT_EQ(TakeYear("Show (2004)", year), "Show");
    EXPECT_EQ(year, 2004);
    for (const char* title : {"Show (1)", "Show (2004) x", "(2004)", "Show 2004)", ""}) {
        EXPECT_EQ(TakeYear(title, year = 0), title);
        EXPECT_EQ(year, 0);
    }
}

TEST(NfoReader, MoviesShowsAndEpisodes) {
    const auto movie = ReadNfo(R"(<?xml version="1.0"?><movie><title>A &amp; B</title><sorttitle>B</sorttitle>
        <tagline>t</tagline><plot>long
        story</plot><premiered>1999-05-06</premiered><genre>Drama / Crime</genre><genre>Crime</genre>
        <director>D1</director><director>D2</director><credits>W</credits><ratings><rating><title>no</title></rating>
        </ratings><actor><name>Ann</name><role>Queen</role></actor><actor><name> Bob </name></actor>
        <set><name>no</name></set></movie>
        https://example.org/what/stands/behind)");
    ASSERT_TRUE(movie);
    EXPECT_EQ(Told(*movie), "movie title=A & B year=1999 date=1999-05-06");
    EXPECT_EQ(movie->sort_title + movie->tag_line, "Bt");
    EXPECT_EQ(movie->genres, (std::vector<std::string>{"Drama", "Crime"}));
    EXPECT_EQ(movie->directors, (std::vector<std::string>{"D1", "D2"}));
    EXPECT_EQ(movie->writers, std::vector<std::string>{"W"});
    EXPECT_EQ(movie->actors, (std::vector<std::string>{"Ann", "Bob"}));
    EXPECT_TRUE(movie->summary.starts_with("long")) << movie->summary;

    struct Case {
        const char *why, *document, *told;
    };
    const Case cases[] = {
        {"an episode", "<episodedetails><title>Two</title><season>0</season><episode>2</episode></episodedetails>",
         "episode s0e2 title=Two"},
        {"several episodes: the first",
         "<episodedetails><episode>2</episode><season>1</season></episodedetails><episodedetails><episode>3</episode>"
         "</episodedetails>",
         "episode s1e2"},
        {"numbers that are none", "<movie><title>T</title><year>x</year><season>-4</season></movie>", "movie title=T"},
        {"a number beyond all", "<tvshow><year>99999999999999999999</year></tvshow>", "show year=99999999"},
        {"a date that is none", "<movie><title>T</title><premiered>2010-+1-+1</premiered></movie>", "movie title=T"},
        {"another root", "<musicvideo><title>T</title></musicvideo>", nullptr},
        {"an address alone", "https://example.org/title/1", nullptr},
        {"cut off", "<movie><title>T</title>", nullptr},
        {"entities of its own", "<!DOCTYPE m [<!ENTITY a 'b'>]><movie><title>&a;</title></movie>", nullptr},
        {"nothing", "", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const auto details = ReadNfo(c.document);
        ASSERT_EQ(details.has_value(), c.told != nullptr);
        if (details) {
            EXPECT_EQ(Told(*details), c.told);
        }
    }
}

TEST(NfoReader, WhatIsTooMuchIsLeftOut) {
    std::string actors;
    for (int i = 0; i < 1000; ++i) actors += "<actor><name>" + std::to_string(i) + "</name></actor>";
    const auto details = ReadNfo("<movie><title>" + std::string(10000, 'x') + "</title>" + actors + "</movie>");
    ASSERT_TRUE(details);
    EXPECT_EQ(details->actors.size(), 100U);
    EXPECT_EQ(details->title.size(), 400U);
    EXPECT_FALSE(ReadNfo("<movie><plot>" + std::string(kMaxNfoBytes, 'x') + "</plot></movie>"));
}

}  // namespace
}  // namespace MediaServer
