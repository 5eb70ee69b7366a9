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
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

class VideoReader : public ReaderTest {};

constexpr char kX264[] = "-c:v libx264 -preset ultrafast -pix_fmt yuv420p ";
constexpr char kMpeg2[] = "-c:v mpeg2video -b:v 2M ";
constexpr char kStereo[] = "-ar 48000 -ac 2 ";

struct VideoCase {
    const char *file, *size, *rate, *video;
    std::string audio;
    const char *container, *video_codec, *audio_codec, *frame_rate;
    const char* profile;  ///< null: none fits
};
// The kinds of which the end-to-end tests know only what is announced, or nothing.
const VideoCase kVideos[] = {
    {"hd-ac3.m2ts", "1280x720", "24000/1001", kX264, "-c:a ac3 -b:a 384k -mpegts_m2ts_mode 1", "mpeg_ts_timestamp",
     "h264", "ac3", "24000/1001", "AVC_TS_MP_HD_AC3_T"},
    {"pal-pcm.mpg", "720x576", "25", kMpeg2, "-c:a pcm_dvd -v fatal -f vob", "mpeg_ps", "mpeg2video", "pcm_s16be",
     "25/1", "MPEG_PS_PAL"},
    {"ltp.ts", "1280x720", "50", kX264, "-c:a aac -profile:a aac_ltp -strict -2 -mpegts_flags latm", "mpeg_ts", "h264",
     "aac_ltp", "50/1", nullptr},
    {"vcd.mpg", "352x288", "25", "-c:v mpeg1video -b:v 1150k -minrate 1150k -maxrate 1150k -bufsize 327680 ",
     "-c:a mp2 -b:a 224k -ar 44100 -f vcd", "mpeg_ps", "mpeg1video", "mp2", "25/1", "MPEG_PS_PAL"},
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
TEST_F(VideoReader, RecordAndProfileOfEveryKind) {
    for (const VideoCase& c : kVideos) {
        SCOPED_TRACE(c.file);
        std::vector<std::string> command = Split(std::string("-f lavfi -i testsrc2=s=") + c.size + ":r=" + c.rate +
                                                     " -f lavfi -i sine -t 1 " + kStereo + c.video + c.audio,
                                                 ' ');
        std::erase(command, "");
        command.insert(command.end(), {"-metadata", "title=Film", std::string("@/") + c.file});
        files.Make(command);
        const NIMB_MEDIA_INFO record = Read(c.file);
        EXPECT_EQ(record.container_type, c.container);
        EXPECT_EQ(record.video_codec, c.video_codec);
        EXPECT_EQ(record.audio_codec, c.audio_codec);
        EXPECT_EQ(std::to_string(record.resolutionx) + "x" + std::to_string(record.resolutiony), c.size);
        EXPECT_EQ(std::to_string(record.frame_rate_num) + "/" + std::to_string(record.frame_rate_den), c.frame_rate);
        EXPECT_NEAR(record.duration, 1, 0.2);
        EXPECT_EQ(record.channel, 2);
        const double bits = static_cast<double>(record.filesize) * 8 / record.duration;
        EXPECT_NEAR(record.frame_bitrate, bits, bits / 10);
        const ProfileEntry* profile = DetectVideoProfile(record);
        EXPECT_EQ(profile ? profile->name : "none", c.profile ? c.profile : "none")
            << record.video_bitrate << " " << record.frame_bitrate << " " << record.audio_bitrate;
    }
}

/// Phones film with speech sound, whose containers tell the rate with a byte more for each frame.
TEST_F(VideoReader, SpeechInFilmsOfPhones) {
    std::string speech = "#!AMR\n";
    for (int frame = 0; frame < 50; ++frame) speech += "\x3C" + std::string(31, '\0');  // 12.2 kbit/s
    files.Write("speech.amr", speech);
    files.Make(Split(
        "-f lavfi -i color=s=176x144:r=15 -i @/speech.amr -t 1 -c:v h263 -b:v 40k -c:a copy -brand 3gr6 @/a.3gp", ' '));
    const NIMB_MEDIA_INFO record = Read("a.3gp");
    EXPECT_EQ(record.audio_bitrate, 12200U);
    const ProfileEntry* profile = DetectVideoProfile(record);
    EXPECT_EQ(profile ? profile->name : "none", "MPEG4_H263_3GPP_P3_L10_AMR");
}

TEST_F(VideoReader, TransportStreamsByTheirPackets) {
    const auto stream = [](std::size_t before, const std::string& stamp, std::size_t packet_bytes) {
        std::string bytes(before, 'x');
        for (int packet = 0; packet < 30; ++packet) bytes += stamp + "G" + std::string(packet_bytes - 1, '\x11');
        return bytes;
    };
    const std::pair<const char*, std::string> kStreams[] = {
        {"mpeg_ts", stream(0, "", 188)},
        {"mpeg_ts", stream(100, "", 188)},
        {"mpeg_ts_dlna", stream(0, std::string(4, '\0'), 188)},
        {"mpeg_ts_timestamp", stream(0, std::string("\0\0\0\1", 4), 188)},
        {"mpeg_ts_timestamp", stream(40, "abcd", 188)},
        {"mpeg_ts_other", stream(0, "", 204)},
        {"mpeg_ts_other", std::string(10000, 'x')},
        {"mpeg_ts_other", ""},
        {"mpeg_ts_other", "GGGG"},
    };
    for (const auto& [name, content] : kStreams) {
        files.Write("a.ts", content);
        EXPECT_EQ(TransportStreamName(files.Path("a.ts")), name) << content.size();
    }
}

/// The names that agent.conf goes by are those that the reader gives.
TEST_F(VideoReader, RulesOfClientsKnowThePackets) {
    files.Make(Split("-f lavfi -i testsrc2=s=1280x720 -t 1 -c:v libx264 -preset ultrafast @/plain.ts", ' '));
    const std::string plain = ReadWholeFile(files.Path("plain.ts"), 64 << 20).value();
    DMSClientChecker::InitProfileList(DMS_SOURCE_DIR "/share/agent.conf");
    const std::pair<std::string, const char*> kStamps[] = {
        {"", "AVC_TS_HD_EU_ISO"}, {"abcd", "AVC_TS_HD_EU_T"}, {std::string(4, '\0'), "AVC_TS_HD_EU"}};
    for (const auto& [stamp, profile] : kStamps) {
        std::string stamped;
        for (std::size_t at = 0; at < plain.size(); at += 188) stamped += stamp + plain.substr(at, 188);
        files.Write("film.ts", stamped);
        EXPECT_EQ(DMSClientChecker("BRAVIA", "", true).getVideoProfileName(Read("film.ts")), profile);
    }
    DMSClientChecker::ReleaseClientList();
}

TEST_F(VideoReader, SubtitlesAreText) {
    const std::string text = "1\r\n00:00:01,000 --> 00:00:02,000\r\nHällo\r\n";
    const std::pair<const char*, std::string> kTexts[] = {
        {"a.srt", text}, {"A.SMI", text}, {"wide.srt", std::string("\xFF\xFE\x31\0\r\0\n\0", 8)}};
    for (const auto& [name, content] : kTexts) {
        SCOPED_TRACE(name);
        files.Write(name, content);
        const NIMB_MEDIA_INFO record = Read(name);
        EXPECT_EQ(record.video_codec, "text");
        EXPECT_EQ(record.title, "name of the file");
    }
}

TEST_F(VideoReader, FilesWithoutVideoGiveAReason) {
    files.Make({"-f", "lavfi", "-i", "sine=d=1", "-c:a", "aac", "@/sound.mp4", "-c:a", "mp2", "@/sound.ts"});
    const std::string sound = ReadWholeFile(files.Path("sound.mp4"), 1 << 20).value();
    ExpectUnreadable({{"cut.mp4", sound.substr(0, sound.size() / 3)},
                      {"sound.mp4", sound},
                      {"sound.ts", ReadWholeFile(files.Path("sound.ts"), 1 << 20).value()},
                      {"garbage.ts", std::string(300000, 'G')},
                      {"header.mkv", "\x1A\x45\xDF\xA3\x93\x42\x82\x88matroska"},
                      {"list.avi", "#EXTM3U\n#EXTINF:1,\n/etc/passwd\n"},
                      {"binary.srt", std::string(100, '\0')}});
}

}  // namespace
}  // namespace MediaServer
