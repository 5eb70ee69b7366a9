#include <gtest/gtest.h>

#include "model/MimeTable.h"
#include "model/ObjectTypes.h"
#include "model/PropertyFilter.h"

namespace MediaServer {
namespace {

TEST(FilterMask, ExactNamesOnly) {
    struct Case {
        const char* why;
        std::string_view filter;
        std::uint32_t mask;
    };
    constexpr Case kCases[] = {
        {"empty", "", 0},
        {"an attribute is not its element", "res@size", 0x8},
        {"several, with one unknown", "res,foo:bar,dc:date", 0x401},
        {"case matters", "RES,Dc:Date", 0},
        {"no blanks are dropped", "res, dc:date", 0x1},
        {"empty names", ",,res,", 0x1},
        {"last of the table", "upnp:longDescription", 0x4000000},
        {"profile of the art", "upnp:albumArtURI@dlna:profileID", 0x40000},
        {"everything, anywhere", "dc:title,*", 0xFFFFFFFF},
        {"a star within a name is none", "res*", 0},
    };
    for (const Case& c : kCases) EXPECT_EQ(FilterMask(c.filter), c.mask) << c.why;
}

TEST(MimeTable, LookupIsByLowerCasedExtension) {
    MimeTable table;
    table.AddPairs("mp3 audio/mpeg\nJPG image/jpeg\r\n\tflac\n\naudio/x-flac mp3 audio/mpeg3\nlonely");
    EXPECT_EQ(table.GetMimeType("Track.MP3"), "audio/mpeg3") << "a later pair replaces an earlier one";
    EXPECT_EQ(table.GetMimeType("/a/b.c/x.flac"), "audio/x-flac");
    for (const char* name : {"x.jpg", "x.JPG", "archive.", "README", "", ".", "mp3", "x.lonely", "/a.mp3/README"})
        EXPECT_EQ(table.GetMimeType(name), "application/octet-stream") << name;
}

TEST(MimeTable, CustomListReplacesAndSkips) {
    MimeTable table;
    table.AddPairs("flac audio/x-flac mp3 audio/mpeg");
    table.AddCustom("mkv=video/x-matroska,bogus, flac=audio/flac,x=a=b,");
    EXPECT_EQ(table.GetMimeType("a.mkv"), "video/x-matroska");
    EXPECT_EQ(table.GetMimeType("a.flac"), "audio/flac");
    EXPECT_EQ(table.GetMimeType("a.mp3"), "audio/mpeg");
    EXPECT_EQ(table.GetMimeType("a.x"), "a=b");
    EXPECT_EQ(table.GetMimeType("a.bogus"), "application/octet-stream");
}

TEST(UpnpClassOf, ContainersAndItemsKeepTheirBranch) {
    int known = 0;
    for (ObjectTypeCode code = -1; code < 64; ++code) {
        const std::string_view upnp_class = UpnpClassOf(code);
        if (upnp_class.empty()) continue;
        ++known;
        EXPECT_EQ(upnp_class.starts_with("object.container"), IsContainerType(code)) << code;
        EXPECT_EQ(upnp_class.starts_with("object.item"), !IsContainerType(code)) << code;
    }
    EXPECT_EQ(known, 13);
    EXPECT_EQ(UpnpClassOf(ObjectType::kMusicItem), "") << "music items are written with a text of their own";
}

}  // namespace
}  // namespace MediaServer
