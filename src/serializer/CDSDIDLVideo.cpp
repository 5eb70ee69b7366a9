#include "dlna/DlnaProfiles.h"
#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "platform/media/CoverArt.h"
#include "platform/media/MediaUrl.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/UrlField.h"
#include "serializer/VideoOrigin.h"

namespace MediaServer {
namespace {

/// The codec under which the indexer stores subtitle and text files among the videos.
constexpr std::string_view kTextCodec = "text";
/// What the transcoder makes of a Matroska file.
constexpr std::string_view kTranscodedMime = "video/mpeg";

}  // namespace

std::string_view CDSDIDLSerializer::VideoTitle(const NIMB_MEDIA_INFO& record) const {
    if (client_.Has(ClientFlag::kTextItems | ClientFlag::kVideoFileNames)) return BaseName(record.path);
    if (Option(OptionFlag::kEmbeddedVideoInfo) && !record.title.empty()) return record.title;
    return BaseNameWithoutExtension(record.path);
}

bool CDSDIDLSerializer::TranscodesVideo(const NIMB_MEDIA_INFO& record) const {
    return !Option(OptionFlag::kLocalServer) && client_.Has(ClientFlag::kTranscodeMkv) &&
           EqualsIgnoreCase(PathExtension(record.path), "mkv") &&
           (EqualsIgnoreCase(record.audio_codec, "ac3") || EqualsIgnoreCase(record.audio_codec, "mp3"));
}

void CDSDIDLSerializer::SerializeVideoItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    const bool text = record.video_codec == kTextCodec;
    AppendElement(Property::kDate, "dc:date", DMSFormatUPNPDate(record.date));
    if (client_.role_attributes && !record.title.empty()) {
        body_.Append("<upnp:album>");
        AppendEscaped(body_, record.title);
        body_.Append("</upnp:album>");
    }
    if (Wants(kAnyVideoRes)) {
        // A client may ask where there is no cover; the answer is then 404 under either name.
        const bool png = WantsVideoCover() && EqualsIgnoreCase(PathExtension(FindVideoCover(record.path)), "png");
        const VideoCover cover{kMediaLibrary, png};
        AppendVideoArt(record, cover);
        AppendVideoResources(record, text, cover);
    }
    WriteItem(id, parent_id, VideoTitle(record), text ? "object.item.textItem" : "object.item.videoItem");
}

bool CDSDIDLSerializer::WantsVideoCover() const {
    return Option(OptionFlag::kFolderArt) && client_.dlna_parameters && !client_.Has(ClientFlag::kNoVideoCover);
}

bool CDSDIDLSerializer::HasVideoArtElement() const {
    return WantsVideoCover() && client_.Has(ClientFlag::kVideoAlbumArt) && Wants(Property::kAlbumArtURI);
}

void CDSDIDLSerializer::AppendVideoResources(const NIMB_MEDIA_INFO& record, bool text, const VideoCover& cover) {
    AppendVideoRes(record, text, cover.origin);
    if (client_.dlna_parameters && client_.Has(ClientFlag::kSubtitleResource)) {
        AppendSubtitleRes(cover.origin.path_word, record.id);
    }
    const bool as_resource = WantsVideoCover() && !HasVideoArtElement() && !client_.Has(ClientFlag::kNoThumbnails);
    if (as_resource && !text) AppendVideoCoverRes(record, cover);
}

void CDSDIDLSerializer::AppendVideoArt(const NIMB_MEDIA_INFO& record, const VideoCover& cover) {
    if (!HasVideoArtElement()) return;
    body_.Append("<upnp:albumArtURI ");
    if (Wants(Property::kAlbumArtProfile)) body_.Appendf("dlna:profileID=\"%s\"", cover.Profile());
    body_.Append(">");
    if (!Option(OptionFlag::kLocalServer)) body_.Appendf("http://%s:%d/transcoder/", host_.c_str(), kMediaPort);
    AppendVideoCoverPath(record, cover);
    body_.Append("</upnp:albumArtURI>");
}

void CDSDIDLSerializer::AppendVideoCoverPath(const NIMB_MEDIA_INFO& record, const VideoCover& cover) {
    body_.Appendf("jpegtnscaler.cgi/%s%s/%d.%s", cover.origin.art_kind,
                  client_.Has(ClientFlag::kOriginalArt) ? "_orig" : "", record.id, cover.Extension());
}

void CDSDIDLSerializer::AppendVideoRes(const NIMB_MEDIA_INFO& record, bool text, const VideoOrigin& origin) {
    const bool transcoded = TranscodesVideo(record);
    std::string_view mime = mime_.GetMimeType(record.path);
    profile_.clear();
    const std::string params = MakeDlnaParams("video", mime, &record, profile_);
    if (transcoded) mime = kTranscodedMime;
    if (!text && IsTimeStampedProfile(profile_)) mime = kTimeStampedMime;

    body_.Append("<res  protocolInfo=\"http-get:*:");
    AppendXMLEscaped(body_, mime);
    body_.Append(":");
    AppendXMLEscaped(body_, text ? std::string_view("*") : params);
    body_.Append("\"");
    AppendResolution(record.resolutionx, record.resolutiony);
    // Nobody knows what the transcoder will make; twice the file is enough for a client that stops at the size.
    AppendResNumber(Property::kResSize, "size", transcoded ? 2 * record.filesize : record.filesize);
    AppendResNumber(Property::kResBitrate, "bitrate", record.frame_bitrate / 8);
    AppendResDuration(record.duration);
    AppendResNumber(Property::kResNrAudioChannels, "nrAudioChannels", record.channel);
    AppendResNumber(Property::kResSampleFrequency, "sampleFrequency", record.frequency);
    body_.Append(">");

    UrlField<kVideoLibrary.url_field> url;
    if (Option(OptionFlag::kLocalServer)) {
        url.Compose(record.path);
    } else if (transcoded) {
        url.Compose("http://", host_, ":", kMediaPort, "/transcoder/genericoder.cgi/id=", record.id,
                    ".m2ts?format=m2ts&type=", origin.transcoder_type);
    } else {
        url.Compose("http://", host_, ":", kMediaPort, "/", origin.path_word, "/",
                    profile_.empty() ? kNoProfile : profile_, "/", record.id, ".", PathExtension(record.path));
    }
    AppendXMLEscaped(body_, url.View().substr(0, origin.url_field - 1));
    body_.Append("</res>");
}

void CDSDIDLSerializer::AppendSubtitleRes(const char* path_word, std::int32_t id) {
    body_.Appendf("<res  protocolInfo=\"http-get:*:text/srt:*\">http://%s:%d/%s/%s/%d.srt</res>", host_.c_str(),
                  kMediaPort, path_word, kNoProfile.data(), id);
}

void CDSDIDLSerializer::AppendVideoCoverRes(const NIMB_MEDIA_INFO& record, const VideoCover& cover) {
    body_.Appendf("<res  protocolInfo=\"http-get:*:%s:%s\">", cover.Mime(),
                  PictureDlnaParams(PictureKind::Cover, cover.Profile()).c_str());
    body_.Appendf("http://%s:%d/transcoder/", host_.c_str(), kMediaPort);
    AppendVideoCoverPath(record, cover);
    body_.Append("</res>");
}

}  // namespace MediaServer
