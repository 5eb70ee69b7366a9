#include <array>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include <oggfile.h>
#include <sys/stat.h>
#include <vorbisfile.h>
#include <xiphcomment.h>

#include "gateway/GatewayTest.h"

namespace MediaServer {
namespace {

constexpr const char* kScaler = "/transcoder/jpegtnscaler.cgi/";

class CoverPicturesTest : public GatewayTest {
protected:
    Answer Cover(const std::string& kind, const std::string& id, const char* extension = "jpg") {
        return Ask(kScaler + kind + "/" + id + "." + extension, "getcontentFeatures.dlna.org: 1\r\n");
    }
    void ExpectThumbnail(const Answer& answer, int width, int height) {
        ASSERT_EQ(answer.status, 200);
        EXPECT_EQ(answer.Header("Content-Type"), "image/jpeg");
        EXPECT_EQ(answer.Header("contentFeatures.dlna.org"),
                  "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_FLAGS=00f00000000000000000000000000000");
        const JpegFacts facts = FactsOf(answer.body);
        EXPECT_EQ(facts.width, width);
        EXPECT_EQ(facts.height, height);
        EXPECT_EQ(facts.components, 3);
        EXPECT_TRUE(facts.baseline);
    }
    std::string AddSongIn(const char* folder) { return Add("music", media.Write(std::string(folder) + "/a.mp3", "x")); }
};

TEST_F(CoverPicturesTest, EmbeddedInEveryKindOfFile) {
    Make(Picture("400x200"), "art.jpg");
    Make(Picture("200x400"), "art.png");
    struct {
        const char *why, *file, *arguments;
        int width, height;
    } const kFiles[] = {
        {"ID3v2", "a.mp3", "-i art.jpg -map 0 -map 1 -c:v copy", 160, 80},
        {"FLAC picture, a PNG", "a.flac", "-i art.png -map 0 -map 1 -c:v copy -disposition:v attached_pic", 80, 160},
        {"MP4 atom", "a.m4a", "-i art.jpg -map 0 -map 1 -c:v copy -disposition:v attached_pic -c:a aac", 160, 80},
        {"ID3v2 in AIFF", "a.aiff", "-i art.jpg -map 0 -map 1 -c:v copy -write_id3v2 1", 160, 80},
        {"a kind that only FFmpeg reads", "a.mka", "-attach art.jpg -metadata:s:t mimetype=image/jpeg", 160, 80},
    };
    for (const auto& f : kFiles) {
        SCOPED_TRACE(f.why);
        const std::string id = Add("music", Make(std::string("-f lavfi -i sine=duration=1 ") + f.arguments, f.file));
        ExpectThumbnail(Cover("ebdart", id), f.width, f.height);
        ExpectThumbnail(Cover("albumart", id), f.width, f.height);
        EXPECT_EQ(Cover("folderart", id).status, 404);
    }
    // A list, whatever its name, is not followed: here to where nobody ever writes.
    mkfifo((media / "pipe").c_str(), 0600);
    EXPECT_EQ(Cover("ebdart", Add("music", media.Write("b.mka", "ffconcat version 1.0\nfile pipe\n"))).status, 404);
}

TEST_F(CoverPicturesTest, FrontCoverOfAVorbisCommentComesFirst) {
    const std::string path = Make("-f lavfi -i sine=duration=1", "a.ogg");
    const auto load = [&](const std::string& file) {
        const std::string data = ReadWholeFile(file, 1 << 20).value();
        return TagLib::ByteVector(data.data(), static_cast<unsigned>(data.size()));
    };
    TagLib::Ogg::Vorbis::File file(path.c_str());
    for (const auto& [kind, name, size] : {std::tuple{TagLib::FLAC::Picture::BackCover, "back.jpg", "300x300"},
                                           std::tuple{TagLib::FLAC::Picture::FrontCover, "front.jpg", "320x160"}}) {
        auto* picture = new TagLib::FLAC::Picture;  // the tag owns it
        picture->setType(kind);
        picture->setMimeType("image/jpeg");
        picture->setData(load(Make(Picture(size), name)));
        file.tag()->addPicture(picture);
    }
    file.save();
    const std::string id = Add("music", path);
    ExpectThumbnail(Cover("ebdart", id), 160, 80);
    EXPECT_EQ(Cover("ebdart_orig", id).body, ReadWholeFile(media / "front.jpg", 1 << 20));
}

TEST_F(CoverPicturesTest, FolderCoverScaledOrAsItIs) {
    const std::string id = AddSongIn("album");
    EXPECT_EQ(Cover("folderart", id).status, 404);
    const std::string png = Make(Picture("300x600") + " -pix_fmt rgba", "album/cover.png");
    ExpectThumbnail(Cover("folderart", id), 80, 160);
    ExpectThumbnail(Cover("albumart", id), 80, 160);
    EXPECT_EQ(Cover("ebdart", id).status, 404);
    const JpegFacts converted = FactsOf(Cover("folderart_orig", id).body);
    EXPECT_EQ(converted.width, 300) << "the URL says JPEG, so the PNG becomes one";

    const std::string jpeg = Make(Picture("90x60"), "album/cover.jpg");
    ExpectThumbnail(Cover("folderart", id), 90, 60);
    EXPECT_EQ(Cover("folderart_orig", id).body, ReadWholeFile(jpeg, 1 << 20));
}

TEST_F(CoverPicturesTest, VideoCoverInTheFormatOfTheUrl) {
    const std::string id = Add("video", media.Write("film.mkv", "x"));
    Make(Picture("320x640"), "film.png");
    const Answer png = Cover("vfolderart", id, "png");
    EXPECT_EQ(png.Header("Content-Type"), "image/png");
    EXPECT_EQ(png.Header("contentFeatures.dlna.org"),
              "DLNA.ORG_PN=PNG_TN;DLNA.ORG_FLAGS=00f00000000000000000000000000000");
    EXPECT_EQ(png.body.substr(16, 8), std::string("\0\0\0\x50\0\0\0\xA0", 8)) << "80 by 160";
    EXPECT_EQ(Cover("vfolderart_orig", id, "png").body, ReadWholeFile(media / "film.png", 1 << 20));
    // The video library announces JPEG whatever the poster is.
    ExpectThumbnail(Cover("rhcover", id), 80, 160);
    ExpectThumbnail(Cover("rhcover_orig", id), 320, 640);
    const std::string other = Add("video", media.Write("other.mkv", "x"));
    Make(Picture("90x60"), "other-poster.jpg");
    ExpectThumbnail(Cover("rhcover", other), 90, 60);
    EXPECT_EQ(Cover("vfolderart", other).status, 404) << "nothing announces that kind of name";
}

TEST_F(CoverPicturesTest, VideoWithoutACoverShowsAFrame) {
    const auto video = [&](const char* source, const char* name) {
        return Add("video", Make(std::string("-f lavfi -i ") + source + " -c:v mpeg4 -g 25", name));
    };
    ExpectThumbnail(Cover("vfolderart", video("testsrc=size=320x160:duration=1", "short.mkv")), 160, 80);
    ExpectThumbnail(Cover("vfolderart", video("testsrc=size=160x320:rate=5:duration=25", "long.mp4")), 80, 160);
    EXPECT_EQ(Cover("vfolderart", Add("video", media.Write("broken.mkv", "no video"))).status, 404);
    // A list of what the network has is not followed, good as it is.
    const std::string part =
        Add("video", Make("-f lavfi -i testsrc=size=320x160:duration=1 -c:v mpeg2video", "part.ts"));
    const std::string list = media.Write(
        "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nhttp://127.0.0.1:" + std::to_string(Port()) +
                         "/v/NDLNA/" + part + ".ts\n#EXT-X-ENDLIST\n");
    EXPECT_EQ(Cover("vfolderart", Add("video", list)).status, 404);
}

TEST_F(CoverPicturesTest, ThumbnailsAreKeptUntilTheFileChanges) {
    const std::string id = AddSongIn("album");
    Make(Picture("320x160"), "album/folder.jpg");
    const Answer first = Cover("folderart", id);
    EXPECT_EQ(Cover("folderart", id).Header("ETag"), first.Header("ETag")) << "made once";
    EXPECT_EQ(Ask(std::string(kScaler) + "folderart/" + id + ".jpg", "If-None-Match: " + first.Header("ETag") + "\r\n")
                  .status,
              304);
    Make(Picture("160x320"), "album/folder.jpg");
    ExpectThumbnail(Cover("folderart", id), 80, 160);
}

TEST_F(CoverPicturesTest, WhatIsNoPictureIs404) {
    const std::string id = AddSongIn("album");
    const std::string cover = media.Write("album/folder.jpg", "no picture");
    EXPECT_EQ(Cover("folderart", id).status, 404);
    const std::string jpeg = ReadWholeFile(Make(Picture("320x160"), "good.jpg"), 1 << 20).value();
    media.Write("album/folder.jpg", jpeg);
    std::filesystem::resize_file(cover, (32U << 20) + 1);
    EXPECT_EQ(Cover("folderart", id).status, 404) << "larger than any picture that is taken";
}

TEST_F(CoverPicturesTest, MalformedUrlsAre404) {
    AddSongIn("album");
    Make(Picture("320x160"), "album/folder.jpg");
    for (const char* rest : {"folderart/1.gif", "folderart/1", "folderart/.jpg", "folderart/1.jpg.jpg",
                             "folderart/+1.jpg", "folderart/4294967297.jpg", "folderart_orig_orig/1.jpg", "_orig/1.jpg",
                             "1.jpg", "", "vfolderart/1.jpg", "folderart/x/1.jpg"}) {
        EXPECT_EQ(Ask(std::string(kScaler) + rest).status, 404) << rest;
    }
    EXPECT_EQ(Ask(std::string(kScaler) + "folderart/1.jpg").status, 200);
}

TEST_F(CoverPicturesTest, TooManyPendingIsNotTakenForNoPicture) {
    PictureStore full(0);
    const std::string path = Make(Picture("320x160"), "a.jpg");
    bool busy = false;
    EXPECT_FALSE(full.Open({PictureIn::File, path}, PictureFormat::Jpeg, 160, busy));
    EXPECT_TRUE(busy);
}

// More pictures than may be decoded at once, and each for two who ask at the same time.
TEST_F(CoverPicturesTest, ManyAtOnceAreMadeOnce) {
    std::vector<std::string> ids;
    for (int i = 0; i < 12; ++i) {
        const std::string folder = "album" + std::to_string(i);
        ids.push_back(AddSongIn(folder.c_str()));
        Make(Picture("2000x1000"), (folder + "/folder.jpg").c_str());
    }
    std::array<std::string, 24> tags;
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        clients.emplace_back([&, i] { tags[i] = Cover("folderart", ids[i / 2]).Header("ETag"); });
    }
    for (std::thread& client : clients) client.join();
    const std::set<std::string> different(tags.begin(), tags.end());
    EXPECT_EQ(different.size(), 12U) << "each making is another file";
    EXPECT_FALSE(different.contains(""));
}

}  // namespace
}  // namespace MediaServer
