#include "cds/CDSActions.h"

namespace MediaServer {

namespace {

// A DLNA profile that the server sends as it is (DLNA Guidelines, 7.4.1.3.17: fourth field of protocolInfo).
struct Profile {
    std::string_view mime, name;
    bool converted = false;  // DLNA.ORG_CI: always scaled from another picture
};

constexpr Profile kPictures[] = {
    {"image/jpeg", "JPEG_LRG"},
    {"image/jpeg", "JPEG_SM", true},
    {"image/jpeg", "JPEG_MED"},
    {"image/jpeg", "JPEG_TN", true},
};
// Interactive transfer, background transfer, connection stalling, DLNA 1.5; pictures and streams.
constexpr std::string_view kPictureFlags = "00f00000000000000000000000000000";
constexpr std::string_view kStreamFlags = "01700000000000000000000000000000";

constexpr Profile kStreams[] = {
    {"audio/mpeg", "MP3"},
    {"video/mpeg", "MPEG_PS_PAL"},
    {"video/mpeg", "MPEG_PS_NTSC"},
    {"audio/L16;rate=44100;channels=2", "LPCM"},
    {"video/vnd.dlna.mpeg-tts", "MPEG_TS_SD_EU_T"},
    {"video/vnd.dlna.mpeg-tts", "MPEG_TS_SD_NA_T"},
    {"video/vnd.dlna.mpeg-tts", "MPEG_TS_HD_NA_T"},
    {"video/mpeg", "MPEG_TS_SD_EU_ISO"},
    {"video/mpeg", "MPEG_TS_SD_NA_ISO"},
    {"video/mpeg", "MPEG_TS_HD_NA_ISO"},
    {"video/x-ms-wmv", "WMVHIGH_FULL"},
    {"video/x-ms-wmv", "WMVHIGH_PRO"},
    {"video/x-ms-wmv", "WMVMED_BASE"},
    {"video/x-ms-wmv", "WMVMED_FULL"},
    {"video/x-ms-wmv", "WMVMED_PRO"},
};

// Formats without a profile.
constexpr std::string_view kPlain[] = {
    "audio/x-wav",
    "audio/wav",
    "audio/lpcm",
    "audio/mpeg",
    "audio/mpg",
    "audio/x-aiff",
    "audio/x-m4a",
    "audio/mp4",
    "video/mp4",
    "video/mpeg",
    "video/avi",
    "video/divx",
    "video/quicktime",
    "video/x-ms-asf",
    "video/x-mpeg",
    "video/mpg",
    "video/MP1S",
    "application/ogg",
    "application/vnd.rn-realmedia",
    "application/vnd.rn-realmedia-vbr",
    "image/jpeg",
    "image/png",
    "image/gif",
    "image/bmp",
    "image/x-ms-bmp",
};

void AppendProfile(std::string& list, const Profile& profile, std::string_view flags) {
    list.append("http-get:*:").append(profile.mime).append(":DLNA.ORG_PN=").append(profile.name);
    list.append(";DLNA.ORG_OP=01;");
    if (profile.converted) list.append("DLNA.ORG_CI=1;");
    list.append("DLNA.ORG_FLAGS=").append(flags).append(",");
}

std::string BuildList() {
    std::string list;
    for (const Profile& profile : kPictures) AppendProfile(list, profile, kPictureFlags);
    for (const Profile& profile : kStreams) AppendProfile(list, profile, kStreamFlags);
    for (std::string_view mime : kPlain) list.append("http-get:*:").append(mime).append(":*,");
    list.pop_back();
    return list;
}

}  // namespace

const std::string& SourceProtocolList() {
    static const std::string list = BuildList();
    return list;
}

}  // namespace MediaServer
