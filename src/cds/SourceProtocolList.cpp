#include "cds/CDSActions.h"
#include "dlna/DlnaProfiles.h"

namespace MediaServer {

namespace {

struct PictureProfile {
    std::string_view name;
    PictureKind kind;
};
constexpr PictureProfile kPictures[] = {
    {"JPEG_LRG", PictureKind::Photo},
    {"JPEG_SM", PictureKind::Rendition},
    {"JPEG_MED", PictureKind::Photo},
    {"JPEG_TN", PictureKind::Rendition},
};

struct StreamProfile {
    std::string_view mime, name;
};
constexpr StreamProfile kStreams[] = {
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

std::string BuildList() {
    std::string list;
    const auto append = [&](std::string_view mime, std::string_view fourth_field) {
        list.append("http-get:*:").append(mime).append(":").append(fourth_field).append(",");
    };
    for (const PictureProfile& picture : kPictures) append("image/jpeg", PictureDlnaParams(picture.kind, picture.name));
    for (const StreamProfile& stream : kStreams) append(stream.mime, StreamingDlnaParams(stream.name));
    for (std::string_view mime : kPlain) append(mime, "*");
    list.pop_back();
    return list;
}

}  // namespace

const std::string& SourceProtocolList() {
    static const std::string list = BuildList();
    return list;
}

}  // namespace MediaServer
