#include <fstream>
#include <memory>
#include <vector>

#include "gateway/GatewayTest.h"
#include "support/LogCapture.h"

namespace MediaServer {
namespace {

/// What strangers and broken disks do, and what is left behind.
class FailuresTest : public GatewayTest {
protected:
    FailuresTest() { mime.AddPairs("wav audio/wav flac audio/flac"); }

    static std::size_t Descriptors() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }
    std::string AddSong(const std::string& path) {
        return std::to_string(
            database.Insert("music", "path, duration, channel, frequency", "'" + path + "', 60, 2, 48000"));
    }
    static std::string Wav(const std::string& id) {
        return "/transcoder/genericoder.cgi/id=" + id + ".wav?format=WAV&downsample=false";
    }
    static std::string Film(const std::string& id) {
        return "/transcoder/genericoder.cgi/id=" + id + ".m2ts?format=m2ts&type=video";
    }
};

TEST_F(FailuresTest, ABrokenFileCostsAStatusAndALine) {
    const std::string jpeg = ReadWholeFile(Make(Picture("1600x1200"), "whole.jpg"), 1 << 22).value();
    Make(Picture("64x48"), "small.png");
    // The size of a small PNG, changed to 60,000 a side.
    std::string bomb = ReadWholeFile(media / "small.png", 1 << 20).value();
    bomb.replace(16, 8, std::string("\0\0\xEA\x60\0\0\xEA\x60", 8));
    // A Matroska file that ends before its first stream.
    const std::string empty_film = "\x1A\x45\xDF\xA3\x93\x42\x82\x88matroska\x42\x87\x81\x02";
    struct {
        const char *why, *table, *name;
        std::string content, url;  // "#" stands for the id
        int status;
        const char* line;
    } const kCases[] = {
        {"a photo cut short: the rest is grey", "photo", "cut.jpg", jpeg.substr(0, jpeg.size() / 2),
         "/bp/JPEG_SM/#.jpg", 200, "the picture of \"%s\" is damaged: it was cut short"},
        {"a few bytes that claim gigabytes", "photo", "bomb.png", bomb, "/sp/JPEG_TN/#.jpg", 404,
         "could not scale the picture of \"%s\": "},
        {"the file itself is sent all the same", "photo", "bomb2.png", bomb, "/p/NDLNA/#.png", 200, ""},
        {"a film without streams", "video", "empty.mkv", empty_film, Film("#"), 500, "could not transcode \"%s\": "},
        {"a song that is none", "music", "text.flac", "no song", Wav("#"), 500, "could not transcode \"%s\": "},
        {"a film without a picture", "video", "empty2.mkv", empty_film, "/transcoder/jpegtnscaler.cgi/vfolderart/#.jpg",
         404, ""},
    };
    const std::size_t before = Descriptors();
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        const std::string path = media.Write(c.name, c.content);
        const bool is_song = c.table == std::string("music");
        std::string url = c.url;
        url.replace(url.find('#'), 1, is_song ? AddSong(path) : Add(c.table, path));
        LogCapture log;
        EXPECT_EQ(Ask(url).status, c.status);
        std::string line = c.line, text = log.Text();
        if (line.empty()) continue;
        line.replace(line.find("%s"), 2, path);
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
    EXPECT_LE(Descriptors(), before + kWorkers + 4) << "but for pictures that are kept";
}

TEST_F(FailuresTest, AFileThatVanishesWhileItIsSentIsSentToItsEnd) {
    const std::string path = media.Write("long.mp3", "");
    std::filesystem::resize_file(path, 64U << 20);
    RawClient client(Port());
    ASSERT_EQ(client.Begin("/m/MP3/" + Add("music", path) + ".mp3", "Connection: close\r\n"), 200);
    std::filesystem::remove(path);
    EXPECT_TRUE(client.ClosedWithin(std::chrono::seconds(30)));
    EXPECT_EQ(client.Pending().size(), 64U << 20);
}

// 200 at once, none of whom reads on: as many programs as there are places, the others told to come back, files served
// meanwhile, and nothing left when they have gone.
TEST_F(FailuresTest, ManyWhoDoNotReadCostTheOthersNothing) {
    const std::string song = AddSong(Make("-f lavfi -i anoisesrc=r=48000:d=60 -ac 2", "a.flac"));
    const std::string film =
        Add("video", Make("-f lavfi -i testsrc2=s=640x480:r=25 -t 20 -c:v mpeg4 -q:v 2", "film.mkv"));
    const std::string plain = Add("music", media.Write("plain.mp3", std::string(1 << 20, 'x')));
    EXPECT_EQ(Ask("/m/MP3/" + plain + ".mp3").status, 200);
    const std::size_t before = Descriptors();
    int served = 0, refused = 0;
    {
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 200; ++i) {
            const std::string address = "127.0.0." + std::to_string(2 + i / 50);
            clients.push_back(std::make_unique<RawClient>(Port(), address.c_str()));
            std::string head, body;
            clients.back()->Send("GET " + (i % 2 == 0 ? Wav(song) : Film(film)) +
                                 " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
            const int status = clients.back()->Receive(head, body, false);
            EXPECT_EQ(RawClient::HeaderOf("\r\n" + head, "Retry-After"), status == 503 ? "1" : "");
            (status == 200 ? served : refused) += status == 200 || status == 503 ? 1 : 0;
        }
        EXPECT_EQ(served + refused, 200);
        EXPECT_EQ(served, static_cast<int>(std::thread::hardware_concurrency() + 2));
        for (int i = 0; i < 10; ++i) EXPECT_EQ(Ask("/m/MP3/" + plain + ".mp3").body.size(), 1U << 20);
        EXPECT_EQ(Ask(Wav(song), {}, "HEAD").status, 200) << "needs no program";
    }
    // Each worker opens its connection to the database with the first request that it gets.
    const std::size_t most = before + kWorkers;
    for (int i = 0; i < 250 && Descriptors() > most; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_LE(Descriptors(), most);
    EXPECT_EQ(Ask(Wav(song), "Range: bytes=0-9\r\n").status, 206) << "the places are free again";
}

}  // namespace
}  // namespace MediaServer
