#include <gmock/gmock.h>

#include "platform/database/TestDatabase.h"
#include "platform/playlist/PlaylistFormats.h"
#include "platform/playlist/PlaylistParser.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

struct FormatCase {
    const char *why, *extension;
    std::string text;
    const char* title;
    std::string places;  // each with a bar behind it
};

TEST(PlaylistFormats, EntriesInTheOrderOfTheFile) {
    const FormatCase cases[] = {
        {"comments, blanks, every line ending", "m3u", "#EXTM3U\r\n#PLAYLIST: Mine\r\n\r\n  a.mp3 \rb.mp3\n#c\nd.mp3",
         "Mine", "a.mp3|b.mp3|d.mp3|"},
        {"a byte order mark is no part of the first entry", "M3U8", "\xEF\xBB\xBF\xC3\xA9.mp3\n", "", "\xC3\xA9.mp3|"},
        {"Windows code page, with letters that Latin-1 lacks", "m3u", "caf\xE9 \x80.mp3\n", "", "café €.mp3|"},
        {"a broken sequence is not UTF-8", "m3u8", "\xC3(.mp3\n", "", "Ã(.mp3|"},
        {"pls, in any case", "pls", "[playlist]\nfile1=/a.mp3\nTitle1=A\nLength1=3\nFile2 = b.mp3\nNumberOfEntries=2",
         "", "/a.mp3|b.mp3|"},
        {"xspf has a title of its own and one for each track", "xspf",
         "<?xml version='1.0'?><playlist xmlns='http://xspf.org/ns/0/'><title>Own</title><trackList><track>"
         "<location>file:///m/a%20b.mp3</location><title>T</title></track><track><title>without place</title></track>"
         "<track><location>c&amp;d.mp3</location></track></trackList></playlist>",
         "Own", "file:///m/a%20b.mp3|c&d.mp3|"},
        {"wpl", "wpl",
         "<?wpl version=\"1.0\"?><smil><head><title>W</title></head><body><seq><media src=\"..\\a.mp3\"/>"
         "<media cid=\"{1}\" src=\"b.mp3\" tid=\"{2}\"/></seq></body></smil>",
         "W", "..\\a.mp3|b.mp3|"},
        {"asx in capitals; the first place of an entry counts", "asx",
         "<ASX VERSION=\"3.0\"><Title>X</Title><ENTRY><TITLE>e</TITLE><REF HREF=\"a.mp3\"/><ref "
         "href=\"mirror.mp3\"/></ENTRY>"
         "</ASX>",
         "X", "a.mp3|"},
        {"what stands before a fault is kept", "wpl", "<smil><body><seq><media src=\"a.mp3\"/><media src=\"b", "",
         "a.mp3|"},
        {"no entities of strangers", "xspf",
         "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><playlist><title>&e;</title></playlist>", "", ""},
    };
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(c.why);
        std::string title;
        std::string places;
        EXPECT_TRUE(ReadPlaylist(c.extension, c.text, title, [&](const PlaylistEntry& entry) {
            places += entry.location + "|";
            return true;
        }));
        EXPECT_EQ(title, c.title);
        EXPECT_EQ(places, c.places);
    }
    std::string title;
    EXPECT_FALSE(ReadPlaylist("txt", "a.mp3", title, [](const PlaylistEntry&) { return true; }));
}

TEST(PlaylistFormats, TitlesStayWithTheirEntries) {
    for (const auto& [extension, text] : {std::pair("m3u", "#EXTINF:-1,One, two\nhttp://a\nhttp://b\n"),
                                          std::pair("pls", "File1=http://a\nTitle1=One, two\nFile2=http://b\n")}) {
        std::vector<std::string> titles;
        std::string own;
        ReadPlaylist(extension, text, own, [&](const PlaylistEntry& entry) {
            titles.push_back(entry.title);
            return true;
        });
        EXPECT_THAT(titles, ElementsAre("One, two", "")) << extension;
    }
}

struct PathCase {
    const char *why, *location;
    std::vector<std::string> paths;
};

TEST(PlaylistFormats, PathsThatAnEntryMayMean) {
    const PathCase cases[] = {
        {"relative", "a/b.mp3", {"/m/lists/a/b.mp3"}},
        {"relative upwards", "../b.mp3", {"/m/b.mp3"}},
        {"absolute", "/x/b.mp3", {"/x/b.mp3"}},
        {"a percent sign may be one", "100%25.mp3", {"/m/lists/100%25.mp3", "/m/lists/100%.mp3"}},
        {"a broken escape is only itself", "100%.mp3", {"/m/lists/100%.mp3"}},
        {"file URI", "file:///x/a%20b.mp3", {"/x/a b.mp3"}},
        {"file URI with a host", "FILE://localhost/x/a.mp3", {"/x/a.mp3"}},
        {"file URI without a path", "file://x", {}},
        {"backslashes", "..\\b\\c.mp3", {"/m/lists/..\\b\\c.mp3", "/m/b/c.mp3"}},
        {"a stream is no file", "http://x/a.mp3", {}},
        {"a NUL byte ends no path", "file:///x%00.mp3", {}},
        {"a colon in a name", "1: a.mp3", {"/m/lists/1: a.mp3"}},
    };
    for (const PathCase& c : cases)
        EXPECT_THAT(PlaylistEntryPaths("/m/lists", c.location), ElementsAreArray(c.paths)) << c.why;
}

class PlaylistParserTest : public DatabaseTest {
protected:
    std::int32_t AddList(const std::string& name, const std::string& text) {
        return database.Insert("playlist", "path, title", "'" + dir.Write(name, text) + "', 'List'");
    }
    std::vector<std::string> Titles(std::int32_t row, std::int32_t start = 0, std::int32_t count = 0) {
        total = -2;
        const PlaylistRecPtr page(ParsePlayListByField(row, total, start, count, "*", 1));
        std::vector<std::string> titles;
        for (const auto& song : page ? page->songs : std::vector<NIMB_MEDIA_INFO>{}) titles.push_back(song.title);
        return titles;
    }

    TempDir dir;
    std::int32_t total = -1;
};

TEST_F(PlaylistParserTest, SongsOfTheLibraryInTheOrderOfTheList) {
    database.Execute("INSERT INTO music (path, title) VALUES ('" + dir / "a b.mp3" + "', 'A'), ('" +
                     dir / "c\"''\\.mp3" + "', 'C'), ('" + dir / "d.mp3" + "', 'D')");
    const std::int32_t list =
        AddList("l.m3u", "d.mp3\nelsewhere.mp3\nhttp://x/d.mp3\na%20b.mp3\nc\"'\\.mp3\n/etc/passwd\nd.mp3\n");
    EXPECT_THAT(Titles(list), ElementsAre("D", "A", "C", "D")) << "a song may come twice";
    EXPECT_EQ(total, 4);
    EXPECT_THAT(Titles(list, 1, 2), ElementsAre("A", "C"));
    EXPECT_EQ(total, 4) << "whatever the page";
    EXPECT_THAT(Titles(list, 9, 2), ElementsAre());
    EXPECT_EQ(total, 4);

    database.Execute("DELETE FROM music WHERE title = 'A'");
    EXPECT_THAT(Titles(list), ElementsAre("D", "C", "D")) << "the library has changed";
    dir.Write("l.m3u", "a.mp3\nd.mp3\n");
    EXPECT_THAT(Titles(list), ElementsAre("D")) << "the file has changed";

    EXPECT_THAT(Titles(list + 1), ElementsAre());
    EXPECT_EQ(total, 0) << "no such row";
    std::filesystem::remove(dir / "l.m3u");
    EXPECT_THAT(Titles(list), ElementsAre());
    EXPECT_EQ(total, 0) << "no file";
    database.Stop();
    Titles(list);
    EXPECT_EQ(total, -1);
    database.Start();
}

TEST_F(PlaylistParserTest, LongListsArePagedAndTooLargeFilesRefused) {
    database.Execute("INSERT INTO music (path, title) SELECT '" + dir.Path() +
                     "/' || n || '.mp3', n::text FROM generate_series(1, 10000) AS n");
    std::string text;
    for (int i = 10000; i >= 1; --i) text += std::to_string(i) + ".mp3\n";
    const std::int32_t list = AddList("long.m3u8", text);
    EXPECT_THAT(Titles(list, 9998, 50), ElementsAre("2", "1"));
    EXPECT_EQ(total, 10000);
    EXPECT_THAT(Titles(list, 999, 2), ElementsAre("9001", "9000")) << "where one look-up ends";

    const std::int32_t large = AddList("large.m3u", std::string(kMaxPlaylistBytes + 1, '\n'));
    EXPECT_THAT(Titles(large), ElementsAre());
    EXPECT_EQ(total, 0);
}

}  // namespace
}  // namespace MediaServer
