#include <gtest/gtest.h>

#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

struct UrlCase {
    const char* why;
    std::string_view path, prefix;
    MediaKind kind;
    std::string_view profile;
    std::int32_t id;
    std::string_view extension;
};

constexpr UrlCase kGoodUrls[] = {
    {"music with a profile", "/m/MP3/42.mp3", "m", MediaKind::Music, "MP3", 42, "mp3"},
    {"no profile", "/m/42.mp3", "m", MediaKind::Music, "", 42, "mp3"},
    {"photo renditions", "/sp/JPEG_TN/7.jpg", "sp", MediaKind::Photo, "JPEG_TN", 7, "jpg"},
    {"large rendition", "/xlp/NDLNA/7.jpg", "xlp", MediaKind::Photo, "NDLNA", 7, "jpg"},
    {"video library", "/rh/NDLNA/9.mkv", "rh", MediaKind::Video, "NDLNA", 9, "mkv"},
    {"subtitle in the video library", "/rh/NDLNA/s_9.srt", "rh", MediaKind::Video, "NDLNA", 9, "srt"},
    {"largest id", "/v/NDLNA/2147483647.ts", "v", MediaKind::Video, "NDLNA", 2147483647, "ts"},
    {"id ends at the first non-digit", "/m/NDLNA/12abc.mp3", "m", MediaKind::Music, "NDLNA", 12, "mp3"},
    {"no extension", "/p/NDLNA/12", "p", MediaKind::Photo, "NDLNA", 12, ""},
    {"empty profile segment", "/p//12.png", "p", MediaKind::Photo, "", 12, "png"},
};

TEST(ParseMediaUrl, TakesPathsApart) {
    for (const UrlCase& c : kGoodUrls) {
        SCOPED_TRACE(c.why);
        const auto url = ParseMediaUrl(c.path);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->prefix, c.prefix);
        EXPECT_EQ(url->kind, c.kind);
        EXPECT_EQ(url->profile, c.profile);
        EXPECT_EQ(url->id, c.id);
        EXPECT_EQ(url->extension, c.extension);
    }
}

TEST(ParseMediaUrl, RefusesTheRest) {
    for (const std::string_view path : {"", "/", "/m", "/m/", "m/1.mp3", "/mm/1.mp3", "/M/1.mp3", "/cds/1.mp3",
                                        "/m/MP3/", "/v/NDLNA/s_9.srt", "/m/MP3/.mp3", "/m/MP3/-1.mp3", "/m/MP3/a1.mp3",
                                        "/m/2147483648.mp3", "/m/99999999999999999999.mp3", "//1.mp3"}) {
        EXPECT_FALSE(ParseMediaUrl(path)) << path;
    }
}

TEST(DMSGetThumbnailRes, FitsTheSquare) {
    struct Case {
        const char* why;
        std::int32_t width, height, max_side, out_width, out_height;
    };
    constexpr Case kCases[] = {
        {"landscape", 4000, 3000, 640, 640, 480},
        {"portrait", 3000, 4000, 640, 480, 640},
        {"fits exactly", 640, 640, 640, 640, 640},
        {"never enlarged", 100, 50, 640, 100, 50},
        {"rounded to the nearest", 1000, 667, 120, 120, 80},
        {"a strip keeps one pixel", 10000, 3, 120, 120, 1},
        {"unknown size", 0, 0, 120, 0, 0},
        {"nothing overflows", 2147483647, 2147483647, 1280, 1280, 1280},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        std::int32_t width = -1, height = -1;
        DMSGetThumbnailRes(c.width, c.height, &width, &height, c.max_side);
        EXPECT_EQ(width, c.out_width);
        EXPECT_EQ(height, c.out_height);
    }
}

}  // namespace
}  // namespace MediaServer
