#include "SerializerTest.h"
#include "serializer/VideoProfiles.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using namespace ClientFlag;

constexpr std::uint32_t kOff = SerializerSetup::kNoDlna, kRoles = SerializerSetup::kRoles;
constexpr std::uint32_t kEvery = Property::kAll, kArt = Property::kRes | Property::kAlbumArtURI;

NIMB_MEDIA_INFO Named(NIMB_MEDIA_INFO record, const std::string& path) {
    record.id = 9;
    record.path = path;
    record.title = "Film & more";
    record.date = "2021-02-03 04:05:06";
    record.duration = 200.7F;
    record.filesize = 1000;
    return record;
}
NIMB_MEDIA_INFO Film(const std::string& path, const char* audio_codec = "AC3") {
    return Named(RecordOf({"matroska", "h264", 1280, 720, 0, 0, 0, 800000, {audio_codec, 0, 48000, 2}}), path);
}
NIMB_MEDIA_INFO Broadcast(const std::string& path, const char* container) {
    const SoundFacts sound{"ac3", 384000, 48000, 2};
    return Named(RecordOf({container, "mpeg2video", 1280, 720, 30000, 1001, 0, 800000, sound}), path);
}

std::string Serialize(const NIMB_MEDIA_INFO& record, std::uint32_t flags, std::uint32_t options, std::uint32_t filter) {
    return SerializerSetup(flags, options, filter).Write([&](auto& out) {
        out.SerializeVideoItem("33$2", "33", record);
    });
}

std::string Item(std::string_view title, std::string_view kind, std::string_view body) {
    std::string item = "<item id=\"33$2\" parentID=\"33\" restricted=\"1\">\n<dc:title>";
    item.append(title).append("</dc:title>\n<upnp:class>object.item.").append(kind).append("Item</upnp:class>\n");
    return item.append(body).append("</item>\n");
}

#define FLAGS "DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000"
#define RES(mime, fields) "<res  protocolInfo=\"http-get:*:" mime ":" fields "\""
#define URL(path) ">http://10.0.0.7:50002" path "</res>"
#define DATE "<dc:date>2021-02-03T04:05:06</dc:date>"
#define FACTS(size)                                                    \
    " resolution=\"1280x720\" size=\"" size                            \
    "\" bitrate=\"100000\" duration=\"0:03:20\" nrAudioChannels=\"2\"" \
    " sampleFrequency=\"48000\""
#define MKV RES("video/x-matroska", FLAGS) URL("/v/NDLNA/9.mkv")
#define COVER_PATH "/transcoder/jpegtnscaler.cgi/"
#define COVER(kind)                                                                          \
    RES("image/jpeg", "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_FLAGS=00f00000000000000000000000000000") \
    URL(COVER_PATH kind "/9.jpg")

struct VideoCase {
    const char* why;
    NIMB_MEDIA_INFO record;
    std::uint32_t client, options, filter;
    const char *title, *kind, *body;
};

TEST(VideoItem, ByFileAndClient) {
    const NIMB_MEDIA_INFO film = Film("/nowhere/a film.mkv");
    const VideoCase cases[] = {
        {"the file as it is", film, 0, 0, kEvery, "a film", "video",
         DATE RES("video/x-matroska", FLAGS) FACTS("1000") URL("/v/NDLNA/9.mkv")},
        {"no res property, no resources and no art", film, kVideoAlbumArt, OptionFlag::kFolderArt,
         Property::kAlbumArtURI, "a film", "video", ""},
        {"the resolution alone brings the resource", film, 0, 0, Property::kResResolution, "a film", "video",
         RES("video/x-matroska", FLAGS) " resolution=\"1280x720\"" URL("/v/NDLNA/9.mkv")},
        {"a client without DLNA", film, kOff | kSubtitleResource, OptionFlag::kFolderArt, Property::kRes, "a film",
         "video", RES("video/x-matroska", "*") URL("/v/NDLNA/9.mkv")},
        {"the embedded title", film, 0, OptionFlag::kEmbeddedVideoInfo, Property::kRes, "Film &amp; more", "video",
         MKV},
        {"file names win over it", film, kVideoFileNames, OptionFlag::kEmbeddedVideoInfo, Property::kRes, "a film.mkv",
         "video", MKV},
        {"clients that list subtitles see extensions", film, kTextItems, 0, Property::kRes, "a film.mkv", "video", MKV},
        {"the title as album, whatever the filter", film, kRoles, 0, Property::kRes, "a film", "video",
         "<upnp:album>Film &amp; more</upnp:album>" MKV},
        {"transcoded: other type, double size", film, kTranscodeMkv, 0, kEvery, "a film", "video",
         DATE RES("video/mpeg", FLAGS) FACTS("2000")
             URL("/transcoder/genericoder.cgi/id=9.m2ts?format=m2ts&amp;type=video")},
        {"with MP3 sound as well", Film("/nowhere/a film.MKV", "mp3"), kTranscodeMkv, 0, Property::kRes, "a film",
         "video", RES("video/mpeg", FLAGS) URL("/transcoder/genericoder.cgi/id=9.m2ts?format=m2ts&amp;type=video")},
        {"with other sound the player takes it", Film("/nowhere/a film.mkv", "aac"), kTranscodeMkv, 0, Property::kRes,
         "a film", "video", MKV},
        {"nothing is transcoded for the local player", film, kTranscodeMkv, OptionFlag::kLocalServer, Property::kRes,
         "a film", "video", RES("video/x-matroska", FLAGS) ">/nowhere/a film.mkv</res>"},
        {"only Matroska is transcoded", Broadcast("/nowhere/b.mpg", "mpeg_ts"), kTranscodeMkv, 0, Property::kRes, "b",
         "video", RES("video/mpeg", "DLNA.ORG_PN=MPEG_TS_HD_NA_ISO;" FLAGS) URL("/v/MPEG_TS_HD_NA_ISO/9.mpg")},
        {"a conformance tester hears of that profile", Broadcast("/nowhere/b.mpg", "mpeg_ts"), 0,
         OptionFlag::kConformanceTest, Property::kRes, "b", "video",
         RES("video/mpeg", "DLNA.ORG_PN=MPEG_TS_HD_NA_ISO;" FLAGS) URL("/v/MPEG_TS_HD_NA_ISO/9.mpg")},
        {"but of none outside the certified ones", Broadcast("/nowhere/b.m2ts", "mpeg_ts"), kMpegMapping,
         OptionFlag::kConformanceTest, Property::kRes, "b", "video", RES("video/mpeg", FLAGS) URL("/v/NDLNA/9.m2ts")},
        {"time-stamped packets are a type of their own", Broadcast("/nowhere/b.m2ts", "mpeg_ts_timestamp"), 0, 0,
         Property::kRes, "b", "video",
         RES("video/vnd.dlna.mpeg-tts", "DLNA.ORG_PN=MPEG_TS_HD_NA_T;" FLAGS) URL("/v/MPEG_TS_HD_NA_T/9.m2ts")},
        {"profile by size for simple clients", Broadcast("/nowhere/b.m2ts", "mpeg_ts"), kMpegMapping, 0, Property::kRes,
         "b", "video", RES("video/mpeg", "DLNA.ORG_PN=AVC_TS_HD_24_AC3_T;" FLAGS) URL("/v/AVC_TS_HD_24_AC3_T/9.m2ts")},
        {"a subtitle resource", film, kSubtitleResource, 0, Property::kRes, "a film", "video",
         MKV "<res  protocolInfo=\"http-get:*:text/srt:*\"" URL("/v/NDLNA/9.srt")},
        {"a text item has no DLNA parameters",
         Named(RecordOf({"", "text", 0, 0, 0, 0, 0, 0, {"", 0, 0, 0}}), "/nowhere/a.srt"), 0, OptionFlag::kFolderArt,
         Property::kRes, "a", "text", RES("text/srt", "*") URL("/v/NDLNA/9.srt")},
        {"a cover resource, after the subtitle", film, kSubtitleResource, OptionFlag::kFolderArt, Property::kRes,
         "a film", "video",
         MKV "<res  protocolInfo=\"http-get:*:text/srt:*\"" URL("/v/NDLNA/9.srt") COVER("vfolderart")},
        {"in original size", film, kOriginalArt, OptionFlag::kFolderArt, Property::kRes, "a film", "video",
         MKV COVER("vfolderart_orig")},
        {"no thumbnails", film, kNoThumbnails, OptionFlag::kFolderArt, Property::kRes, "a film", "video", MKV},
        {"no covers", film, kNoVideoCover | kVideoAlbumArt, OptionFlag::kFolderArt, kArt, "a film", "video", MKV},
        {"the cover as element, not twice", film, kVideoAlbumArt, OptionFlag::kFolderArt, kArt, "a film", "video",
         "<upnp:albumArtURI >http://10.0.0.7:50002" COVER_PATH "vfolderart/9.jpg</upnp:albumArtURI>" MKV},
        {"the element with its profile, for the local player", film, kVideoAlbumArt | kNoThumbnails,
         OptionFlag::kFolderArt | OptionFlag::kLocalServer, kArt | Property::kAlbumArtProfile, "a film", "video",
         "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\">jpegtnscaler.cgi/vfolderart/9.jpg</upnp:albumArtURI>" RES(
             "video/x-matroska", FLAGS) ">/nowhere/a film.mkv</res>"},
    };
    for (const VideoCase& c : cases) {
        EXPECT_EQ(Serialize(c.record, c.client, c.options, c.filter), Item(c.title, c.kind, c.body)) << c.why;
    }
}

TEST(VideoItem, CoverKindFollowsTheFirstFileThatIsThere) {
    const TempDir folder;
    const auto touch = [&](const char* name) { folder.Write(name, "x"); };
    const auto is_png = [&] {
        const std::string text = Serialize(Film(folder / "a.mkv"), 0, OptionFlag::kFolderArt, Property::kRes);
        return text.find("PNG_TN") != std::string::npos && text.find("vfolderart/9.png") != std::string::npos;
    };
    touch("folder.jpg");
    EXPECT_FALSE(is_png());
    touch("a.png");
    EXPECT_TRUE(is_png()) << "the video's own cover comes before the folder's";
    std::filesystem::create_directory(folder / "a.jpg");
    EXPECT_TRUE(is_png()) << "a directory is no cover";
    std::filesystem::remove(folder / "a.jpg");
    touch("a.jpg");
    EXPECT_FALSE(is_png());
}

struct MappingCase {
    const char* why;
    int width, height;
    const char *extension, *profile;
};
constexpr MappingCase kMappings[] = {
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
    for (const MappingCase& c : kMappings) {
        EXPECT_EQ(MpegTsPsProfile(c.width, c.height, c.extension), c.profile) << c.why;
    }
}

}  // namespace
}  // namespace MediaServer
