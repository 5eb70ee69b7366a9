#include <fstream>

#include <json/json.h>
#include <utime.h>

#include "SerializerTest.h"

namespace MediaServer {
namespace {

Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
    return value;
}

Json::Value Episode() {
    return Parse(R"({"title": "Show", "tagline": "Pilot", "season": 1, "episode": 2, "original_available": "2014-01-12",
        "record_date": "2020-02-03 04:05:06",
        "additional": {"actor": [{"name": "A & B"}, {"role": "none"}, {"name": "C"}], "director": [{"name": "D"}],
            "writer": [{"name": "W"}], "genre": [{"name": "G"}], "summary": "S",
            "files": [{"path": "/v/a.mkv", "id": "7", "filesize": "5000000000", "duration": "01:02:03",
                       "resolutionx": "1280", "resolutiony": "720", "audio_codec": "ac3", "frame_bitrate": "8000000",
                       "channel": "6", "frequency": 48000}]}})");
}

std::string WriteEntry(const SerializerSetup& setup, const Json::Value& record, int type = 2, int file = 0) {
    return setup.Write([&](auto& out) { out.SerializeReelhouseItem("rh$1", "rh", type, file, false, record); });
}

TEST(DIDLReelhouse, WholeEpisode) {
    SerializerSetup setup(ClientFlag::kVideoAlbumArt | ClientFlag::kSubtitleResource | ClientFlag::kMpegMapping,
                          OptionFlag::kFolderArt);
    setup.mime.AddPairs("mkv video/x-matroska");
    EXPECT_EQ(WriteEntry(setup, Episode()),
              "<item id=\"rh$1\" parentID=\"rh\" restricted=\"1\">\n<dc:title>Show-S01E02-Pilot</dc:title>\n"
              "<upnp:class>object.item.videoItem</upnp:class>\n<dc:date>2014-01-12</dc:date>"
              "<upnp:actor>A &amp; B</upnp:actor><upnp:actor>C</upnp:actor><upnp:director>D</upnp:director>"
              "<upnp:author>W</upnp:author><upnp:genre>G</upnp:genre>"
              "<upnp:longDescription>S</upnp:longDescription>"
              "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\">"
              "http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/rhcover/7.jpg</upnp:albumArtURI>"
              "<res  protocolInfo=\"http-get:*:video/x-matroska:DLNA.ORG_OP=01;"
              "DLNA.ORG_FLAGS=01700000000000000000000000000000\" resolution=\"1280x720\" size=\"5000000000\" "
              "bitrate=\"1000000\" duration=\"1:02:03\" nrAudioChannels=\"6\" sampleFrequency=\"48000\">"
              "http://10.0.0.7:50002/rh/NDLNA/7.mkv</res>"
              "<res  protocolInfo=\"http-get:*:text/srt:*\">http://10.0.0.7:50002/rh/NDLNA/7.srt</res></item>\n");
}

TEST(DIDLReelhouse, TranscodedWithAThumbnailOfItsOwn) {
    SerializerSetup setup(ClientFlag::kTranscodeMkv | ClientFlag::kOriginalArt, OptionFlag::kFolderArt);
    const auto resources = Between(WriteEntry(setup, Episode()), "<res ", "</res>");
    ASSERT_EQ(resources.size(), 2U);
    EXPECT_TRUE(resources[0].ends_with("genericoder.cgi/id=7.m2ts?format=m2ts&amp;type=Reelhouse")) << resources[0];
    EXPECT_TRUE(resources[1].ends_with("jpegtnscaler.cgi/rhcover_orig/7.jpg")) << resources[1];
}

struct TitleCase {
    const char* why;
    int type;
    std::uint32_t flags;
    bool use_file_name;
    const char* removed;  // a member that the record then lacks
    const char* title;
};
constexpr TitleCase kTitleCases[] = {
    {"episode with its extension", 2, ClientFlag::kTextItems, false, "", "Show-S01E02-Pilot.mkv"},
    {"episode without tagline", 2, 0, false, "tagline", "Show-S01E02"},
    {"movie", 1, 0, false, "", "Show-Pilot"},
    {"recording", 5, 0, false, "", "Show-2020-02-03 04:05:06"},
    {"recording without date", 5, 0, false, "record_date", "Show"},
    {"home video", 4, ClientFlag::kVideoFileNames, false, "", "Show.mkv"},
    {"file name", 2, 0, true, "", "a"},
    {"file name with extension", 2, ClientFlag::kTextItems, true, "", "a.mkv"},
};

TEST(DIDLReelhouse, Titles) {
    for (const TitleCase& c : kTitleCases) {
        SCOPED_TRACE(c.why);
        SerializerSetup setup(c.flags);
        Json::Value record = Episode();
        record.removeMember(c.removed);
        const std::string text = setup.Write(
            [&](auto& out) { out.SerializeReelhouseItem("rh$1", "rh", c.type, 0, c.use_file_name, record); });
        EXPECT_EQ(Between(text, "<dc:title>", "</dc:title>").at(0), c.title);
    }
}

TEST(DIDLReelhouse, RecordsThatAreNotWhatTheyShouldBe) {
    SerializerSetup setup;
    for (const char* text :
         {"null", "[]", "7", R"({"additional": "x"})", R"({"additional": {"files": {}, "actor": {"name": 1}}})",
          R"({"title": {}, "season": [], "additional": {"files": [5], "genre": [null, 1, {"name": {}}]}})"}) {
        SCOPED_TRACE(text);
        for (const int file : {-1, 0, 2147483647}) {
            const std::string item = WriteEntry(setup, Parse(text), 2, file);
            EXPECT_TRUE(item.starts_with("<item ") && item.ends_with("</item>\n"));
            EXPECT_EQ(
                setup.Write([&](auto& out) { out.SerializeReelhouseFile("a", "b", 1, file, false, Parse(text)); }), "");
        }
    }
    EXPECT_EQ(setup.Write([](auto& out) { out.SerializeReelhouseItem("", "rh", 1, 0, false, Episode()); }), "");
    EXPECT_EQ(setup.Write([](auto& out) { out.SerializeReelhouseFile("a", "", 1, 0, false, Episode()); }), "");
}

TEST(DIDLReelhouse, WholeAttachedFile) {
    std::string path = "/tmp/attachedXXXXXX.srt";
    ::close(::mkstemps(path.data(), 4));
    const struct utimbuf times { 1000000000, 1000000000 };
    ::utime(path.c_str(), &times);
    SerializerSetup setup;
    setup.mime.AddPairs("srt text/srt");
    Json::Value record = Episode();
    record["additional"]["files"][0]["path"] = path;
    record["additional"]["files"][0]["id"] = "9<";
    const auto file = [&](auto& out) { out.SerializeReelhouseFile("rh$1$f", "rh$1", 4, 0, false, record); };
    const std::string head =
        "<item id=\"rh$1$f\" parentID=\"rh$1\" restricted=\"1\">\n<dc:title>Show</dc:title>\n"
        "<upnp:class>object.item.textItem</upnp:class>\n";
    const std::string res =
        "<res  protocolInfo=\"http-get:*:text/srt:*\">http://10.0.0.7:50002/rh/NDLNA/9&lt;.srt</res>";
    EXPECT_EQ(setup.Write(file), head + "<dc:date>2001-09-09T01:46:40</dc:date>" + res + "</item>\n");
    ::unlink(path.c_str());
    EXPECT_EQ(setup.Write(file), head + res + "</item>\n") << "a file that is gone has no date";
}

}  // namespace
}  // namespace MediaServer
