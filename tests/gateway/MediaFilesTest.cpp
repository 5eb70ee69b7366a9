#include <algorithm>
#include <filesystem>

#include "gateway/GatewayTest.h"
#include "support/LogCapture.h"

namespace MediaServer {
namespace {

#define STREAMING "DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000"
#define PICTURE "DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00f00000000000000000000000000000"

struct FileCase {
    const char *why, *path;
    int status;
    const char *type, *features;  // of 200
};
constexpr FileCase kCases[] = {
    {"the profile segment is what was announced", "/m/MP3/1.mp3", 200, "audio/mpeg", "DLNA.ORG_PN=MP3;" STREAMING},
    {"a URL without the segment", "/m/1.mp3", 200, "audio/mpeg", STREAMING},
    {"a segment that is no name gets into no header", "/m/A%0d%0aX-Evil:%201/1.mp3", 200, "audio/mpeg", STREAMING},
    {"another extension", "/m/MP3/1.flac", 404, "", ""},
    {"a row of another table", "/m/MP3/3.mp3", 404, "", ""},
    {"no such row", "/m/MP3/99.mp3", 404, "", ""},
    {"the id ends at the first other character", "/m/MP3/1%27--.mp3", 200, "audio/mpeg", "DLNA.ORG_PN=MP3;" STREAMING},
    {"a vanished file", "/m/MP3/2.mp3", 404, "", ""},
    {"a picture", "/p/JPEG_SM/1.jpg", 200, "image/jpeg", "DLNA.ORG_PN=JPEG_SM;" PICTURE},
    {"the indexed thumbnail", "/sp/JPEG_TN/1.jpg", 200, "image/jpeg",
     "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;DLNA.ORG_FLAGS=00f00000000000000000000000000000"},
    {"of a raw photo the rendition is the photo", "/bp/JPEG_SM/3.jpg", 200, "image/jpeg",
     "DLNA.ORG_PN=JPEG_SM;" PICTURE},
    {"time-stamped packets have their own type", "/v/MPEG_TS_HD_NA_T/1.m2ts", 200, "video/vnd.dlna.mpeg-tts",
     "DLNA.ORG_PN=MPEG_TS_HD_NA_T;" STREAMING},
    {"but not as AVC", "/v/AVC_TS_MP_HD_AC3_T/1.m2ts", 200, "video/mpeg", "DLNA.ORG_PN=AVC_TS_MP_HD_AC3_T;" STREAMING},
    {"the subtitle beside a video", "/v/NDLNA/2.srt", 200, "text/srt", ""},
    {"no subtitle beside it: empty ones", "/v/NDLNA/1.srt", 200, "text/srt", ""},
    {"a text item is its own file", "/v/NDLNA/3.srt", 200, "text/srt", ""},
    {"whatever its type is called", "/v/NDLNA/4.smi", 200, "application/smil", ""},
    {"an entry of the video library", "/rh/MPEG_TS_HD_NA_T/1.m2ts", 200, "video/vnd.dlna.mpeg-tts",
     "DLNA.ORG_PN=MPEG_TS_HD_NA_T;" STREAMING},
    {"its subtitle", "/rh/NDLNA/2.srt", 200, "text/srt", ""},
    {"its subtitle, listed for itself", "/rh/NDLNA/s_2.srt", 200, "text/srt", ""},
    {"no subtitle beside the entry: empty ones", "/rh/NDLNA/1.srt", 200, "text/srt", ""},
    {"the transcoder", "/transcoder/genericoder.cgi/id=1.wav?format=WAV", 404, "", ""},
    {"nothing at all", "/", 404, "", ""},
};

class MediaFilesTest : public GatewayTest {
protected:
    MediaFilesTest() {
        song = Make("-f lavfi -i sine=duration=2 -c:a libmp3lame -b:a 128k", "song.mp3");
        Add("music", song);
        Add("music", media / "vanished.mp3");
        Add("photo", media.Write("a.jpg", "jpeg"));
        media.Write("@eaDir/a.jpg/NIMBPHOTO_THUMB_S.jpg", "small");
        Add("photo", media.Write("a.gif", "gif"));
        Add("photo", media.Write("a.nef", "raw"));
        media.Write("@eaDir/a.nef/NIMBPHOTO_THUMB_B.jpg", "big");
        Add("video", media.Write("b.m2ts", "packets"));
        Add("video", media.Write("film.mkv", "frames"));
        Add("video", media.Write("film.srt", "1\n"));
        Add("video", media.Write("film.smi", "<SAMI>"));
        media.Write("film.srt", "words");
    }
    std::string song;
};

TEST_F(MediaFilesTest, EveryUrlAnswersAsAnnounced) {
    for (const FileCase& c : kCases) {
        SCOPED_TRACE(c.why);
        const Answer answer = Ask(c.path, "getcontentFeatures.dlna.org: 1\r\n");
        EXPECT_EQ(answer.status, c.status);
        EXPECT_EQ(answer.Header("X-Evil"), "");
        if (c.status != 200) continue;
        EXPECT_EQ(answer.Header("Content-Type"), c.type);
        EXPECT_EQ(answer.Header("contentFeatures.dlna.org"), c.features);
    }
    for (const char* path : {"/v/NDLNA/2.srt", "/rh/NDLNA/s_2.srt"}) EXPECT_EQ(Ask(path).body, "words");
    EXPECT_EQ(Ask("/sp/JPEG_TN/1.jpg").body, "small");
}

TEST_F(MediaFilesTest, OptionsMayBeReadAgain) {
    media.Write("@eaDir/a.jpg/NIMBPHOTO_THUMB_B.jpg", "big");
    for (const bool are_converted : {false, true, false}) {
        media.Write("dmsinfo.conf", std::string("sendthumb_mediaservice=") + (are_converted ? "yes" : "no") + "\n");
        settings.Read(0, nullptr);
        const std::string features =
            Ask("/bp/JPEG_SM/1.jpg", "getcontentFeatures.dlna.org: 1\r\n").Header("contentFeatures.dlna.org");
        EXPECT_EQ(features.find("DLNA.ORG_CI=1") == std::string::npos, are_converted) << features;
    }
}

// The resolution is announced before the picture is made.
TEST_F(MediaFilesTest, RenditionsHaveTheAnnouncedSize) {
    struct {
        const char* prefix;
        int max_side;
    } const kRenditions[] = {{"sp", 120}, {"bp", 640}, {"xlp", 1280}};
    const std::string id = Add("photo", Make(Picture("1000x2000"), "tall.png"));
    for (const auto& row : kRenditions) {
        SCOPED_TRACE(row.prefix);
        const Answer answer = Ask(std::string("/") + row.prefix + "/JPEG_SM/" + id + ".jpg");
        EXPECT_EQ(answer.status, 200);
        EXPECT_EQ(FactsOf(answer.body).width, row.max_side / 2);
    }
    EXPECT_EQ(Ask("/sp/JPEG_TN/2.jpg").status, 404) << "no picture at all";
    EXPECT_EQ(Ask("/sp/JPEG_TN/4.png").status, 404) << "renditions are JPEG";
}

TEST_F(MediaFilesTest, AnIndexedThumbnailCountsWhileItIsOfThePhoto) {
    const std::string id = Add("photo", Make(Picture("1600x800"), "photo.jpg"));
    media.Write("@eaDir/photo.jpg/NIMBPHOTO_THUMB_B.jpg", "big");
    EXPECT_EQ(Ask("/bp/JPEG_SM/" + id + ".jpg").body, "big");
    EXPECT_EQ(FactsOf(Ask("/xlp/JPEG_SM/" + id + ".jpg").body).width, 1280) << "nobody made that one";
    std::filesystem::last_write_time(media / "photo.jpg",
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    EXPECT_EQ(FactsOf(Ask("/bp/JPEG_SM/" + id + ".jpg").body).width, 640) << "the photo was changed since";
    std::filesystem::resize_file(media / "@eaDir/photo.jpg/NIMBPHOTO_THUMB_B.jpg", 0);
    std::filesystem::last_write_time(media / "photo.jpg", std::filesystem::file_time_type());
    EXPECT_EQ(FactsOf(Ask("/bp/JPEG_SM/" + id + ".jpg").body).width, 640) << "a crash left it empty";
}

TEST_F(MediaFilesTest, CaptionsAreNamedWhenAskedForAndThere) {
    constexpr const char* kAsk = "getCaptionInfo.sec: 1\r\n";
    EXPECT_EQ(Ask("/v/NDLNA/2.mkv", kAsk).Header("CaptionInfo.sec"), "http://127.0.0.1:50002/v/NDLNA/2.srt");
    EXPECT_EQ(Ask("/rh/NDLNA/2.mkv", kAsk).Header("CaptionInfo.sec"), "http://127.0.0.1:50002/rh/NDLNA/2.srt");
    EXPECT_EQ(Ask("/v/NDLNA/2.mkv").Header("CaptionInfo.sec"), "");
    EXPECT_EQ(Ask("/v/NDLNA/1.m2ts", kAsk).Header("CaptionInfo.sec"), "");
}

// The announced length cannot be kept: the client must not wait for it, nor take what follows for the rest.
TEST_F(MediaFilesTest, TruncatedWhileSendingEndsTheConnection) {
    const std::string path = media.Write("long.mp3", "");
    std::filesystem::resize_file(path, 256U << 20);
    const std::string id = Add("music", path);
    RawClient client(Port());
    ASSERT_EQ(client.Begin("/m/MP3/" + id + ".mp3"), 200);
    std::filesystem::resize_file(path, 1000);
    EXPECT_TRUE(client.ClosedWithin(RawClient::kPatience));
    EXPECT_LT(client.Pending().size(), 256U << 20);
    EXPECT_EQ(Ask("/m/MP3/1.mp3").status, 200);
}

TEST_F(MediaFilesTest, DatabaseAwayIs503AndItsReturnIsNoticed) {
    database.Stop();
    EXPECT_EQ(Ask("/m/MP3/1.mp3").status, 503);
    EXPECT_EQ(Ask("/transcoder/jpegtnscaler.cgi/ebdart/1.jpg").status, 503);
    database.Start();
    EXPECT_EQ(Ask("/m/MP3/1.mp3").status, 200);
}

TEST_F(MediaFilesTest, AStrangerCannotFillTheLog) {
    LogCapture log;
    for (int i = 0; i < 50; ++i) EXPECT_EQ(Ask("/m/MP3/" + std::to_string(1000 + i) + ".mp3").status, 404);
    const std::string text = log.Text();
    EXPECT_NE(text.find("127.0.0.1 with status 404"), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
}

}  // namespace
}  // namespace MediaServer
