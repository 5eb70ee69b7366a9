#include <filesystem>

#include <gtest/gtest.h>

#include "indexer/MediaFiles.h"
#include "indexer/MediaReader.h"
#include "indexer/MediaTypes.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

class MusicReader : public ReaderTest {};
class MediaReader : public ReaderTest {};

struct FormatCase {
    const char *file, *options, *container, *codec;
    std::uint32_t lowest_bitrate, highest_bitrate;
    enum { kNone, kTitle, kAll } tags;  ///< how much of the tags that ffmpeg writes the reader finds
};
const FormatCase kFormats[] = {
    {"a.mp3", "-b:a 128k", "mp3", "mp3", 128000, 128000, FormatCase::kAll},
    {"a.flac", "", "flac", "flac", 50000, 1000000, FormatCase::kAll},
    {"a.m4a", "-c:a aac -b:a 96k", "mp4", "aac", 30000, 110000, FormatCase::kAll},
    {"lossless.m4a", "-c:a alac", "mp4", "alac", 50000, 1500000, FormatCase::kAll},
    {"a.ogg", "-c:a libvorbis", "ogg", "vorbis", 20000, 300000, FormatCase::kAll},
    {"a.opus", "-c:a libopus", "ogg", "opus", 20000, 300000, FormatCase::kAll},
    {"a.wav", "", "wav", "pcm_s16le", 1411000, 1412000, FormatCase::kTitle},
    {"deep.wav", "-c:a pcm_s24le", "wav", "pcm_s24le", 2116000, 2117000, FormatCase::kTitle},
    {"a.aiff", "-write_id3v2 1", "aiff", "pcm_s16be", 1411000, 1412000, FormatCase::kAll},
    {"a.wma", "-c:a wmav2 -b:a 128k -metadata WM/Year=1999", "asf", "wmav2", 120000, 136000, FormatCase::kAll},
    {"a.wv", "-c:a wavpack", "wv", "wavpack", 50000, 1500000, FormatCase::kAll},
    {"a.tta", "", "tta", "tta", 50000, 1500000, FormatCase::kNone},
    {"a.caf", "-c:a pcm_s16be", "caf", "pcm_s16be", 1411000, 1412000, FormatCase::kNone},
    {"a.mka", "-c:a ac3 -b:a 192k", "matroska,webm", "ac3", 192000, 192000, FormatCase::kTitle},
};

TEST_F(MusicReader, EveryFormat) {
    std::vector<std::string> arguments = {"-f", "lavfi", "-i", "sine=d=2:r=44100,aformat=channel_layouts=stereo"};
    for (const FormatCase& format : kFormats) {
        for (const std::string& option : Split(format.options, ' ')) {
            if (!option.empty()) arguments.push_back(option);
        }
        for (const char* tag :
             {"title=Ünïcode & <Title>", "artist=The Artist", "album=The Album", "genre=Jazz", "album_artist=Various",
              "composer=J. S. Bach", "track=3/12", "disc=2/3", "date=1999-05-06"}) {
            arguments.insert(arguments.end(), {"-metadata", tag});
        }
        arguments.push_back(std::string("@/") + format.file);
    }
    files.Make(arguments);
    for (const FormatCase& format : kFormats) {
        SCOPED_TRACE(format.file);
        const NIMB_MEDIA_INFO record = Read(format.file);
        EXPECT_EQ(record.container_type, format.container);
        EXPECT_EQ(record.audio_codec, format.codec);
        EXPECT_GE(record.audio_bitrate, format.lowest_bitrate);
        EXPECT_LE(record.audio_bitrate, format.highest_bitrate);
        EXPECT_NEAR(record.duration, 2.0, 0.1);
        EXPECT_EQ(record.frequency, format.codec == std::string("opus") ? 48000 : 44100);
        EXPECT_EQ(record.channel, 2);
        EXPECT_EQ(record.embedded_art, 0);
        if (format.tags == FormatCase::kNone) continue;
        EXPECT_EQ(record.title, "Ünïcode & <Title>");
        if (format.tags == FormatCase::kTitle) continue;
        EXPECT_EQ(record.artist, "The Artist");
        EXPECT_EQ(record.album, "The Album");
        EXPECT_EQ(record.album_artist, "Various");
        EXPECT_EQ(record.genre, "Jazz");
        EXPECT_EQ(record.composer, "J. S. Bach");
        EXPECT_EQ(record.track, 3);
        EXPECT_EQ(record.disc, 2);
        EXPECT_EQ(record.year, 1999);
    }
}

TEST_F(MusicReader, EmbeddedArt) {
    files.Make({"-f", "lavfi", "-i", "testsrc=s=64x64", "-frames:v", "1", "@/cover.jpg"});
    for (const char* name : {"a.mp3", "a.flac", "a.m4a"}) {
        SCOPED_TRACE(name);
        files.Make({"-f", "lavfi", "-i", "sine=d=1", "-i", "@/cover.jpg", "-map", "0", "-map", "1", "-c:v", "copy",
                    "-disposition:v", "attached_pic", std::string("@/") + name});
        const NIMB_MEDIA_INFO record = Read(name);
        EXPECT_NE(record.embedded_art, 0);
        EXPECT_EQ(record.title, "name of the file") << "a file without tags is called what it is called";
    }
}

/// The tag reader does not know this format, the demuxer does.
TEST_F(MusicReader, DirectStreamDigital) {
    const auto number = [](std::uint64_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i) text.push_back(static_cast<char>(value >> (8 * i)));
        return text;
    };
    constexpr std::uint32_t kRate = 2822400, kBlock = 4096, kBlocks = 87;
    const std::string data(std::size_t{2} * kBlock * kBlocks, '\x69');
    files.Write("a.dsf", "DSD " + number(28, 8) + number(92 + data.size(), 8) + number(0, 8) + "fmt " + number(52, 8) +
                             number(1, 4) + number(0, 4) + number(2, 4) + number(2, 4) + number(kRate, 4) +
                             number(1, 4) + number(std::uint64_t{kBlock} * kBlocks * 8, 8) + number(kBlock, 4) +
                             number(0, 4) + "data" + number(12 + data.size(), 8) + data);
    const NIMB_MEDIA_INFO record = Read("a.dsf");
    EXPECT_EQ(record.container_type, "dsf");
    EXPECT_EQ(record.channel, 2);
    EXPECT_NEAR(record.duration, 1.0, 0.1);
}

TEST_F(MediaReader, BrokenFilesGiveAReason) {
    files.AddSong("song.mp3");
    std::string garbage(20000, '\0');
    for (std::size_t i = 0; i < garbage.size(); ++i) garbage[i] = static_cast<char>(i * i * 31 + i / 7);
    ExpectUnreadable({
        {"empty.mp3", ""},
        {"one.flac", "f"},
        {"text.mp3", "this is no music at all\n"},
        {"zeros.ogg", std::string(5000, '\0')},
        {"garbage.m4a", garbage},
        {"garbage.wma", garbage},
        {"cut.wav", "RIFF\xff\xff\xff\xffWAVEfmt "},
        {"playlist.mp3", "#EXTM3U\n#EXTINF:1,\n/etc/passwd\n"},
        {"list.mkv", "ffconcat version 1.0\nfile 'song.mp3'\n"},
    });
}

TEST_F(MediaReader, TextsAreMadeFitForTheDatabase) {
    struct TextCase {
        const char* why;
        std::string text, clean;
    };
    const TextCase kCases[] = {
        {"blanks at the ends", "  a b \t", "a b"},
        {"control characters", "a\nb\x01z", "a b z"},
        {"a NUL inside", std::string("a\0b", 3), "a b"},
        {"broken UTF-8", "a\xff\xc3z", "az"},
        {"a surrogate", "a\xed\xa0\x80z", "az"},
        {"cut between characters", std::string(399, 'a') + "ä", std::string(399, 'a')},
    };
    for (const TextCase& c : kCases) EXPECT_EQ(CleanText(c.text), c.clean) << c.why;
    EXPECT_EQ(LeadingNumber("3/12", 4), 3);
    EXPECT_EQ(LeadingNumber("-3", 4), 0);
    EXPECT_EQ(LeadingNumber("A3", 4), 0);
    EXPECT_EQ(LeadingNumber("20240101", 4), 2024);
}

}  // namespace
}  // namespace MediaServer
