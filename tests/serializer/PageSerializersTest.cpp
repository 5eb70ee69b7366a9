#include "SerializerTest.h"
#include "serializer/CDSHtmlSerializer.h"
#include "serializer/CDSSimpleSerializer.h"

namespace MediaServer {
namespace {

struct HtmlItemCase {
    const char* why;
    MediaKind kind;
    const char* artist;
    int track;
    const char* item;
};
constexpr HtmlItemCase kHtmlItems[] = {
    {"music tells who and where", MediaKind::Music, "A", 3, "<a href=\"/m/42.mp3\">Tom &amp; Jerry (A-B)-3"},
    {"unknown artist, no number", MediaKind::Music, "", 0, "<a href=\"/m/42.mp3\">Tom &amp; Jerry (Unknown artist-B)"},
    {"photos by title", MediaKind::Photo, "A", 3, "<a href=\"/p/42.mp3\">Tom &amp; Jerry"},
    {"videos by title", MediaKind::Video, "A", 3, "<a href=\"/v/42.mp3\">Tom &amp; Jerry"},
    {"other kinds are not listed", MediaKind::Playlist, "A", 3, nullptr},
};

TEST(HtmlSerializer, ItemsLinkToTheirFiles) {
    for (const HtmlItemCase& c : kHtmlItems) {
        SCOPED_TRACE(c.why);
        CDSHtmlSerializer out;
        NIMB_MEDIA_INFO record = Track();
        record.artist = c.artist;
        record.track = c.track;
        out.SerializeMediaItem(c.kind, "1", "0", record);
        EXPECT_EQ(out.GetResult(), c.item == nullptr ? "" : std::string("<li class=\"cds-item\">") + c.item + "</li>");
    }
}

TEST(SimpleSerializer, CollectsRecordsInOrder) {
    CDSSimpleSerializer out;
    const NIMB_MEDIA_INFO record = Track();
    out.SerializeObject(CDSObject("Root", "0", "-1", ObjectType::kContainer));
    out.SerializeContainerWithCount("x", "0", "counted", 3, ObjectType::kContainer);
    out.SerializeMediaItem(MediaKind::Photo, "p", "0", record);
    out.SerializeMediaItem(MediaKind::Video, "v", "0", record);
    out.SerializeMediaItem(MediaKind::Music, "m", "0", record);
    out.SerializeMediaItem(MediaKind::Directory, "d", "0", record);
    std::string seen;
    for (const CDSObject& object : out.Objects()) {
        seen += object.id + " " + object.parentId + " " + object.title + " " + std::to_string(object.typeCode) + "\n";
    }
    EXPECT_EQ(seen, "0 -1 Root 1\np 0 Tom & Jerry 4\nv 0 Tom & Jerry 6\nm 0 Tom & Jerry 18\n");
    EXPECT_EQ(out.GetResult(), "");
}

}  // namespace
}  // namespace MediaServer
