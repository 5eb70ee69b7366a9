#include <regex>

#include "SerializerTest.h"

namespace MediaServer {
namespace {

using namespace ClientFlag;

constexpr std::uint32_t kOff = SerializerSetup::kNoDlna, kLarge = SerializerSetup::kLargePhoto, kEvery = Property::kAll;

struct PhotoCase {
    const char *why, *file;
    std::int32_t width, height;
    std::uint32_t client, options, filter;
    const char* resources;  // as Resource has them
};
constexpr PhotoCase kCases[] = {
    {"a thumbnail-sized picture is raised to the small profile", "a.jpg", 150, 100, 0, 0, kEvery,
     "JPEG_SM/p:150x100+ ~JPEG_TN/sp:120x80"},
    {"a medium picture brings a small one that fits 640x480", "a.jpg", 1000, 700, 0, 0, kEvery,
     "JPEG_MED/p:1000x700+ ~JPEG_SM/bp:640x448 ~JPEG_TN/sp:120x84"},
    {"a portrait does not fit it, so the smallest stands in", "a.jpg", 700, 1000, 0, 0, kEvery,
     "JPEG_LRG/p:700x1000+ ~JPEG_SM/sp:84x120 ~JPEG_TN/sp:84x120"},
    {"unless the client takes 640 pixels anyway", "a.jpg", 700, 1000, kSmall640, 0, kEvery,
     "JPEG_LRG/p:700x1000+ ~JPEG_SM/bp:448x640 ~JPEG_TN/sp:84x120"},
    {"too large for any profile", "a.jpg", 5000, 4000, kNoThumbnails, 0, kEvery, "NDLNA/p:5000x4000+"},
    {"too large, for a client that takes 640 pixels", "a.jpg", 5000, 4000, kSmall640, 0, Property::kRes,
     "NDLNA/p ~JPEG_SM/bp ~JPEG_TN/sp"},
    {"too large, announced as large all the same", "a.jpg", 5000, 4000, kForceJpegLarge | kNoThumbnails, 0, kEvery,
     "JPEG_LRG/p:5000x4000+"},
    {"too large, for a client that also reads the size", "a.jpg", 5000, 4000, kLarge | kNoThumbnails, 0, kEvery,
     "JPEG_LRG/p:1024x1024+"},
    {"1900 pixels may be said", "a.jpg", 1900, 1000, kLarge | kNoThumbnails, 0, Property::kResResolution,
     "JPEG_LRG/p:1900x1000"},
    {"thumbnails first", "a.jpg", 300, 200, kThumbnailsFirst, 0, Property::kRes, "~JPEG_TN/sp JPEG_SM/p"},
    {"no thumbnails wins over thumbnails first", "a.jpg", 300, 200, kThumbnailsFirst | kNoThumbnails, 0, Property::kRes,
     "JPEG_SM/p"},
    {"raw is always rendered, its size unknown", "a.NEF", 6000, 4000, 0, 0, kEvery,
     "JPEG_SM/bp:640x427 ~JPEG_TN/sp:120x80"},
    {"larger renditions have a path word of their own", "a.NEF", 6000, 4000, kPhoto1280 | kNoThumbnails, 0, kEvery,
     "JPEG_LRG/xlp:1280x853"},
    {"a PNG as it is", "a.png", 1000, 500, 0, 0, kEvery, "NDLNA.png/p:1000x500+ ~JPEG_TN/sp:120x60"},
    {"a PNG sent scaled", "a.png", 1000, 500, 0, OptionFlag::kSendThumb, kEvery,
     "JPEG_SM/bp:640x320 ~JPEG_TN/sp:120x60"},
    {"a GIF is never rendered", "a.gif", 100, 50, 0, OptionFlag::kSendThumb, Property::kRes, "NDLNA.gif/p"},
    {"a GIF for a client without DLNA", "a.gif", 100, 50, kOff, 0, kEvery, "*NDLNA.gif/p:100x50+"},
    {"a scaled JPEG for a client without DLNA", "a.jpg", 1000, 500, kOff, OptionFlag::kSendThumb, Property::kResSize,
     "*NDLNA/bp"},
    {"unknown size leaves the resolution out", "a.gif", 0, 0, 0, 0, Property::kResResolution, "NDLNA.gif/p"},
    {"no res property, no res", "a.jpg", 300, 200, 0, 0, Property::kDate, ""},
};

/// The res element of "PROFILE/path:WxH+": the plus stands for the size of the file, "~" for a converted rendition, "*"
/// for no DLNA parameters, ".ext" for another type than JPEG.
std::string Resource(const std::string& word) {
    static const std::regex kWord(R"((~?)(\*?)(\w+)(?:\.(\w+))?/(\w+)(?::(\w+))?(\+?))");
    std::smatch part;
    EXPECT_TRUE(std::regex_match(word, part, kWord)) << word;
    const std::string profile = part[3], extension = part[4].matched ? part[4].str() : "jpg";
    std::string res = "<res  protocolInfo=\"http-get:*:image/" + (extension == "jpg" ? "jpeg" : extension) + ":";
    if (part[2].length() > 0) {
        res += "*";
    } else {
        if (profile != "NDLNA") res += "DLNA.ORG_PN=" + profile + ";";
        res.append("DLNA.ORG_OP=01;").append(part[1].length() > 0 ? "DLNA.ORG_CI=1;" : "");
        res += "DLNA.ORG_FLAGS=00f00000000000000000000000000000";
    }
    res += "\"";
    if (part[6].matched) res += " resolution=\"" + part[6].str() + "\"";
    if (part[7].length() > 0) res += " size=\"7654321\"";
    return res + ">http://10.0.0.7:50002/" + part[5].str() + "/" + profile + "/7." + extension + "</res>";
}

std::string Serialize(const PhotoCase& c, const char* album, const char* taken) {
    NIMB_MEDIA_INFO record = RecordOf(FilmFacts{"", "", c.width, c.height, 0, 0, 0, 0, {"", 0, 0, 0}});
    record.id = 7;
    record.path = std::string("/media/") + c.file;
    record.title = "At <sea>";
    record.album = album;
    record.timetaken = taken;
    record.filesize = 7654321;
    return SerializerSetup(c.client, c.options, c.filter).Write([&](auto& out) {
        out.SerializePhotoItem("33$1", "33", record);
    });
}

std::string Item(const std::string& body) {
    return "<item id=\"33$1\" parentID=\"33\" restricted=\"1\">\n<dc:title>At &lt;sea&gt;</dc:title>\n"
           "<upnp:class>object.item.imageItem.photo</upnp:class>\n" +
           body + "</item>";
}

TEST(PhotoItem, ByPictureAndClient) {
    for (const PhotoCase& c : kCases) {
        SCOPED_TRACE(c.why);
        std::string body = c.filter & Property::kAlbum ? "<upnp:album>Sea &amp; sun</upnp:album>" : "";
        if (c.filter & Property::kDate) body += "<dc:date>2020-05-06T07:08:09</dc:date>";
        std::istringstream words(c.resources);
        for (std::string word; words >> word;) body += Resource(word);
        EXPECT_EQ(Serialize(c, "Sea & sun", "2020-05-06 07:08:09"), Item(body));
    }
}

TEST(PhotoItem, TheLocalPlayerGetsThePath) {
    const PhotoCase c{"", "a&b.jpg", 300, 200, kNoThumbnails, OptionFlag::kLocalServer, Property::kRes, ""};
    EXPECT_TRUE(Serialize(c, "", "").ends_with("\">/media/a&amp;b.jpg</res></item>"));
}

TEST(PhotoItem, AlbumStandsEvenEmptyAnUnknownDateDoesNot) {
    const PhotoCase c{"", "a.gif", 0, 0, 0, 0, Property::kAlbum | Property::kDate, ""};
    EXPECT_EQ(Serialize(c, "", "1970-01-01 00:00:00"), Item("<upnp:album></upnp:album>"));
}

}  // namespace
}  // namespace MediaServer
