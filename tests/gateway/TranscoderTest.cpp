#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "gateway/GatewayTest.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;

/// Processes that this one started and that are not collected, dead ones too.
int Children() {
    const std::string command = "pgrep -c -x ffmpeg -P " + std::to_string(getpid());
    FILE* list = popen(command.c_str(), "r");
    int count = -1;
    EXPECT_EQ(std::fscanf(list, "%d", &count), 1);
    pclose(list);
    return count;
}

bool NoneWithin(std::chrono::milliseconds limit) {
    for (const auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
        if (Children() == 0) return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

class TranscoderTest : public GatewayTest {
protected:
    TranscoderTest() { mime.AddPairs("wav audio/wav l16 audio/L16;rate=44100;channels=2"); }

    std::string AddSong(const std::string& path, const char* duration, int channels, int frequency) {
        return std::to_string(database.Insert(
            "music", "path, duration, channel, frequency",
            "'" + path + "', " + duration + ", " + std::to_string(channels) + ", " + std::to_string(frequency)));
    }
    static std::string Url(const std::string& id, const char* query) {
        return "/transcoder/genericoder.cgi/id=" + id + ".wav?" + query;
    }
    /// Stereo noise, so that no two places are alike.
    std::string Noise(const char* name, int frequency, const char* seconds, const char* options = "") {
        return Make("-f lavfi -i anoisesrc=r=" + std::to_string(frequency) + ":seed=1:d=" + seconds +
                        ",aformat=sample_fmts=s16 -ac 2 " + options,
                    name);
    }
};

struct SizeCase {
    const char* query;
    std::size_t bytes;  ///< of a stereo song of 48 kHz that is recorded as 5.25 seconds long
    const char* mime;
};
constexpr SizeCase kSizes[] = {
    {"format=WAV&downsample=false", 6U * 2 * 48000 * 2 + 44, "audio/wav"},
    {"format=PCM&downsample=false", 6U * 2 * 48000 * 2, "audio/L16;rate=44100;channels=2"},
    {"format=WAV&downsample=true", 5U * 176400 + 44, "audio/wav"},
    {"format=PCM&downsample=true", 5U * 176400, "audio/L16;rate=44100;channels=2"},
};

/// The AAC is without the noise that its decoder makes up: that is another each time.
TEST_F(TranscoderTest, TheAnnouncedSizeIsKeptAndRangesArePartsOfTheWhole) {
    const std::string ids[] = {
        AddSong(Noise("a.flac", 48000, "5.25"), "5.25", 2, 48000),
        AddSong(Noise("a.m4a", 48000, "5.25", "-c:a aac -b:a 160k -aac_pns 0"), "5.25", 2, 48000),
        AddSong(Noise("long.ogg", 48000, "9", "-c:a libvorbis"), "5.25", 2, 48000),
        AddSong(Noise("short.aiff", 48000, "3"), "5.25", 2, 48000),
    };
    for (const std::string& id : ids) {
        for (const SizeCase& c : kSizes) {
            SCOPED_TRACE(id + " " + c.query);
            const std::string url = Url(id, c.query);
            const Answer whole = Ask(url);
            EXPECT_EQ(whole.status, 200);
            EXPECT_EQ(whole.Header("Content-Type"), c.mime);
            ASSERT_EQ(whole.body.size(), c.bytes);
            EXPECT_EQ(Ask(url, {}, "HEAD").Header("Content-Length"), std::to_string(c.bytes));
            const std::size_t kFirsts[] = {43, 500003, c.bytes - 1};
            for (const std::size_t first : kFirsts) {
                const std::size_t last = std::min(first + 70000, c.bytes - 1);
                const std::string range = std::to_string(first) + "-" + std::to_string(last);
                const Answer part = Ask(url, "Range: bytes=" + range + "\r\n");
                EXPECT_EQ(part.status, 206);
                EXPECT_EQ(part.Header("Content-Range"), "bytes " + range + "/" + std::to_string(c.bytes));
                EXPECT_TRUE(part.body == whole.body.substr(first, last - first + 1)) << range;
            }
        }
    }
    EXPECT_EQ(Ask(Url(ids[0], kSizes[0].query), "Range: bytes=999999999-\r\n").status, 416);
    EXPECT_EQ(Children(), 0);
}

TEST_F(TranscoderTest, SamplesAreThoseOfTheSong) {
    const std::string song = Noise("a.flac", 44100, "3");
    const std::string id = AddSong(song, "3", 2, 44100);
    Make("-i " + song + " -f s16le", "little.raw");
    Make("-i " + song + " -f s16be", "big.raw");
    const std::string wav = Ask(Url(id, "format=WAV&downsample=false")).body;
    const std::string bare = Ask(Url(id, "format=PCM&downsample=true")).body;
    const std::string little = ReadWholeFile(media / "little.raw", 1 << 24).value();
    ASSERT_GT(wav.size(), little.size() + 44);
    EXPECT_TRUE(wav.substr(44, little.size()) == little);
    EXPECT_EQ(wav.find_first_not_of('\0', 44 + little.size()), std::string::npos) << "what the song lacks is silence";
    EXPECT_TRUE(bare == ReadWholeFile(media / "big.raw", 1 << 24).value());
    // The header, by a program that reads such files.
    std::ofstream(media / "made.wav", std::ios::binary) << wav;
    Make("-i made.wav -f s16le", "again.raw");
    EXPECT_EQ(ReadWholeFile(media / "again.raw", 1 << 24).value().size(), wav.size() - 44);
}

TEST_F(TranscoderTest, AClientThatHangsUpTakesItsProgramAlong) {
    const std::string id = AddSong(Noise("a.flac", 48000, "60"), "60", 2, 48000);
    {
        RawClient client(Port());
        client.Send("GET " + Url(id, "format=WAV&downsample=false") + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        for (int i = 0; i < 250 && Children() == 0; ++i) std::this_thread::sleep_for(20ms);
        ASSERT_EQ(Children(), 1) << "stands still while nobody reads";
    }
    EXPECT_TRUE(NoneWithin(5s));
}

TEST_F(TranscoderTest, FilmsBecomeTransportStreams) {
    for (const char* codec : {"-c:v libx264 -preset ultrafast -pix_fmt yuv420p", "-c:v mpeg4"}) {
        SCOPED_TRACE(codec);
        const bool copied = std::string_view(codec).find("264") != std::string_view::npos;
        const std::string film =
            Make(std::string("-f lavfi -i testsrc2=s=320x240:d=2 -f lavfi -i sine=d=2:r=48000 ") + codec + " -c:a ac3",
                 copied ? "a.mkv" : "b.mkv");
        const std::string id = std::to_string(database.Insert(
            "video", "path, video_codec, audio_codec", "'" + film + "', '" + (copied ? "h264" : "mpeg4") + "', 'ac3'"));
        const Answer answer =
            Ask("/transcoder/genericoder.cgi/id=" + id + ".m2ts?format=m2ts&type=" + (copied ? "video" : "Reelhouse"));
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(answer.Header("Content-Type"), "video/mpeg");
        std::ofstream(media / "made.ts", std::ios::binary) << answer.body;
        Make("-f mpegts -i made.ts -map 0:v:0 -map 0:a:0 -c copy", copied ? "h.ts" : "m.ts");
    }
    EXPECT_EQ(Children(), 0);
}

class RadioTest : public TranscoderTest {
protected:
    RadioTest() : station_(OnLoopback(), [this](const HttpRequest& request) { return Play(request.path); }) {
        EXPECT_EQ(station_.Start(), 0);
        // Accepts and says nothing, ever.
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(silent_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(silent_.get(), 64), 0);
        EXPECT_EQ(getsockname(silent_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        silent_port_ = ntohs(address.sin_port);
        std::string list;
        for (const std::string& url : {At("/music"), At("/away"), Silent()}) list += url + "\n";
        sysroot_.Write("var/packages/MediaServer/etc/radio/Jazz.m3u", list);
        sound_ = ReadWholeFile(Noise("sound.mp3", 48000, "5", "-b:a 128k"), 1 << 24).value();
        song_ = Noise("a.flac", 44100, "3");
    }
    std::string At(const char* path) const { return "http://127.0.0.1:" + std::to_string(station_.Port()) + path; }
    std::string Silent() const { return "http://127.0.0.1:" + std::to_string(silent_port_) + "/"; }
    static std::string UrlOf(const std::string& station, const char* format = "") {
        return "/transcoder/genericoder.cgi/id=radio.wav?radio=" + URLEncode(station) + format;
    }

    std::string song_;

private:
    HttpResponse Play(const std::string& path) const {
        HttpResponse answer;
        answer.body = sound_;
        if (path == "/away") {
            answer.status = 302;
            answer.headers = {{"Location", "file://" + song_}};
        }
        return answer;
    }

    TempSysroot sysroot_;
    std::string sound_;
    HttpServer station_;
    UniqueFd silent_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::uint16_t silent_port_ = 0;
};

TEST_F(RadioTest, AStationIsHeardAsSamples) {
    const std::string wav = UrlOf(At("/music")), bare = UrlOf(At("/music"), "&format=PCM");
    Make("-i sound.mp3 -ac 2 -ar 44100 -f s16le", "little.raw");
    Make("-i sound.mp3 -ac 2 -ar 44100 -f s16be", "big.raw");
    const Answer first = Ask(wav, "Range: bytes=0-700043\r\n");
    EXPECT_EQ(first.status, 206);
    EXPECT_EQ(first.Header("Content-Range"), "bytes 0-700043/5286708000");
    EXPECT_EQ(first.Header("Content-Type"), "audio/wav");
    EXPECT_EQ(first.body.substr(0, 4), "RIFF");
    EXPECT_TRUE(first.body.substr(44) == ReadWholeFile(media / "little.raw", 1 << 24).value().substr(0, 700000));
    const Answer later = Ask(bare, "Range: bytes=4000000001-4000700000\r\n");
    EXPECT_EQ(later.Header("Content-Type"), "audio/L16;rate=44100;channels=2");
    EXPECT_TRUE(later.body == ReadWholeFile(media / "big.raw", 1 << 24).value().substr(1, 700000))
        << "what is played now, with whole samples where the player counts them";
    EXPECT_EQ(Ask(wav, {}, "HEAD").Header("Content-Length"), "5286708000");
    EXPECT_LT(Ask(wav).body.size(), 1200000U) << "the end of the station is no silence";
    EXPECT_TRUE(NoneWithin(5s));
}

TEST_F(RadioTest, OnlyStationsOfTheListAndOnlyTheWeb) {
    for (const std::string& url :
         {UrlOf(At("/other")), UrlOf("file://" + song_), UrlOf(""), UrlOf(At("/music"), "&format=MP3"),
          UrlOf(At("/music").substr(0, 20)), std::string("/transcoder/genericoder.cgi/id=radio.wav?radio=%zz"),
          std::string("/transcoder/genericoder.cgi/id=radio.wav"),
          std::string("/transcoder/genericoder.cgi/id=radio.mp3")})
        EXPECT_EQ(Ask(url).status, 404) << url;
    EXPECT_LE(Ask(UrlOf(At("/away"))).body.size(), 44U) << "a station that redirects to a file of this machine";
}

TEST_F(RadioTest, AStationThatDoesNotAnswerCostsNobodyElseAnything) {
    const std::string id = AddSong(song_, "3", 2, 44100);
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::uint32_t i = 0; i < Gateway::kStationsAtOnce; ++i) {
        clients.push_back(std::make_unique<RawClient>(Port()));
        EXPECT_EQ(clients.back()->Begin(UrlOf(Silent())), 200);
    }
    EXPECT_EQ(Ask(UrlOf(At("/music"))).status, 503);
    EXPECT_EQ(Ask("/m/NDLNA/" + id + ".flac").status, 200);
    EXPECT_EQ(Ask(Url(id, "format=WAV&downsample=false")).status, 200);
    for (const auto& client : clients) EXPECT_TRUE(client->ClosedWithin(15s)) << "given up";
    EXPECT_EQ(Ask(UrlOf(At("/music")), "Range: bytes=0-9\r\n").status, 206) << "the places are free again";
    EXPECT_TRUE(NoneWithin(5s));
}

TEST_F(TranscoderTest, WhatIsNotThereOrNoSong) {
    media.Write("text.flac", "#EXTM3U\n#EXTINF:1,\n/etc/passwd\n");
    const std::string broken = AddSong(media / "text.flac", "3", 2, 44100);
    const std::string absurd = AddSong(media / "other.flac", "3", 2000000, 44100);
    const std::string kAbsent[] = {
        Url("9999", "format=WAV&downsample=false"),
        Url(broken, "format=MP3"),
        Url(broken, "xformat=WAV"),
        Url(broken, ""),
        Url(absurd, "format=WAV&downsample=false"),
        Url("1;reboot", "format=WAV"),
        "/transcoder/genericoder.cgi/id=1.m2ts?format=WAV",
        "/transcoder/genericoder.cgi/",
    };
    for (const std::string& url : kAbsent) EXPECT_EQ(Ask(url).status, 404) << url;
    EXPECT_LE(Ask(Url(broken, "format=WAV&downsample=true")).body.size(), 44U)
        << "no silence in place of a song that cannot be read";
    EXPECT_TRUE(NoneWithin(5s));
}

}  // namespace
}  // namespace MediaServer
