#include "WebTest.h"
#include "web/BrowsePage.h"

namespace MediaServer {
namespace {

constexpr const char* kHead =
    "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\"></head><body><p>";
constexpr const char* kTail = "</p></body></html>";

class BrowsePageTest : public WebTest {
protected:
    /// What stands between the fixed parts of a page.
    std::string Body(const std::string& url) {
        const std::string page = Get(url);
        EXPECT_TRUE(page.starts_with(kHead) && page.ends_with(kTail)) << page;
        return page.substr(std::strlen(kHead), page.size() - std::strlen(kHead) - std::strlen(kTail));
    }
};

TEST_F(BrowsePageTest, TheRootLinksToTheMenu) {
    EXPECT_EQ(Body("/cds/"), "<ul><li class=\"cds-ct\"><a href=\"/cds/top\">Top &amp; more</li></ul>");
}

TEST_F(BrowsePageTest, ItemsLinkToTheirFilesAndContainersBack) {
    AddTrack("/m/x.mp3", "<b>");
    EXPECT_EQ(Body("/cds/all"),
              "&lt;&lt;&nbsp; <a href=\"/cds/top\">Parent<ul><li class=\"cds-item\"><a href=\"/m/1.mp3\">&lt;b&gt; "
              "(A-B)</li></ul>");
}

TEST_F(BrowsePageTest, APersonGetsFromTheMenuToAnAlbumAndBack) {
    AddTrack("/m/x.mp3", "T");
    const std::string up = "&lt;&lt;&nbsp; <a href=\"/cds/";
    EXPECT_NE(Body("/cds/artists").find("<a href=\"/cds/artists$1\">A</li>"), std::string::npos);
    EXPECT_EQ(Body("/cds/artists$1"),
              up + "artists\">Parent<ul><li class=\"cds-ct\"><a href=\"/cds/artists$1$1\">B</li></ul>");
}

TEST_F(BrowsePageTest, LinksSurviveTheSeparatorThatEndsAPath) {
    database.Execute("INSERT INTO music (path, artist) VALUES ('/m/1.mp3', 'Bach'), ('/m/2.mp3', 'Berg')");
    EXPECT_NE(Body("/cds/letters").find("<a href=\"/cds/letters$%23B\">B</li>"), std::string::npos);
    EXPECT_NE(Body("/cds/letters$#B").find("<a href=\"/cds/letters$%23B$0\">"), std::string::npos);
}

struct BadId {
    const char* why;
    std::string url;
};

TEST_F(BrowsePageTest, WhatIsNoObjectGivesAnEmptyPage) {
    const BadId ids[] = {
        {"unknown", "/cds/nonsense"},
        {"a script", "/cds/\"><script>alert(1)</script>"},
        {"a row that is no number", "/cds/artists$1' OR '1'='1"},
        {"another kind of text", "/cds/\xFF\xFE\x01%n%s"},
        {"endless", "/cds/artists$" + std::string(100000, '1')},
    };
    for (const BadId& id : ids) {
        SCOPED_TRACE(id.why);
        const std::string body = Body(id.url);
        EXPECT_EQ(body.find("<li"), body.npos);
        EXPECT_EQ(body.find("script"), body.npos);
    }
}

TEST_F(BrowsePageTest, PortionsJoinToTheWholeList) {
    database.Execute(
        "INSERT INTO music (path, title, artist, album, track) "
        "SELECT '/x/' || n || '.mp3', 'T' || n, 'A', 'B', n FROM generate_series(1, 1203) n");
    const std::string body = Body("/cds/all");
    std::size_t at = 0;
    for (int id = 1; id <= 1203; ++id) {
        at = body.find("<a href=\"/m/" + std::to_string(id) + ".mp3\">", at);
        ASSERT_NE(at, body.npos) << id;
    }
    std::size_t items = 0;
    for (at = body.find("<li"); at != body.npos; at = body.find("<li", at + 1)) ++items;
    EXPECT_EQ(items, 1203U);
}

}  // namespace
}  // namespace MediaServer
