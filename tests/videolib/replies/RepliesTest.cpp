#include <json/json.h>

#include "videolib/VideoRecorder.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

// The library as these tests have it: every question is answered with the same document, and by true.
namespace {
Json::Value g_reply;
}  // namespace

namespace LibReelhouse {

bool VideoMetadataAPI::CategoryBrowse(_VIDEO_TABLE_TYPE_, _VIDEO_CATEGORY_, Page, _ORDER_DIRECTION_, const char*,
                                      Json::Value& reply, std::int32_t& total, std::int32_t&) {
    reply = g_reply;
    total = g_reply.isMember("metadatas") ? static_cast<std::int32_t>(g_reply["metadatas"].size()) : 0;
    return true;
}
bool VideoMetadataAPI::List(const ListQuery&, Json::Value& reply) {
    reply = g_reply;
    return true;
}
bool VideoMetadataAPI::GetInfo(_VIDEO_TABLE_TYPE_, std::uint32_t, std::string_view, Json::Value& reply) {
    reply = g_reply;
    return true;
}
std::string VideoMetadataAPI::GetFieldValueById(std::string_view, std::string_view, std::string_view) {
    return "/v/1.mkv";
}
bool VideoMetadataAPI::GetFieldMapByKey(std::string_view, std::string_view, std::string_view,
                                        std::map<std::string, std::string>&) {
    return true;
}
bool VideoMetadataAPI::GetDirFilesCount(std::string_view, std::int32_t& count) {
    count = 1;
    return true;
}
bool VideoMetadataAPI::ListDir(_VIDEO_TABLE_TYPE_, std::uint32_t, std::string_view, Page, bool, Json::Value& listing,
                               std::int32_t& total) {
    listing = g_reply;
    total = static_cast<std::int32_t>(g_reply["files"].size());
    listing["objects"] = g_reply["files"];
    return true;
}
bool VideoMetadataAPI::GetFileIdPathByDirPath(std::string_view directory, std::string& id, std::string& path) {
    id = "1";
    path = std::string(directory) + "/1.mkv";
    return true;
}
bool NIMBVideoGetRootDirByVideoType(Json::Value& reply, std::string_view) {
    reply = g_reply;
    return true;
}
bool GetDirInfo(Json::Value& reply, std::string_view, std::string_view, Page) {
    reply = g_reply;
    return true;
}

}  // namespace LibReelhouse

namespace {

struct Reply {
    const char *why, *category, *id, *text, *written;
    const char* log = "";
};

constexpr Reply kReplies[] = {
    {"values without their array", "cast", "N", "{}", "", "There is no key [metadatas] in JSON"},
    {"values that lack id or name", "cast", "N",
     R"({"metadatas": [{}, {"id": "1"}, {"name": "A"}, {"id": "0", "name": "0"},
        {"id": "0", "name": "A"}, {"id": 2, "name": "B"}]})",
     "N$_99 in N: unknown [1] | N$_99 in N: unknown [1] | N$_99 in N: unknown [1] | N$_99 in N: unknown [1]"
     " | N$0 in N: A [1] | N$2 in N: B [1]"},
    {"a list without its array", "", "N", R"({"total": 3})", ""},
    {"a list of another kind", "", "N",
     R"({"total": 1, "videos": [{"id": "1", "additional": {"files": [{"id": "1"}]}}]})", ""},
    {"an array that is none", "", "N", R"({"total": 1, "movies": {"id": "1"}})", ""},
    {"videos that lack something", "", "N",
     R"({"total": 7, "movies": [{}, 5, null, {"id": "1"}, {"id": "1", "additional": {}},
        {"id": "1", "additional": {"files": [{}]}}, {"additional": {"files": [{"id": "1"}]}},
        {"id": "2", "title": "T", "additional": {"files": []}},
        {"id": "3", "tagline": "", "additional": {"files": [{"id": 9, "path": "/v/9.mkv"}]}}]})",
     "N$2 in N: T [1] | N$@9 in N: movie /v/9.mkv"},
    {"a video without a record", "", "N$1", "{}", ""},
    {"a video without files", "", "N$1", R"({"movies": [{"id": "1"}]})", ""},
    {"files without an id", "", "N$1",
     R"({"movies": [{"additional": {"files": [{}, {"id": "2", "path": "/a"}, null]}}]})",
     "N$1$@2 in N$1: movie /a, by name"},
};

TEST(Replies, WhatLacksSomethingIsPassedOver) {
    DMSStringBundle strings("enu");
    for (const Reply& c : kReplies) {
        SCOPED_TRACE(c.why);
        std::istringstream(c.text) >> g_reply;
        CDSCategoryFolder_RH node(LibReelhouse::kMovie, "P", "N", "Node", ObjectType::kContainer, strings);
        if (*c.category != '\0') node.AddCategory(c.category, 0);
        const DMSClientChecker client = SubtitleClient();
        LogCapture log;
        const VideoAnswer answer = AskVideos(node, c.id, {.client = &client});
        EXPECT_THAT(log.Text(), HasSubstr(c.log));
        EXPECT_EQ(Joined(answer.lines), c.written);
        EXPECT_TRUE(answer.total == 0 || !answer.lines.empty()) << answer.total;
        EXPECT_GE(MetadataOf(node, std::string(c.id) + "$@1", {.client = &client}).result, 0);
    }
}

TEST(Replies, FoldersAndFilesThatLackSomething) {
    CDSStorageFolder_RH node(LibReelhouse::kMovie, "P", "N", "Node", ObjectType::kStorageFolder);
    std::istringstream(R"({"total": 6, "path": [], "objects": [{}, 5, {"type": "folder", "id": "1", "path": "/v/a"},
        {"type": "folder", "path": "/v/b", "title": "b"}, {"type": "link", "id": "1", "path": "/v/c", "title": "c"},
        {"type": "folder", "id": "1", "path": "/v/d", "title": "d"}], "files": [{}, null, {"type": "file", "id": "2"},
        {"type": "file", "id": "3", "path": "/v/3.mkv"}]})") >>
        g_reply;
    EXPECT_THAT(AskVideos(node, "N").lines, ElementsAre("N$1L0 in N: d [15]"));
    EXPECT_THAT(AskVideos(node, "N$1L0").lines,
                ElementsAre("N$1L0$1L0 in N$1L0: d [15]", HasSubstr("N$1L0$@3 in N$1L0: movie")));
}

}  // namespace
}  // namespace MediaServer
