#include "SerializerTest.h"

namespace MediaServer {
namespace {

struct ContainerCase {
    const char* why;
    std::uint32_t filter;
    std::int32_t count;
    ObjectTypeCode code;
    const char *attributes, *upnp_class, *extra;
};
constexpr const char* kStorage = "<upnp:storageUsed>-1</upnp:storageUsed>\n";
constexpr ContainerCase kContainerCases[] = {
    {"all wanted", Property::kAll, 12, 15, "childCount=\"12\"", "object.container.storageFolder", kStorage},
    {"an empty folder has a count", Property::kAll, 0, 1, "childCount=\"0\"", "object.container", ""},
    {"a negative count is unknown", Property::kAll, -1, 1, "", "object.container", ""},
    {"nothing optional wanted", 0, 12, 15, "", "object.container.storageFolder", ""},
    {"the count alone", Property::kChildCount, 2147483647, 15, "childCount=\"2147483647\"",
     "object.container.storageFolder", ""},
    {"only storage folders use storage", Property::kAll, 1, 23, "childCount=\"1\"", "object.container.album.musicAlbum",
     ""},
};

TEST(DIDLContainer, KeepsTheTemplateWithOrWithoutItsOptionalParts) {
    for (const ContainerCase& c : kContainerCases) {
        SCOPED_TRACE(c.why);
        SerializerSetup setup(0, 0, c.filter);
        EXPECT_EQ(
            setup.Write([&](auto& out) { out.SerializeContainerWithCount("21$3", "21", "R&B", c.count, c.code); }),
            std::string("<container id=\"21$3\"  parentID=\"21\" ") + c.attributes +
                " restricted=\"1\">\n<dc:title>R&amp;B</dc:title>\n<upnp:class>" + c.upnp_class + "</upnp:class>\n" +
                c.extra + "</container>\n");
    }
}

TEST(DIDLContainer, HostileTextStaysText) {
    const SerializerSetup setup;
    EXPECT_EQ(setup.Write([](auto& out) {
        out.SerializeContainer("1\"><x", "0'&", "</dc:title>\x01", ObjectType::kContainer);
    }),
              "<container id=\"1&quot;&gt;&lt;x\"  parentID=\"0&apos;&amp;\"  restricted=\"1\">\n"
              "<dc:title>&lt;/dc:title&gt;\xEF\xBF\xBD</dc:title>\n<upnp:class>object.container</upnp:class>\n"
              "</container>\n");
}

TEST(DIDLFilter, ClientsThatIgnoreFiltersGetEverything) {
    for (const bool flag_a : {true, false}) {
        SerializerSetup setup(0, 0, 0);
        (flag_a ? setup.client.full_menu : setup.client.full_metadata) = true;
        const std::string text = setup.Write([](auto& out) { out.SerializeContainerWithCount("1", "0", "T", 4, 15); });
        EXPECT_NE(text.find("childCount=\"4\""), std::string::npos);
        EXPECT_NE(text.find(kStorage), std::string::npos);
    }
}

}  // namespace
}  // namespace MediaServer
