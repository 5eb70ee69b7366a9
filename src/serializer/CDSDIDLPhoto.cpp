#include "dlna/DlnaProfiles.h"
#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "platform/media/MediaUrl.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/UrlField.h"

namespace MediaServer {

/// How one photo is announced: the file itself or a JPEG rendition of it.
struct PhotoResource {
    std::string_view mime;
    bool jpeg_like = false;  ///< has a JPEG profile: a JPEG, or a raw image, which is always rendered
    bool converted = false;
    std::int32_t width = 0, height = 0;
    std::string_view profile;
};

namespace {

constexpr const char* kUnknownDate = "1970-01-01 00:00:00";
constexpr const char* kPhotoClass = "object.item.imageItem.photo";
constexpr std::string_view kJpegMime = "image/jpeg";
constexpr std::uint32_t kPhotoRes =
    Property::kRes | Property::kResResolution | Property::kResProtocolInfo | Property::kResSize;

/// Clients that take JPEG_LRG for every picture still refuse a stated size above it.
constexpr std::int32_t kLargestStatedSide = 1900, kStatedInstead = 1024;

bool IsPngOrBmp(std::string_view mime) {
    return mime == "image/png" || mime == "image/bmp";
}

/// What a client is told of the profile that the size gave.
std::string_view AnnouncedProfile(const DMSClientChecker& client, const PhotoResource& photo) {
    const bool too_large = photo.jpeg_like && !photo.converted && photo.profile.empty();
    if (too_large && (client.large_photo || client.Has(ClientFlag::kForceJpegLarge))) return "JPEG_LRG";
    // A main resource is never a thumbnail: some clients hide items that offer nothing else.
    return photo.profile == "JPEG_TN" ? "JPEG_SM" : photo.profile;
}

}  // namespace

PhotoResource CDSDIDLSerializer::MainPhotoResource(const NIMB_MEDIA_INFO& record) const {
    PhotoResource photo;
    photo.mime = mime_.GetMimeType(record.path);
    photo.width = record.resolutionx;
    photo.height = record.resolutiony;
    const bool raw = BlNIMBIndexIsRawImage(PathExtension(record.path));
    const bool jpeg = photo.mime == kJpegMime;
    photo.jpeg_like = jpeg || raw;
    photo.converted = raw || (Option(OptionFlag::kSendThumb) && (jpeg || IsPngOrBmp(photo.mime)));
    if (photo.converted) {
        DMSGetThumbnailRes(record.resolutionx, record.resolutiony, &photo.width, &photo.height,
                           client_.Has(ClientFlag::kPhoto1280) ? kExtraBigSide : kBigThumbnailSide);
    }
    if (!client_.dlna_parameters) return photo;
    if (photo.jpeg_like || photo.converted) photo.profile = JpegProfileFor(photo.width, photo.height);
    photo.profile = AnnouncedProfile(client_, photo);
    if (client_.large_photo && photo.jpeg_like && !photo.converted &&
        (photo.width > kLargestStatedSide || photo.height > kLargestStatedSide)) {
        photo.width = photo.height = kStatedInstead;
    }
    return photo;
}

void CDSDIDLSerializer::SerializePhotoItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    if (Wants(Property::kAlbum)) {
        body_.Append("<upnp:album>");
        AppendEscaped(body_, record.album);
        body_.Append("</upnp:album>");
    }
    if (record.timetaken != kUnknownDate) {
        AppendElement(Property::kDate, "dc:date", DMSFormatUPNPDate(record.timetaken));
    }
    if (Wants(kPhotoRes)) {
        const PhotoResource photo = MainPhotoResource(record);
        const bool thumbnails = client_.dlna_parameters && !client_.Has(ClientFlag::kNoThumbnails);
        const bool first = client_.Has(ClientFlag::kThumbnailsFirst);
        if (thumbnails && first) AppendPhotoThumbnails(record, photo);
        AppendPhotoRes(record, photo);
        if (thumbnails && !first) AppendPhotoThumbnails(record, photo);
    }
    WriteItem(id, parent_id, record.title, kPhotoClass, "");
}

void CDSDIDLSerializer::AppendPhotoRes(const NIMB_MEDIA_INFO& record, const PhotoResource& photo) {
    body_.Append("<res  protocolInfo=\"http-get:*:");
    AppendXMLEscaped(body_, photo.converted ? kJpegMime : photo.mime);
    if (!client_.dlna_parameters) {
        body_.Append(":*\"");
    } else {
        // A rendition is a JPEG whatever the size of the original is.
        const std::string_view profile = photo.profile.empty() && photo.converted ? "JPEG_SM" : photo.profile;
        body_.Appendf(":%s\"", PictureDlnaParams(PictureKind::Photo, profile).c_str());
    }
    AppendResolution(photo.width, photo.height);
    if (!photo.converted) AppendResNumber(Property::kResSize, "size", record.filesize);
    body_.Append(">");

    ItemUrl url;
    if (Option(OptionFlag::kLocalServer)) {
        url.Compose(record.path);
    } else {
        const char* rendition = client_.Has(ClientFlag::kPhoto1280) ? "xlp" : "bp";
        url.Compose("http://", host_, ":", kMediaPort, "/", photo.converted ? rendition : "p", "/",
                    photo.profile.empty() ? kNoProfile : photo.profile, "/", record.id, ".",
                    photo.converted ? "jpg" : PathExtension(record.path));
    }
    AppendXMLEscaped(body_, url.View());
    body_.Append("</res>");
}

void CDSDIDLSerializer::AppendPhotoThumbnails(const NIMB_MEDIA_INFO& record, const PhotoResource& photo) {
    if (!photo.jpeg_like) {
        if (IsPngOrBmp(photo.mime)) AppendThumbRes(record, kSmallThumbnailSide, "JPEG_TN");
        return;
    }
    const bool small_640 = client_.Has(ClientFlag::kSmall640);
    if (photo.profile == "JPEG_LRG" || photo.profile == "JPEG_MED") {
        std::int32_t width = 0, height = 0;
        DMSGetThumbnailRes(record.resolutionx, record.resolutiony, &width, &height, kBigThumbnailSide);
        const bool fits = JpegProfileFor(width, height) == "JPEG_SM";
        AppendThumbRes(record, fits || small_640 ? kBigThumbnailSide : kSmallThumbnailSide, "JPEG_SM");
    } else if (photo.profile.empty() && small_640) {
        AppendThumbRes(record, kBigThumbnailSide, "JPEG_SM");
    }
    AppendThumbRes(record, kSmallThumbnailSide, "JPEG_TN");
}

void CDSDIDLSerializer::AppendThumbRes(const NIMB_MEDIA_INFO& record, std::int32_t side, const char* profile) {
    body_.Appendf("<res  protocolInfo=\"http-get:*:%s:%s\"", kJpegMime.data(),
                  PictureDlnaParams(PictureKind::Rendition, profile).c_str());
    std::int32_t width = 0, height = 0;
    DMSGetThumbnailRes(record.resolutionx, record.resolutiony, &width, &height, side);
    AppendResolution(width, height);
    ItemUrl url;
    url.Compose("http://", host_, ":", kMediaPort, side == kBigThumbnailSide ? "/bp/" : "/sp/", profile, "/", record.id,
                ".jpg");
    body_.Append(">", url.View(), "</res>");
}

void CDSDIDLSerializer::AppendResolution(std::int32_t width, std::int32_t height) {
    if (width > 0 && height > 0 && Wants(Property::kResResolution)) {
        body_.Appendf(" resolution=\"%dx%d\"", width, height);
    }
}

}  // namespace MediaServer
