#include "SerializerTest.h"

namespace MediaServer {
namespace {

constexpr std::uint32_t kOff = SerializerSetup::kNoDlna, kFullMenu = SerializerSetup::kFullMenu;

std::string WriteTrack(const SerializerSetup& setup, const NIMB_MEDIA_INFO& track) {
    return setup.Write([&](auto& out) { out.SerializeMusicItem("21$3$@42", "21$3", track); });
}

TEST(DIDLMusic, WholeTrack) {
    SerializerSetup setup(0, OptionFlag::kFolderArt);
    EXPECT_EQ(WriteTrack(setup, Track()),
              "<item id=\"21$3$@42\" parentID=\"21$3\" restricted=\"1\">\n"
              "<dc:title>Tom &amp; Jerry</dc:title>\n"
              "<upnp:class>object.item.audioItem.musicTrack</upnp:class>\n"
              "<dc:date>1999-01-01</dc:date><upnp:album>B</upnp:album><upnp:albumArtist>AA</upnp:albumArtist>"
              "<upnp:artist>A</upnp:artist><dc:creator>A</dc:creator><upnp:genre>G</upnp:genre>"
              "<upnp:author>C</upnp:author><upnp:originalTrackNumber>3</upnp:originalTrackNumber>"
              "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\">"
              "http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/folderart/42.jpg</upnp:albumArtURI>"
              "<res  protocolInfo=\"http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;"
              "DLNA.ORG_FLAGS=01700000000000000000000000000000\" size=\"8000000000\" bitrate=\"40000\" "
              "duration=\"0:03:20\" nrAudioChannels=\"2\" sampleFrequency=\"44100\">"
              "http://10.0.0.7:50002/m/MP3/42.mp3</res></item>\n");
}

TEST(DIDLMusic, AbsentValuesLeaveNothingBehind) {
    SerializerSetup setup;
    NIMB_MEDIA_INFO track;
    track.id = 1;
    track.path = "/music/x.flac";
    EXPECT_EQ(WriteTrack(setup, track),
              "<item id=\"21$3$@42\" parentID=\"21$3\" restricted=\"1\">\n<dc:title></dc:title>\n"
              "<upnp:class>object.item.audioItem.musicTrack</upnp:class>\n"
              "<res  protocolInfo=\"http-get:*:audio/flac:DLNA.ORG_OP=01;"
              "DLNA.ORG_FLAGS=01700000000000000000000000000000\">http://10.0.0.7:50002/m/NDLNA/1.flac</res></item>\n");
}

struct FilterCase {
    const char *filter, *body;
};
constexpr const char* kBareRes =
    "<res  protocolInfo=\"http-get:*:audio/mpeg:*\"%>http://10.0.0.7:50002/m/NDLNA/42.mp3</res>";
const FilterCase kFilterCases[] = {
    {"dc:title", ""},
    {"dc:date", "<dc:date>1999-01-01</dc:date>"},
    {"upnp:album", "<upnp:album>B</upnp:album>"},
    {"upnp:albumArtist", "<upnp:albumArtist>AA</upnp:albumArtist>"},
    {"upnp:artist", "<upnp:artist>A</upnp:artist>"},
    {"dc:creator", "<dc:creator>A</dc:creator>"},
    {"upnp:genre", "<upnp:genre>G</upnp:genre>"},
    {"upnp:author", "<upnp:author>C</upnp:author>"},
    {"upnp:originalTrackNumber", "<upnp:originalTrackNumber>3</upnp:originalTrackNumber>"},
    {"upnp:albumArtURI",
     "<upnp:albumArtURI >http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/ebdart/42.jpg</upnp:albumArtURI>"},
    {"res@resolution", ""},
    {"res", "%"},
    {"res@protocolInfo", "%"},
    {"res@size", "% size=\"8000000000\""},
    {"res@bitrate", "% bitrate=\"40000\""},
    {"res@duration", "% duration=\"0:03:20\""},
    {"res@nrAudioChannels", "% nrAudioChannels=\"2\""},
    {"res@sampleFrequency", "% sampleFrequency=\"44100\""},
    {"res@bitsPerSample", "%"},
};

TEST(DIDLMusic, EachPropertyBringsItsOwnText) {
    for (const FilterCase& c : kFilterCases) {
        const SerializerSetup setup(kOff, 0, FilterMask(c.filter));
        NIMB_MEDIA_INFO track = Track();
        track.embedded_art = 1;
        std::string body = c.body;
        if (!body.empty() && body[0] == '%')
            body = std::string(kBareRes).replace(std::string(kBareRes).find('%'), 1, body.substr(1));
        EXPECT_EQ(Between(WriteTrack(setup, track), "</upnp:class>\n", "</item>").at(0), body) << c.filter;
    }
}

struct TitleCase {
    const char* format;
    int track;
    const char *artist, *album, *title;
};
constexpr TitleCase kTitleCases[] = {
    {"", 3, "A", "B", "T"},
    {"nonsense", 3, "A", "B", "T"},
    {"tracktitle", 3, "A", "B", "03 - T"},
    {"tracktitle", 123, "A", "B", "123 - T"},
    {"tracktitle", 0, "A", "B", "T"},
    {"titlealbum", 3, "A", "B", "T/B"},
    {"titlealbum", 3, "A", "", "T"},
    {"titleartist", 3, "A", "B", "T/A"},
    {"titleartist", 3, "", "B", "T"},
    {"artistalbum", 3, "A", "B", "03 - T/A - B"},
    {"artistalbum", 3, "", "B", "03 - T/B"},
    {"artistalbum", 3, "A", "", "03 - T/A"},
    {"artistalbum", 0, "", "", "T"},
};

TEST(DIDLMusic, TitleFormats) {
    for (const TitleCase& c : kTitleCases) {
        SerializerSetup setup;
        setup.title_format = c.format;
        NIMB_MEDIA_INFO track = Track();
        track.title = "T";
        track.track = c.track;
        track.artist = c.artist;
        track.album = c.album;
        EXPECT_EQ(Between(WriteTrack(setup, track), "<dc:title>", "</dc:title>").at(0), c.title) << c.format;
    }
}

struct TranscodingCase {
    const char *why, *extension;
    std::uint32_t client, options;
    const char* formats;  // of the res elements, in order
};
constexpr std::uint32_t kEveryTranscoding = OptionFlag::kFlac | OptionFlag::kAac | OptionFlag::kOgg | OptionFlag::kAiff;
constexpr TranscodingCase kTranscodingCases[] = {
    {"WAV, then L16", "flac", 0, OptionFlag::kFlac, "WAV PCM "},
    {"the extension in any case", "FLAC", 0, OptionFlag::kFlac, "WAV PCM "},
    {"another family's option does not count", "flac", 0, OptionFlag::kAac | OptionFlag::kOgg, "file "},
    {"ape goes with flac", "ape", 0, OptionFlag::kFlac, "WAV PCM "},
    {"m4b goes with aac", "m4b", 0, OptionFlag::kAac, "WAV PCM "},
    {"ogg", "ogg", 0, OptionFlag::kOgg, "WAV PCM "},
    {"aif goes with aiff", "aif", 0, OptionFlag::kAiff, "WAV PCM "},
    {"mp3 never", "mp3", ClientFlag::kL16Only | kFullMenu, kEveryTranscoding, "file "},
    {"wav for nobody special", "wav", 0, kEveryTranscoding, "file "},
    {"wav for the console kind", "wav", kFullMenu, 0, "WAV PCM "},
    {"wav as L16 only", "wav", ClientFlag::kL16Only, 0, "PCM "},
    {"no L16", "flac", ClientFlag::kNoL16, OptionFlag::kFlac, "WAV "},
    {"L16 only beats no L16", "flac", ClientFlag::kNoL16 | ClientFlag::kL16Only, OptionFlag::kFlac, "PCM "},
    {"L16 is for DLNA clients", "flac", kOff, OptionFlag::kFlac, "WAV "},
    {"unless it is all they take", "flac", ClientFlag::kL16Only | kOff, OptionFlag::kFlac, "PCM "},
    {"a local server has no transcoder", "wav", kFullMenu, OptionFlag::kLocalServer, "file "},
};

TEST(DIDLMusic, TranscodedResources) {
    for (const TranscodingCase& c : kTranscodingCases) {
        SCOPED_TRACE(c.why);
        const SerializerSetup setup(c.client, c.options, Property::kAll);
        NIMB_MEDIA_INFO track = Track();
        track.path = std::string("/music/x.") + c.extension;
        const std::string text = WriteTrack(setup, track);
        std::string formats;
        for (const std::string& res : Between(text, "<res ", "</res>")) {
            const std::vector<std::string> format = Between(res, "format=", "&");
            formats += (format.empty() ? "file" : format[0]) + " ";
        }
        EXPECT_EQ(formats, c.formats);
        const bool names_original =
            Between(text, "<dc:title>", "</dc:title>").at(0).ends_with(std::string(".") + c.extension);
        EXPECT_EQ(names_original, formats != "file ");
    }
}

struct SizeCase {
    const char* why;
    float duration;
    std::int32_t channels, frequency;
    std::uint32_t options;
    const char *wav, *l16;
};
constexpr SizeCase kSizeCases[] = {
    {"a whole second more than the duration", 180.0F, 2, 44100, 0, "31928444", "31928400"},
    {"the fraction is cut after adding", 180.9F, 2, 44100, 0, "31928444", "31928400"},
    {"sampled down, the duration is cut", 180.9F, 6, 96000, OptionFlag::kDownsample, "31752044", "31752000"},
    {"beyond 32 bits", 20000.0F, 6, 192000, 0, "46082304044", "46082304000"},
    {"not a number", __builtin_nanf(""), 0, 44100, OptionFlag::kDownsample, "44", nullptr},
    {"numbers that no file has", 3e38F, 2147483647, 2147483647, 0, "44", nullptr},
};

TEST(DIDLMusic, TranscodedSizes) {
    for (const SizeCase& c : kSizeCases) {
        SCOPED_TRACE(c.why);
        SerializerSetup setup(0, OptionFlag::kFlac | c.options);
        NIMB_MEDIA_INFO track = Track();
        track.path = "/music/x.flac";
        track.duration = c.duration;
        track.channel = c.channels;
        track.frequency = c.frequency;
        const std::vector<std::string> sizes = Between(WriteTrack(setup, track), " size=\"", "\"");
        EXPECT_EQ(sizes, c.l16 ? (std::vector<std::string>{c.wav, c.l16}) : std::vector<std::string>{c.wav});
    }
}

TEST(DIDLMusic, WholeL16Resource) {
    SerializerSetup setup(ClientFlag::kL16Only, OptionFlag::kFlac | OptionFlag::kDownsample);
    NIMB_MEDIA_INFO track = Track();
    track.path = "/music/x.flac";
    EXPECT_EQ(Between(WriteTrack(setup, track), "<res ", "</res>").at(0),
              " protocolInfo=\"http-get:*:audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=01;"
              "DLNA.ORG_FLAGS=01700000000000000000000000000000\" size=\"35280000\" bitrate=\"40000\" "
              "duration=\"0:03:20\" nrAudioChannels=\"2\" sampleFrequency=\"44100\" bitsPerSample=\"16\">"
              "http://10.0.0.7:50002/transcoder/genericoder.cgi/id=42.wav?format=PCM&amp;downsample=true");
}

struct ArtCase {
    const char* why;
    std::uint32_t client, options, filter;
    bool embedded;
    const char* element;
};
constexpr const char* kNoArt = "";
constexpr ArtCase kArtCases[] = {
    {"neither option nor embedded art", 0, 0, Property::kAll, false, kNoArt},
    {"client without album art", ClientFlag::kNoAlbumArt, OptionFlag::kFolderArt, Property::kAll, true, kNoArt},
    {"original size", ClientFlag::kOriginalArt, OptionFlag::kFolderArt, Property::kAlbumArtURI, false,
     " >http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/folderart_orig/42.jpg"},
    {"embedded art needs no option", SerializerSetup::kArtProfile, 0, Property::kAlbumArtURI, true,
     " dlna:profileID=\"JPEG_TN\">http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/ebdart/42.jpg"},
    {"the profile alone brings the element", 0, 0, Property::kAlbumArtProfile, true,
     " dlna:profileID=\"JPEG_TN\">http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/ebdart/42.jpg"},
    {"local server", 0, OptionFlag::kLocalServer, Property::kAlbumArtURI, true, " >jpegtnscaler.cgi/ebdart/42.jpg"},
};

TEST(DIDLMusic, AlbumArt) {
    for (const ArtCase& c : kArtCases) {
        SCOPED_TRACE(c.why);
        const SerializerSetup setup(c.client, c.options, c.filter);
        NIMB_MEDIA_INFO track = Track();
        track.embedded_art = c.embedded ? 1 : 0;
        const auto found = Between(WriteTrack(setup, track), "<upnp:albumArtURI", "</upnp:albumArtURI>");
        EXPECT_EQ(found.empty() ? kNoArt : found[0], c.element);
    }
}

TEST(DIDLMusic, LocalServerNamesTheFileAndItsTrack) {
    SerializerSetup setup(0, OptionFlag::kLocalServer);
    setup.title_format = "artistalbum";
    NIMB_MEDIA_INFO track = Track();
    track.path = "/music/R&B/x.mp3";
    const std::string text = WriteTrack(setup, track);
    EXPECT_EQ(Between(text, "<dc:title>", "</dc:title>").at(0), "03 - Tom &amp; Jerry");
    const auto resources = Between(text, "<res ", "</res>");
    ASSERT_EQ(resources.size(), 1U);
    EXPECT_TRUE(resources[0].ends_with(">/music/R&amp;B/x.mp3"));
}

TEST(DIDLMusic, RoleAttributes) {
    SerializerSetup setup(SerializerSetup::kRoles, 0, Property::kAlbumArtist | Property::kAuthor | Property::kArtist);
    EXPECT_EQ(Between(WriteTrack(setup, Track()), "</upnp:class>\n", "</item>").at(0),
              "<upnp:artist role=\"AlbumArtist\">AA</upnp:artist><upnp:artist>A</upnp:artist>"
              "<upnp:author role=\"Composer\">C</upnp:author>");
}

RadioStation Station() {
    return {"Swing & Co", "http://radio.test/a b?x=1&y=2", "Jazz", 131072};
}

std::string WriteStation(const SerializerSetup& setup, const RadioStation& station) {
    return setup.Write([&](auto& out) { out.SerializeRadioItem("r$@0", "r", station); });
}

TEST(DIDLRadio, WholeStation) {
    SerializerSetup setup;
    const std::string flags = "DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000";
    const std::string facts = " bitrate=\"16384\" size=\"5286708000\" nrAudioChannels=\"2\" sampleFrequency=\"44100\"";
    const std::string url =
        ">http://10.0.0.7:50002/transcoder/genericoder.cgi/id=radio.wav?radio="
        "http%3A%2F%2Fradio.test%2Fa%20b%3Fx%3D1%26y%3D2";
    EXPECT_EQ(WriteStation(setup, Station()),
              "<item id=\"r$@0\" parentID=\"r\" restricted=\"1\">\n<dc:title>Swing &amp; Co</dc:title>\n"
              "<upnp:class>object.item.audioItem.musicTrack</upnp:class>\n"
              "<upnp:artist>128Kbps</upnp:artist><upnp:album>Jazz</upnp:album>"
              "<res  protocolInfo=\"http-get:*:audio/wav:" +
                  flags + "\"" + facts + url +
                  "</res>"
                  "<res  protocolInfo=\"http-get:*:audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;" +
                  flags + "\"" + facts + " bitsPerSample=\"16\"" + url + "&amp;format=PCM</res></item>\n");
}

TEST(DIDLRadio, ClientsWithoutDlnaGetWavTwice) {
    SerializerSetup setup(kOff);
    const auto resources = Between(WriteStation(setup, Station()), "<res ", "</res>");
    ASSERT_EQ(resources.size(), 2U);
    EXPECT_EQ(resources[0], resources[1]);
}

TEST(DIDLRadio, AnEndlessUrlIsCutAndStaysWellFormed) {
    const SerializerSetup setup;
    for (std::size_t length = 930; length < 980; ++length) {
        RadioStation station = Station();
        station.url.assign(length, 'x');
        for (const std::string& res : Between(WriteStation(setup, station), "<res ", "</res>")) {
            const std::string url = res.substr(res.find('>') + 1);
            EXPECT_LE(url.size(), 1023U + std::strlen("amp;"));
            const std::size_t entity = url.find('&');
            EXPECT_TRUE(entity == url.npos || url.compare(entity, 5, "&amp;") == 0) << url.substr(entity);
        }
    }
}

TEST(DIDLAlbum, WholeAlbum) {
    SerializerSetup setup(ClientFlag::kOriginalArt, OptionFlag::kFolderArt);
    const auto album = [](auto& out) { out.SerializeMusicAlbum("5$7", "5", "Q&A", "77", "Al", "Ar"); };
    const std::string head =
        "<container id=\"5$7\"  parentID=\"5\"  restricted=\"1\">\n<dc:title>Q&amp;A</dc:title>\n"
        "<upnp:class>object.container.album.musicAlbum</upnp:class>\n";
    EXPECT_EQ(
        setup.Write(album),
        head +
            "<upnp:artist>Ar</upnp:artist>\n<upnp:album>Al</upnp:album>"
            "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\">"
            "http://10.0.0.7:50002/transcoder/jpegtnscaler.cgi/albumart_orig/77.jpg</upnp:albumArtURI></container>\n");
    setup.options |= OptionFlag::kLocalServer;
    setup.filter = Property::kAlbumArtURI;
    setup.client.always_art_profile = true;
    EXPECT_EQ(setup.Write(album),
              head + "<upnp:albumArtURI >jpegtnscaler.cgi/albumart_orig/77.jpg</upnp:albumArtURI></container>\n");
    setup.options = 0;
    EXPECT_EQ(setup.Write(album), head + "</container>\n") << "albums have no art of their own without the option";
}

}  // namespace
}  // namespace MediaServer
