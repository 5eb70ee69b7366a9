#include <gtest/gtest.h>

#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "serializer/CDSDIDLSerializer.h"

namespace MediaServer {
namespace {

using namespace ClientFlag;

constexpr std::uint32_t kOff = 1U << 31, kLarge = 1U << 30;  // members of the client that are no capability bits

struct PhotoCase {
    const char* why;
    const char* file;
    std::int32_t width, height;
    std::uint32_t client, options, filter;
    const char* body;
};

// The metadata that every case but the narrow filter has.
#define META "<upnp:album>Sea &amp; sun</upnp:album><dc:date>2020-05-06T07:08:09</dc:date>"
#define FLAGS "DLNA.ORG_FLAGS=00f00000000000000000000000000000"
#define MAIN(mime, fields) "<res  protocolInfo=\"http-get:*:" mime ":" fields "\""
#define THUMB(profile) MAIN("image/jpeg", "DLNA.ORG_PN=" profile ";DLNA.ORG_OP=01;DLNA.ORG_CI=1;" FLAGS)
#define URL(path) ">http://10.0.0.1:50002" path "</res>"

constexpr std::uint32_t kEvery = Property::kAll;
const PhotoCase kCases[] = {
    {"a thumbnail-sized picture is raised to the small profile", "a.jpg", 150, 100, 0, 0, kEvery,
     META MAIN(
         "image/jpeg",
         "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS) " resolution=\"150x100\" size=\"7654321\"" URL("/p/JPEG_SM/7.jpg")
         THUMB("JPEG_TN") " resolution=\"120x80\"" URL("/sp/JPEG_TN/7.jpg")},
    {"a medium picture brings a small one that fits 640x480", "a.jpg", 1000, 700, 0, 0, kEvery,
     META MAIN(
         "image/jpeg",
         "DLNA.ORG_PN=JPEG_MED;DLNA.ORG_OP=01;" FLAGS) " resolution=\"1000x700\" size=\"7654321\"" URL("/p/JPEG_MED/"
                                                                                                       "7.jpg")
         THUMB("JPEG_SM") " resolution=\"640x448\"" URL("/bp/JPEG_SM/7.jpg")
             THUMB("JPEG_TN") " resolution=\"120x84\"" URL("/sp/JPEG_TN/7.jpg")},
    {"a portrait does not fit it, so the smallest stands in", "a.jpg", 700, 1000, 0, 0, kEvery,
     META MAIN(
         "image/jpeg",
         "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"700x1000\" size=\"7654321\"" URL("/p/JPEG_LRG/"
                                                                                                       "7.jpg")
         THUMB("JPEG_SM") " resolution=\"84x120\"" URL("/sp/JPEG_SM/7.jpg")
             THUMB("JPEG_TN") " resolution=\"84x120\"" URL("/sp/JPEG_TN/7.jpg")},
    {"unless the client takes 640 pixels anyway", "a.jpg", 700, 1000, kSmall640, 0, kEvery,
     META MAIN(
         "image/jpeg",
         "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"700x1000\" size=\"7654321\"" URL("/p/JPEG_LRG/"
                                                                                                       "7.jpg")
         THUMB("JPEG_SM") " resolution=\"448x640\"" URL("/bp/JPEG_SM/7.jpg")
             THUMB("JPEG_TN") " resolution=\"84x120\"" URL("/sp/JPEG_TN/7.jpg")},
    {"too large for any profile", "a.jpg", 5000, 4000, kNoThumbnails, 0, kEvery,
     META MAIN("image/jpeg",
               "DLNA.ORG_OP=01;" FLAGS) " resolution=\"5000x4000\" size=\"7654321\"" URL("/p/NDLNA/7.jpg")},
    {"too large, for a client that takes 640 pixels", "a.jpg", 5000, 4000, kSmall640, 0, Property::kRes,
     MAIN("image/jpeg", "DLNA.ORG_OP=01;" FLAGS) URL("/p/NDLNA/7.jpg") THUMB("JPEG_SM") URL("/bp/JPEG_SM/7.jpg")
         THUMB("JPEG_TN") URL("/sp/JPEG_TN/7.jpg")},
    {"too large, announced as large all the same", "a.jpg", 5000, 4000, kForceJpegLarge | kNoThumbnails, 0, kEvery,
     META MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"5000x4000\" "
                                                                           "size=\"7654321\"" URL("/p/JPEG_LRG/7.jpg")},
    {"too large, for a client that also reads the size", "a.jpg", 5000, 4000, kLarge | kNoThumbnails, 0, kEvery,
     META MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"1024x1024\" "
                                                                           "size=\"7654321\"" URL("/p/JPEG_LRG/7.jpg")},
    {"1900 pixels may be said", "a.jpg", 1900, 1000, kLarge | kNoThumbnails, 0, Property::kResResolution,
     MAIN("image/jpeg",
          "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"1900x1000\"" URL("/p/JPEG_LRG/7.jpg")},
    {"thumbnails first", "a.jpg", 300, 200, kThumbnailsFirst, 0, Property::kRes,
     THUMB("JPEG_TN") URL("/sp/JPEG_TN/7.jpg") MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS)
         URL("/p/JPEG_SM/7.jpg")},
    {"no thumbnails wins over thumbnails first", "a.jpg", 300, 200, kThumbnailsFirst | kNoThumbnails, 0, Property::kRes,
     MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS) URL("/p/JPEG_SM/7.jpg")},
    {"raw is always rendered, its size unknown", "a.NEF", 6000, 4000, 0, 0, kEvery,
     META MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS) " resolution=\"640x427\"" URL(
         "/bp/JPEG_SM/7.jpg") THUMB("JPEG_TN") " resolution=\"120x80\"" URL("/sp/JPEG_TN/7.jpg")},
    {"larger renditions have a path word of their own", "a.NEF", 6000, 4000, kPhoto1280 | kNoThumbnails, 0, kEvery,
     META MAIN("image/jpeg",
               "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" FLAGS) " resolution=\"1280x853\"" URL("/xlp/JPEG_LRG/7.jpg")},
    {"a PNG as it is", "a.png", 1000, 500, 0, 0, kEvery,
     META MAIN("image/png", "DLNA.ORG_OP=01;" FLAGS) " resolution=\"1000x500\" size=\"7654321\"" URL("/p/NDLNA/7.png")
         THUMB("JPEG_TN") " resolution=\"120x60\"" URL("/sp/JPEG_TN/7.jpg")},
    {"a PNG sent scaled", "a.png", 1000, 500, 0, OptionFlag::kSendThumb, kEvery,
     META MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS) " resolution=\"640x320\"" URL(
         "/bp/JPEG_SM/7.jpg") THUMB("JPEG_TN") " resolution=\"120x60\"" URL("/sp/JPEG_TN/7.jpg")},
    {"a GIF is never rendered", "a.gif", 100, 50, 0, OptionFlag::kSendThumb, Property::kRes,
     MAIN("image/gif", "DLNA.ORG_OP=01;" FLAGS) URL("/p/NDLNA/7.gif")},
    {"a GIF for a client without DLNA", "a.gif", 100, 50, kOff, 0, kEvery,
     META MAIN("image/gif", "*") " resolution=\"100x50\" size=\"7654321\"" URL("/p/NDLNA/7.gif")},
    {"a scaled JPEG for a client without DLNA", "a.jpg", 1000, 500, kOff, OptionFlag::kSendThumb, Property::kResSize,
     MAIN("image/jpeg", "*") URL("/bp/NDLNA/7.jpg")},
    {"the local player gets the path", "a&b.jpg", 300, 200, kNoThumbnails, OptionFlag::kLocalServer, Property::kRes,
     MAIN("image/jpeg", "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;" FLAGS) ">/media/a&amp;b.jpg</res>"},
    {"unknown size leaves the resolution out", "a.gif", 0, 0, 0, 0, Property::kResResolution,
     MAIN("image/gif", "DLNA.ORG_OP=01;" FLAGS) URL("/p/NDLNA/7.gif")},
    {"no res property, no res", "a.jpg", 300, 200, 0, 0, Property::kDate, "<dc:date>2020-05-06T07:08:09</dc:date>"},
};

std::string Serialize(const PhotoCase& c, const char* album, const char* taken) {
    MimeTable mime;
    mime.AddPairs("jpg image/jpeg png image/png gif image/gif nef image/x-nikon-nef");
    DMSClientChecker client("", "", true);
    client.flags = c.client & ~(kOff | kLarge);
    client.dlna_parameters = (c.client & kOff) == 0;
    client.large_photo = (c.client & kLarge) != 0;
    client.full_menu = client.full_metadata = false;
    NIMB_MEDIA_INFO record;
    record.id = 7;
    record.path = std::string("/media/") + c.file;
    record.title = "At <sea>";
    record.album = album;
    record.timetaken = taken;
    record.resolutionx = c.width;
    record.resolutiony = c.height;
    record.filesize = 7654321;
    CDSDIDLSerializer out(client, mime, "10.0.0.1", 50001, c.options, c.filter, "");
    out.SerializePhotoItem("33$1", "33", record);
    return out.GetResult();
}

std::string Item(const char* body) {
    return std::string(
               "<item id=\"33$1\" parentID=\"33\" restricted=\"1\">\n<dc:title>At &lt;sea&gt;</dc:title>\n"
               "<upnp:class>object.item.imageItem.photo</upnp:class>\n") +
           body + "</item>";
}

TEST(PhotoItem, ByPictureAndClient) {
    for (const PhotoCase& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(Serialize(c, "Sea & sun", "2020-05-06 07:08:09"), Item(c.body));
    }
}

TEST(PhotoItem, AlbumStandsEvenEmptyAnUnknownDateDoesNot) {
    const PhotoCase c{"", "a.gif", 0, 0, 0, 0, Property::kAlbum | Property::kDate, ""};
    EXPECT_EQ(Serialize(c, "", "1970-01-01 00:00:00"), Item("<upnp:album></upnp:album>"));
}

}  // namespace
}  // namespace MediaServer
