#include <gtest/gtest.h>

#include "serializer/VideoProfiles.h"

namespace MediaServer {
namespace {

struct MappingCase {
    const char* why;
    int width, height;
    const char* extension;
    const char* profile;
};
constexpr MappingCase kCases[] = {
    {"time-stamped HD", 1280, 720, "m2ts", "AVC_TS_HD_24_AC3_T"},
    {"plain HD, extension in capitals", 1440, 1080, "TRP", "AVC_TS_HD_24_AC3_ISO"},
    {"HD in any other file", 1280, 720, "mpg", "MPEG_PS_NTSC"},
    {"NTSC transport stream", 352, 240, "ts", "MPEG_TS_SD_NA_ISO"},
    {"time-stamped SD has no name of its own", 720, 480, "mts", "MPEG_PS_NTSC"},
    {"PAL transport stream", 704, 576, "m2t", "MPEG_TS_SD_EU_ISO"},
    {"PAL disc", 352, 288, "vob", "MPEG_PS_PAL"},
    {"a size of none of the systems", 640, 480, "ts", ""},
};
TEST(MpegTsPsProfile, BySizeAndExtension) {
    for (const MappingCase& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(MpegTsPsProfile(c.width, c.height, c.extension), c.profile);
    }
}

}  // namespace
}  // namespace MediaServer
