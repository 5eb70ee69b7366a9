#include "gateway/MediaFiles.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

#include "dlna/DlnaProfiles.h"
#include "gateway/DescriptorCache.h"
#include "platform/http/HttpFile.h"
#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr std::string_view kSubtitleMime = "text/srt";
constexpr std::string_view kJpegMime = "image/jpeg";

/// Profile names are short words; anything else in that place of the URL is no profile and gets into no header.
std::string_view ProfileOf(const MediaUrl& url) {
    constexpr std::size_t kLongestProfile = 64;
    const bool is_name =
        url.profile.size() <= kLongestProfile &&
        std::all_of(url.profile.begin(), url.profile.end(), [](unsigned char c) {
            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
        });
    return is_name ? url.profile : std::string_view();
}

/// The renditions of a photo by the first segment of the URL.
struct RenditionRow {
    std::string_view prefix;
    int max_side;                                        // pixels
    std::string (*find)(const std::string& photo_path);  // the indexed thumbnail of that size
};
constexpr RenditionRow kRenditions[] = {
    {"sp", kSmallThumbnailSide, [](const std::string& photo_path) { return PhotoThumbnailPath(photo_path, false); }},
    {"bp", kBigThumbnailSide, [](const std::string& photo_path) { return PhotoThumbnailPath(photo_path, true); }},
    {"xlp", kExtraBigSide, [](const std::string&) { return std::string(); }},
};

const RenditionRow* FindRendition(std::string_view prefix) {
    const auto* row = std::find_if(std::begin(kRenditions), std::end(kRenditions),
                                   [&](const RenditionRow& known) { return known.prefix == prefix; });
    return row == std::end(kRenditions) ? nullptr : row;
}

/// Whether a thumbnail is of the photo as it is now, and was written to its end.
bool IsCurrent(const std::string& thumbnail, const std::string& photo) {
    struct stat made {
    }, taken{};
    return !thumbnail.empty() && stat(thumbnail.c_str(), &made) == 0 && stat(photo.c_str(), &taken) == 0 &&
           made.st_size > 0 && made.st_mtim.tv_sec >= taken.st_mtim.tv_sec;
}

/// The small one stands beside the photo, and so does a big one in JPEG_SM unless it is announced as the photo itself.
/// One URL cannot tell: of a converted photo it is the photo to most players, but stands beside it for one that gets
/// photos in 1280 pixels, or small renditions in 640 of an upright photo. The former is taken.
PictureKind KindOf(const MediaUrl& url, bool converted) {
    const bool beside = url.prefix == "sp" || (url.prefix == "bp" && url.profile == "JPEG_SM" && !converted);
    return beside ? PictureKind::Rendition : PictureKind::Photo;
}

/// Subtitles are announced for every film; one that has none has empty ones.
HttpResponse ServeSubtitle(const HttpRequest& request, const std::string& path) {
    if (NLIBCFileExist(path.c_str())) return ServeFile(request, path, kSubtitleMime);
    return ServeDescriptor(request, MakeAnonymousFile({}, {}), kSubtitleMime, {});
}

}  // namespace

HttpResponse MediaFiles::Serve(const HttpRequest& request, const MediaUrl& url) const {
    std::string path;
    const Lookup lookup = paths_.Find(url.kind, url.id, path);
    if (lookup != Lookup::Found) return PlainResponse(lookup == Lookup::Failed ? 503 : 404);
    if (FindRendition(url.prefix) != nullptr) return ServeRendition(request, url, path);
    return url.kind == MediaKind::Video ? ServeVideo(request, url, path) : ServeWhole(request, url, path);
}

bool MediaFiles::IsQuick(const MediaUrl& url) const {
    return FindRendition(url.prefix) == nullptr && paths_.Knows(url.kind, url.id);
}

HttpResponse MediaFiles::ServeWhole(const HttpRequest& request, const MediaUrl& url, const std::string& path) const {
    if (!EqualsIgnoreCase(url.extension, PathExtension(path))) return PlainResponse(404);
    std::string_view mime = mime_.GetMimeType(request.path);
    const std::string_view profile = ProfileOf(url);
    if (url.prefix == "p") return ServeFile(request, path, mime, PictureDlnaParams(PictureKind::Photo, profile));
    if (IsTimeStampedProfile(profile)) mime = kTimeStampedMime;
    // Text among the videos is announced without DLNA parameters, whatever its type is called.
    return ServeFile(request, path, mime, IsSubtitle(path) ? std::string() : StreamingDlnaParams(profile));
}

HttpResponse MediaFiles::ServeRendition(const HttpRequest& request, const MediaUrl& url,
                                        const std::string& photo_path) const {
    if (url.extension != "jpg") return PlainResponse(404);
    const RenditionRow& row = *FindRendition(url.prefix);
    const bool photos_are_converted = (options_.OptionFlags() & OptionFlag::kSendThumb) != 0;
    const bool converted = photos_are_converted || BlNIMBIndexIsRawImage(PathExtension(photo_path));
    const std::string features = PictureDlnaParams(KindOf(url, converted), ProfileOf(url));
    if (const std::string indexed = row.find(photo_path); IsCurrent(indexed, photo_path)) {
        return ServeFile(request, indexed, kJpegMime, features);
    }
    bool busy = false;
    UniqueFd made = pictures_.Open({PictureIn::File, photo_path}, PictureFormat::Jpeg, row.max_side, busy);
    return busy ? PlainResponse(503) : ServeDescriptor(request, std::move(made), kJpegMime, features);
}

HttpResponse MediaFiles::ServeVideo(const HttpRequest& request, const MediaUrl& url, const std::string& path) const {
    const bool is_subtitle = EqualsIgnoreCase(PathExtension(path), kSubtitleExtension);
    if (url.extension == kSubtitleExtension && !is_subtitle) {
        return ServeSubtitle(request, SubtitleBeside(path));
    }
    HttpResponse response = ServeWhole(request, url, path);
    const bool answered = response.status == 200 || response.status == 206;
    if (answered && request.Header("getcaptioninfo.sec") == "1" && NLIBCFileExist(SubtitleBeside(path).c_str())) {
        response.headers.emplace_back("CaptionInfo.sec", "http://" + request.local_address + ":" +
                                                             std::to_string(port_) + "/" + std::string(url.prefix) +
                                                             "/" + std::string(kNoProfile) + "/" +
                                                             std::to_string(url.id) + ".srt");
    }
    return response;
}

}  // namespace MediaServer
