#include <gtest/gtest.h>

#include "platform/http/HttpFile.h"
#include "platform/http/RequestRules.h"

namespace MediaServer {
namespace {

TEST(RequestRules, Target) {
    struct Case {
        const char* why;
        std::string_view raw;
        const char* path;  // null: refused
        const char* query;
    };
    constexpr Case kCases[] = {
        {"plain", "/m/NDLNA/42.mp3", "/m/NDLNA/42.mp3", ""},
        {"escapes are undone in the path, not in the query", "/a%20b%26?x=%20", "/a b&", "x=%20"},
        {"absolute form names the same resource", "http://127.0.0.1:50001/desc/a.xml", "/desc/a.xml", ""},
        {"names may contain two dots", "/a..b/c...mp3", "/a..b/c...mp3", ""},
        {"a segment of two dots", "/a/../b", nullptr, ""},
        {"two dots at the end", "/a/..", nullptr, ""},
        {"two dots after one that is allowed", "/a..b/..", nullptr, ""},
        {"escaped dots", "/a/%2e%2E/b", nullptr, ""},
        {"escaped slash before dots", "/a%2f../b", nullptr, ""},
        {"escaped NUL would cut the name short", "/a%00.mp3", nullptr, ""},
        {"broken escape", "/a%2", nullptr, ""},
        {"escape that is no number", "/a%zz", nullptr, ""},
        {"no leading slash", "a", nullptr, ""},
        {"asterisk form", "*", nullptr, ""},
        {"another scheme", "ftp://127.0.0.1/a", nullptr, ""},
        {"authority without a path", "http://127.0.0.1", nullptr, ""},
        {"control character", "/a\x01", nullptr, ""},
        {"empty", "", nullptr, ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        RequestTarget target;
        ASSERT_EQ(ParseTarget(c.raw, target), c.path != nullptr);
        if (!c.path) continue;
        EXPECT_EQ(target.path, c.path);
        EXPECT_EQ(target.query, c.query);
    }
}

TEST(RequestRules, Host) {
    for (const std::string_view host :
         {"192.168.1.7", "192.168.1.7:50001", "[fe80::1]:50001", "[::1]", "LocalHost:1"}) {
        EXPECT_TRUE(IsAllowedHost(host, {"localhost"})) << host;
    }
    for (const std::string_view host :
         {"nas.example", "192.168.1", "192.168.1.7.evil.example", "192.168.1.7:evil", "[::1", "[::1]x", "[127.0.0.1]",
          "", "::1", "localhost.", "127.0.0.1@evil.example"}) {
        EXPECT_FALSE(IsAllowedHost(host, {"localhost"})) << host;
    }
}

TEST(HttpFile, RangeHeader) {
    struct Case {
        const char* why;
        std::string_view header;
        std::uint64_t size;
        RangeResult result;
        std::uint64_t first, last;
    };
    constexpr auto kNone = RangeResult::None;
    constexpr auto kPart = RangeResult::Satisfiable;
    constexpr auto kNever = RangeResult::Unsatisfiable;
    constexpr Case kCases[] = {
        {"first byte", "bytes=0-0", 10, kPart, 0, 0},
        {"open end", "bytes=4-", 10, kPart, 4, 9},
        {"end past the end", "bytes=4-99", 10, kPart, 4, 9},
        {"last bytes", "bytes=-3", 10, kPart, 7, 9},
        {"more last bytes than there are", "bytes=-30", 10, kPart, 0, 9},
        {"unit in capitals", "Bytes=1-2", 10, kPart, 1, 2},
        {"beyond 32 bits", "bytes=5000000000-5000000001", 6000000000, kPart, 5000000000, 5000000001},
        {"end beyond 64 bits", "bytes=1-99999999999999999999999", 10, kPart, 1, 9},
        {"start at the end", "bytes=10-", 10, kNever, 0, 0},
        {"start beyond 64 bits", "bytes=99999999999999999999999-", 10, kNever, 0, 0},
        {"no last bytes", "bytes=-0", 10, kNever, 0, 0},
        {"empty file", "bytes=0-", 0, kNever, 0, 0},
        {"last bytes of an empty file", "bytes=-5", 0, kNever, 0, 0},
        {"reversed", "bytes=5-3", 10, kNone, 0, 0},
        {"several", "bytes=0-1,3-4", 10, kNone, 0, 0},
        {"another unit", "items=0-1", 10, kNone, 0, 0},
        {"no numbers", "bytes=-", 10, kNone, 0, 0},
        {"sign", "bytes=+1-2", 10, kNone, 0, 0},
        {"blank inside", "bytes=1 -2", 10, kNone, 0, 0},
        {"no unit", "0-1", 10, kNone, 0, 0},
        {"absent", "", 10, kNone, 0, 0},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        ByteRange range{0, 0};
        ASSERT_EQ(ParseRange(c.header, c.size, range), c.result);
        if (c.result != kPart) continue;
        EXPECT_EQ(range.first, c.first);
        EXPECT_EQ(range.last, c.last);
    }
}

}  // namespace
}  // namespace MediaServer
