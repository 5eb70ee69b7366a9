#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dlna/DlnaProfiles.h"
#include "indexer/MediaFiles.h"
#include "indexer/MediaReader.h"
#include "indexer/MediaTypes.h"
#include "indexer/TransportStream.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr char kX264[] = "-c:v libx264 -preset ultrafast -pix_fmt yuv420p ";
constexpr char kMpeg2[] = "-c:v mpeg2video -b:v 2M ";
constexpr char kStereo[] = "-ar 48000 -ac 2 ";

struct VideoCase {
    const char *file, *size, *rate, *video;
    std::string audio;
    const char *container, *video_codec, *audio_codec, *frame_rate;
    const char* profile;  ///< null: none fits
};
const VideoCase kVideos[] = {
    {"sd-ac3.mp4", "704x576", "25", kX264, "-c:a ac3 -b:a 192k", "mp4", "h264", "ac3", "25/1", "AVC_MP4_MP_SD_AC3"},
    {"sd-mp3.mp4", "704x576", "25", kX264, "-c:a libmp3lame -b:a 128k", "mp4", "h264", "mp3", "25/1",
     "AVC_MP4_MP_SD_MPEG1_L3"},
    {"vga-aac.mp4", "640x480", "30", kX264, "-c:a aac -b:a 64k", "mp4", "h264", "aac", "30/1", "AVC_MP4_BL_L3_SD_AAC"},
    {"hd-ac3.m2ts", "1280x720", "24000/1001", kX264, "-c:a ac3 -b:a 384k -mpegts_m2ts_mode 1", "mpeg_ts_timestamp",
     "h264", "ac3", "24000/1001", "AVC_TS_MP_HD_AC3_T"},
    {"hd-ac3.ts", "1280x720", "50", kX264, "-c:a ac3 -b:a 384k", "mpeg_ts", "h264", "ac3", "50/1",
     "AVC_TS_MP_HD_AC3_ISO"},
    {"pal.mpg", "720x576", "25", kMpeg2, "-c:a mp2 -b:a 256k -f vob", "mpeg_ps", "mpeg2video", "mp2", "25/1",
     "MPEG_PS_PAL"},
    {"pal-ac3-640k.mpg", "720x576", "25", kMpeg2, "-c:a ac3 -b:a 640k -v fatal -f vob", "mpeg_ps", "mpeg2video", "ac3",
     "25/1", "MPEG_PS_PAL_XAC3"},
    {"pal-pcm.mpg", "720x576", "25", kMpeg2, "-c:a pcm_dvd -v fatal -f vob", "mpeg_ps", "mpeg2video", "pcm_s16be",
     "25/1", "MPEG_PS_PAL"},
    {"ltp.ts", "1280x720", "50", kX264, "-c:a aac -profile:a aac_ltp -strict -2 -mpegts_flags latm", "mpeg_ts", "h264",
     "aac_ltp", "50/1", nullptr},
    {"ntsc.mpg", "720x480", "30000/1001", kMpeg2, "-c:a ac3 -b:a 256k -f vob", "mpeg_ps", "mpeg2video", "ac3",
     "30000/1001", "MPEG_PS_NTSC"},
    {"eu.ts", "720x576", "25", kMpeg2, "-c:a mp2 -b:a 192k", "mpeg_ts", "mpeg2video", "mp2", "25/1",
     "MPEG_TS_SD_EU_ISO"},
    {"eu.m2ts", "720x576", "25", kMpeg2, "-c:a ac3 -b:a 192k -mpegts_m2ts_mode 1", "mpeg_ts_timestamp", "mpeg2video",
     "ac3", "25/1", "MPEG_TS_SD_EU_T"},
    {"na.ts", "720x480", "30000/1001", kMpeg2, "-c:a ac3 -b:a 448k", "mpeg_ts", "mpeg2video", "ac3", "30000/1001",
     "MPEG_TS_SD_NA_ISO"},
    {"hdna.ts", "1280x720", "60000/1001", kMpeg2, "-c:a ac3 -b:a 448k", "mpeg_ts", "mpeg2video", "ac3", "60000/1001",
     "MPEG_TS_HD_NA_ISO"},
    {"vcd.mpg", "352x288", "25", "-c:v mpeg1video -b:v 1150k -minrate 1150k -maxrate 1150k -bufsize 327680 ",
     "-c:a mp2 -b:a 224k -ar 44100 -f vcd", "mpeg_ps", "mpeg1video", "mp2", "25/1", "MPEG_PS_PAL"},
    {"asp.mp4", "720x576", "25", "-c:v mpeg4 -b:v 4M -minrate 4M -maxrate 4M -bufsize 1M ", "-c:a aac -b:a 128k", "mp4",
     "mpeg4", "aac", "25/1", "MPEG4_P2_MP4_ASP_AAC"},
    {"sp.mp4", "176x144", "25", "-c:v mpeg4 -q:v 8 ", "-c:a aac -b:a 64k", "mp4", "mpeg4", "aac", "25/1",
     "MPEG4_P2_MP4_SP_AAC"},
    {"co.ts", "352x288", "25", "-c:v mpeg4 -b:v 1M -maxrate 1M -bufsize 1M ", "-c:a ac3 -b:a 192k", "mpeg_ts", "mpeg4",
     "ac3", "25/1", "MPEG4_P2_TS_CO_AC3_ISO"},
    {"film.mkv", "640x360", "24000/1001", kX264, "-c:a ac3 -b:a 192k", "matroska,webm", "h264", "ac3", "24000/1001",
     nullptr},
    {"old.avi", "640x480", "30000/1001", "-c:v msmpeg4 ", "-c:a libmp3lame -b:a 128k", "avi", "msmpeg4v3", "mp3",
     "30000/1001", nullptr},
    {"clip.wmv", "320x240", "30000/1001", "-c:v wmv2 ", "-c:a wmav2 -b:a 128k", "asf", "wmv2", "wmav2", "30000/1001",
     nullptr},
    {"clip.mov", "320x240", "25", kX264, "-c:a pcm_s16le", "mov", "h264", "pcm_s16le", "25/1", nullptr},
    {"clip.flv", "320x240", "25", "-c:v flv ", "-c:a libmp3lame -ar 44100 -b:a 128k", "flv", "flv1", "mp3", "25/1",
     nullptr},
    {"clip.webm", "160x120", "30", "-c:v libvpx -b:v 100k -deadline realtime ", "-c:a libvorbis", "matroska,webm",
     "vp8", "vorbis", "30/1", nullptr},
    {"clip.3gp", "176x144", "15", "-c:v h263 -b:v 40k ", "-c:a aac -b:a 32k", "3gp", "h263", "aac", "15/1", nullptr},
};

/// From the file on disk to the name that players look for.
TEST(VideoReader, RecordAndProfileOfEveryKind) {
    const MediaFiles files;
    for (const VideoCase& c : kVideos) {
        SCOPED_TRACE(c.file);
        std::vector<std::string> command = Split(std::string("-f lavfi -i testsrc2=s=") + c.size + ":r=" + c.rate +
                                                     " -f lavfi -i sine -t 1 " + kStereo + c.video + c.audio,
                                                 ' ');
        std::erase(command, "");
        command.insert(command.end(), {"-metadata", "title=Film", std::string("@/") + c.file});
        files.Make(command);
        std::string reason;
        const auto record = ReadFacts(files.Path(c.file), reason);
        ASSERT_TRUE(record) << reason;
        EXPECT_EQ(record->container_type, c.container);
        EXPECT_EQ(record->video_codec, c.video_codec);
        EXPECT_EQ(record->audio_codec, c.audio_codec);
        EXPECT_EQ(std::to_string(record->resolutionx) + "x" + std::to_string(record->resolutiony), c.size);
        EXPECT_EQ(std::to_string(record->frame_rate_num) + "/" + std::to_string(record->frame_rate_den), c.frame_rate);
        EXPECT_NEAR(record->duration, 1, 0.2);
        EXPECT_EQ(record->channel, 2);
        const double bits = static_cast<double>(record->filesize) * 8 / record->duration;
        EXPECT_NEAR(record->frame_bitrate, bits, bits / 10);
        const ProfileEntry* profile = DetectVideoProfile(*record);
        EXPECT_EQ(profile ? profile->name : "none", c.profile ? c.profile : "none")
            << record->video_bitrate << " " << record->frame_bitrate << " " << record->audio_bitrate;
    }
}

/// Phones film with speech sound, whose containers tell the rate with a byte more for each frame.
TEST(VideoReader, SpeechInFilmsOfPhones) {
    const MediaFiles files;
    std::string speech = "#!AMR\n";
    for (int frame = 0; frame < 50; ++frame) speech += "\x3C" + std::string(31, '\0');  // 12.2 kbit/s
    files.Write("speech.amr", speech);
    files.Make(Split(
        "-f lavfi -i color=s=176x144:r=15 -i @/speech.amr -t 1 -c:v h263 -b:v 40k -c:a copy -brand 3gr6 @/a.3gp",
        ' '));
    std::string reason;
    const auto record = ReadFacts(files.Path("a.3gp"), reason);
    ASSERT_TRUE(record) << reason;
    EXPECT_EQ(record->audio_bitrate, 12200U);
    const ProfileEntry* profile = DetectVideoProfile(*record);
    EXPECT_EQ(profile ? profile->name : "none", "MPEG4_H263_3GPP_P3_L10_AMR");
}

TEST(VideoReader, TransportStreamsByTheirPackets) {
    const auto stream = [](std::size_t before, const std::string& stamp, std::size_t packet_bytes) {
        std::string bytes(before, 'x');
        for (int packet = 0; packet < 30; ++packet) bytes += stamp + "G" + std::string(packet_bytes - 1, '\x11');
        return bytes;
    };
    const std::string zero(4, '\0');
    const std::pair<const char*, std::string> kStreams[] = {
        {"mpeg_ts", stream(0, "", 188)},
        {"mpeg_ts", stream(100, "", 188)},
        {"mpeg_ts_dlna", stream(0, zero, 188)},
        {"mpeg_ts_timestamp", stream(0, std::string("\0\0\0\1", 4), 188)},
        {"mpeg_ts_timestamp", stream(40, "abcd", 188)},
        {"mpeg_ts_other", stream(0, "", 204)},
        {"mpeg_ts_other", std::string(10000, 'x')},
        {"mpeg_ts_other", ""},
        {"mpeg_ts_other", "GGGG"},
    };
    const MediaFiles files;
    for (const auto& [name, content] : kStreams) {
        files.Write("a.ts", content);
        EXPECT_EQ(TransportStreamName(files.Path("a.ts")), name) << content.size();
    }
    // Time stamps that a recorder left empty, around a real stream.
    files.Make(
        Split("-f lavfi -i testsrc2=s=1280x720:r=50 -f lavfi -i sine=r=48000 -t 1 -c:v libx264 -preset ultrafast "
              "-pix_fmt yuv420p -c:a ac3 -b:a 384k @/plain.ts",
              ' '));
    const std::string plain = ReadWholeFile(files.Path("plain.ts"), 64 << 20).value();
    std::string stamped;
    for (std::size_t at = 0; at < plain.size(); at += 188) stamped += zero + plain.substr(at, 188);
    files.Write("dlna.ts", stamped);
    std::string reason;
    const auto record = ReadFacts(files.Path("dlna.ts"), reason);
    ASSERT_TRUE(record) << reason;
    EXPECT_EQ(record->container_type, "mpeg_ts_dlna");
    const ProfileEntry* profile = DetectVideoProfile(*record);
    EXPECT_EQ(profile ? profile->name : "none", "AVC_TS_MP_HD_AC3");
}

TEST(VideoReader, SubtitlesAreText) {
    const MediaFiles files;
    const std::string text = "1\r\n00:00:01,000 --> 00:00:02,000\r\nHällo\r\n";
    const std::pair<const char*, std::string> kTexts[] = {
        {"a.srt", text}, {"A.SMI", text}, {"wide.srt", std::string("\xFF\xFE\x31\0\r\0\n\0", 8)}};
    for (const auto& [name, content] : kTexts) {
        SCOPED_TRACE(name);
        files.Write(name, content);
        std::string reason;
        const auto record = ReadFacts(files.Path(name), reason);
        ASSERT_TRUE(record) << reason;
        EXPECT_EQ(record->video_codec, "text");
        EXPECT_EQ(record->title, "name of the file");
    }
    files.Write("binary.srt", std::string(100, '\0'));
    std::string reason;
    EXPECT_FALSE(ReadFacts(files.Path("binary.srt"), reason));
    EXPECT_EQ(reason, "no text in it");
}

TEST(VideoReader, FilesWithoutVideoGiveAReason) {
    const MediaFiles files;
    files.Make({"-f", "lavfi", "-i", "sine=d=1", "-c:a", "aac", "@/sound.mp4", "-c:a", "mp2", "@/sound.ts"});
    const std::string sound = ReadWholeFile(files.Path("sound.mp4"), 1 << 20).value();
    files.Write("cut.mp4", sound.substr(0, sound.size() / 3));
    files.Write("garbage.ts", std::string(300000, 'G'));
    files.Write("header.mkv", "\x1A\x45\xDF\xA3\x93\x42\x82\x88matroska");
    files.Write("list.avi", "#EXTM3U\n#EXTINF:1,\n/etc/passwd\n");
    for (const char* name : {"sound.mp4", "sound.ts", "cut.mp4", "garbage.ts", "header.mkv", "list.avi"}) {
        SCOPED_TRACE(name);
        std::string reason;
        EXPECT_FALSE(ReadFacts(files.Path(name), reason));
        EXPECT_NE(reason, "");
    }
}

}  // namespace
}  // namespace MediaServer
