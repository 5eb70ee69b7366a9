#include <array>
#include <cstdio>

#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "model/TranscodedAudio.h"
#include "platform/media/MediaUrl.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/UrlField.h"

namespace MediaServer {
namespace {

constexpr std::string_view kMusicTrackClass = "object.item.audioItem.musicTrack";
constexpr const char* kArtProfile = "dlna:profileID=\"JPEG_TN\"";

/// Which option offers a file of that extension transcoded.
struct TranscodingRule {
    std::string_view extension;
    std::uint32_t option;
};
constexpr std::array<TranscodingRule, 8> kTranscodingRules = {{
    {"flac", OptionFlag::kFlac},
    {"ape", OptionFlag::kFlac},
    {"aac", OptionFlag::kAac},
    {"m4a", OptionFlag::kAac},
    {"m4b", OptionFlag::kAac},
    {"ogg", OptionFlag::kOgg},
    {"aiff", OptionFlag::kAiff},
    {"aif", OptionFlag::kAiff},
}};

using MusicUrl = UrlField<512>;
using RadioUrl = UrlField<1024>;

}  // namespace

CDSDIDLSerializer::TitleFormat CDSDIDLSerializer::TitleFormatOf(std::string_view option, std::uint32_t options) {
    if ((options & OptionFlag::kLocalServer) != 0 || option == "tracktitle") return TitleFormat::TrackTitle;
    if (option == "titlealbum") return TitleFormat::TitleAlbum;
    if (option == "titleartist") return TitleFormat::TitleArtist;
    if (option == "artistalbum") return TitleFormat::ArtistAlbum;
    return TitleFormat::Plain;
}

bool CDSDIDLSerializer::OffersTranscoding(std::string_view extension) const {
    if (Option(OptionFlag::kLocalServer)) return false;
    if (EqualsIgnoreCase(extension, "wav")) return client_.full_menu || client_.Has(ClientFlag::kL16Only);
    for (const TranscodingRule& rule : kTranscodingRules) {
        if (EqualsIgnoreCase(extension, rule.extension)) return Option(rule.option);
    }
    return false;
}

void CDSDIDLSerializer::ComposeTrackTitle(const NIMB_MEDIA_INFO& record, bool transcoded, std::string& title) const {
    const bool artist_album = title_format_ == TitleFormat::ArtistAlbum;
    title.clear();
    if ((artist_album || title_format_ == TitleFormat::TrackTitle) && record.track != 0) {
        char prefix[32];
        std::snprintf(prefix, sizeof prefix, "%02d - ", record.track);
        title = prefix;
    }
    title += record.title;
    if (transcoded) title.append(".").append(PathExtension(record.path));
    bool with_artist = false;
    if ((artist_album || title_format_ == TitleFormat::TitleArtist) && !record.artist.empty()) {
        title.append("/").append(record.artist);
        with_artist = true;
    }
    if ((artist_album || title_format_ == TitleFormat::TitleAlbum) && !record.album.empty()) {
        title.append(with_artist ? " - " : "/").append(record.album);
    }
}

void CDSDIDLSerializer::SerializeMusicItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    const bool transcoded = OffersTranscoding(PathExtension(record.path));
    AppendMusicMetadata(record);
    AppendMusicArt(record);
    if (WantsRes()) {
        if (!transcoded) {
            AppendMusicRes(record, Rendition::Native);
        } else {
            const bool l16_only = client_.Has(ClientFlag::kL16Only);
            if (!l16_only) AppendMusicRes(record, Rendition::Wav);
            if (l16_only || (client_.dlna_parameters && !client_.Has(ClientFlag::kNoL16))) {
                AppendMusicRes(record, Rendition::L16);
            }
        }
    }
    ComposeTrackTitle(record, transcoded, title_);
    WriteItem(id, parent_id, title_, kMusicTrackClass);
}

void CDSDIDLSerializer::AppendMusicMetadata(const NIMB_MEDIA_INFO& record) {
    const bool roles = client_.role_attributes;
    if (record.year != 0 && Wants(Property::kDate)) body_.Append("<dc:date>", record.year, "-01-01</dc:date>");
    AppendElement(Property::kAlbum, "upnp:album", record.album);
    AppendElement(Property::kAlbumArtist, roles ? "upnp:artist role=\"AlbumArtist\"" : "upnp:albumArtist",
                  record.album_artist);
    AppendElement(Property::kArtist, "upnp:artist", record.artist);
    AppendElement(Property::kCreator, "dc:creator", record.artist);
    AppendElement(Property::kGenre, "upnp:genre", record.genre);
    AppendElement(Property::kAuthor, roles ? "upnp:author role=\"Composer\"" : "upnp:author", record.composer);
    if (record.track != 0 && Wants(Property::kTrackNumber)) {
        body_.Append("<upnp:originalTrackNumber>", record.track, "</upnp:originalTrackNumber>");
    }
}

void CDSDIDLSerializer::AppendMusicArt(const NIMB_MEDIA_INFO& record) {
    const bool embedded = record.embedded_art != 0;
    if (client_.Has(ClientFlag::kNoAlbumArt) || !(embedded || Option(OptionFlag::kFolderArt))) return;
    char key[16];
    std::snprintf(key, sizeof key, "%d", record.id);
    AppendAlbumArt(embedded ? "ebdart" : "folderart", key,
                   client_.always_art_profile || Wants(Property::kAlbumArtProfile));
}

void CDSDIDLSerializer::AppendAlbumArt(const char* kind, std::string_view key, bool with_profile) {
    if (!Wants(Property::kAlbumArtURI | Property::kAlbumArtProfile)) return;
    body_.Append("<upnp:albumArtURI ", with_profile ? kArtProfile : "", ">");
    if (!Option(OptionFlag::kLocalServer)) body_.Append("http://", host_, ":", kMediaPort, "/transcoder/");
    body_.Append("jpegtnscaler.cgi/", kind, client_.Has(ClientFlag::kOriginalArt) ? "_orig" : "", "/");
    AppendXMLEscaped(body_, key);
    body_.Append(".jpg</upnp:albumArtURI>");
}

std::int64_t CDSDIDLSerializer::RenditionBytes(const NIMB_MEDIA_INFO& record, Rendition rendition) const {
    if (rendition == Rendition::Native) return record.filesize;
    const std::int64_t samples = TranscodedAudioOf(record, Option(OptionFlag::kDownsample)).bytes;
    return rendition == Rendition::Wav ? samples + kWavHeaderBytes : samples;
}

void CDSDIDLSerializer::AppendMusicRes(const NIMB_MEDIA_INFO& record, Rendition rendition) {
    const std::string_view extension = PathExtension(record.path);
    const bool pcm = rendition == Rendition::L16;
    const std::string& mime = mime_.GetMimeType(rendition == Rendition::Native ? std::string_view(record.path)
                                                : pcm                          ? ".l16"
                                                                               : ".wav");
    OpenRes("audio", mime, &record);
    AppendResNumber(Property::kResSize, "size", RenditionBytes(record, rendition));
    // Bytes a second (UPnP ContentDirectory:1, res@bitrate), those of the file for its renditions too.
    if (record.audio_bitrate != 0 && Wants(Property::kResBitrate)) {
        body_.Append(" bitrate=\"", static_cast<int>(record.audio_bitrate / 8), "\"");
    }
    AppendResDuration(record.duration);
    AppendResNumber(Property::kResNrAudioChannels, "nrAudioChannels", record.channel);
    AppendResNumber(Property::kResSampleFrequency, "sampleFrequency", record.frequency);
    if (pcm && Wants(Property::kResBitsPerSample)) body_.Append(" bitsPerSample=\"16\"");

    MusicUrl url;
    if (Option(OptionFlag::kLocalServer)) {
        url.Compose(record.path);
    } else if (rendition == Rendition::Native) {
        url.Compose("http://", host_, ":", kMediaPort, "/m/", profile_.empty() ? kNoProfile : profile_, "/", record.id,
                    ".", extension);
    } else {
        url.Compose("http://", host_, ":", kMediaPort, "/transcoder/genericoder.cgi/id=", record.id,
                    ".wav?format=", pcm ? "PCM" : "WAV",
                    "&downsample=", Option(OptionFlag::kDownsample) ? "true" : "false");
    }
    body_.Append(">");
    AppendXMLEscaped(body_, url.View());
    body_.Append("</res>");
}

void CDSDIDLSerializer::SerializeRadioItem(std::string_view id, std::string_view parent_id,
                                           const RadioStation& station) {
    if (station.bitrate > 0 && Wants(Property::kArtist)) {
        body_.Append("<upnp:artist>", station.bitrate >> 10, "Kbps</upnp:artist>");
    }
    AppendElement(Property::kAlbum, "upnp:album", station.album);
    if (WantsRes()) {
        AppendRadioRes(station, Rendition::Wav);
        AppendRadioRes(station, client_.dlna_parameters ? Rendition::L16 : Rendition::Wav);
    }
    WriteItem(id, parent_id, station.title, kMusicTrackClass);
}

void CDSDIDLSerializer::AppendRadioRes(const RadioStation& station, Rendition rendition) {
    const bool pcm = rendition == Rendition::L16;
    OpenRes("radio", mime_.GetMimeType(pcm ? ".l16" : ".wav"), nullptr);
    if (station.bitrate > 0 && Wants(Property::kResBitrate)) body_.Append(" bitrate=\"", station.bitrate / 8, "\"");
    body_.Append(" size=\"", kRadioBytes, "\"");
    AppendResNumber(Property::kResNrAudioChannels, "nrAudioChannels", kRadioChannels);
    AppendResNumber(Property::kResSampleFrequency, "sampleFrequency", kRadioFrequency);
    if (pcm && Wants(Property::kResBitsPerSample)) body_.Append(" bitsPerSample=\"16\"");
    RadioUrl url;
    url.Compose("http://", host_, ":", kMediaPort,
                "/transcoder/genericoder.cgi/id=radio.wav?radio=", URLEncode(station.url), pcm ? "&format=PCM" : "");
    body_.Append(">");
    AppendXMLEscaped(body_, url.View());
    body_.Append("</res>");
}

void CDSDIDLSerializer::SerializeMusicAlbum(std::string_view id, std::string_view parent_id, std::string_view title,
                                            std::string_view art_key, std::string_view album, std::string_view artist) {
    if (!artist.empty() && Wants(Property::kArtist)) {
        AppendElement(Property::kArtist, "upnp:artist", artist);
        body_.Append("\n");
    }
    AppendElement(Property::kAlbum, "upnp:album", album);
    if (Option(OptionFlag::kFolderArt) && !client_.Has(ClientFlag::kNoAlbumArt)) {
        AppendAlbumArt("albumart", art_key, Wants(Property::kAlbumArtProfile));
    }
    WriteContainer(id, parent_id, "", title, "object.container.album.musicAlbum", body_.View());
    body_.Clear();
}

}  // namespace MediaServer
