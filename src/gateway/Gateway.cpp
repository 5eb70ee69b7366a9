#include "gateway/Gateway.h"

#include <exception>
#include <optional>
#include <string>

#include "gateway/CoverPictures.h"
#include "platform/http/HttpFile.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr std::string_view kScalerPrefix = "/transcoder/jpegtnscaler.cgi/";
constexpr std::string_view kTranscoderPrefix = "/transcoder/genericoder.cgi/";
/// The files of the video library have the ids of the videos that they are.
constexpr std::string_view kLibraryPrefix = "/rh/";

/// The library calls the subtitle of a video "s_<id of the video>.srt" where it is listed for itself: the path without
/// that mark, which then names the subtitle as any video's.
std::string WithoutSubtitleMark(std::string path) {
    constexpr std::string_view kMark = "s_", kSubtitle = ".srt";
    const std::size_t name = path.rfind('/') + 1;
    const bool is_marked =
        path.starts_with(kLibraryPrefix) && path.ends_with(kSubtitle) && path.compare(name, kMark.size(), kMark) == 0;
    return is_marked ? path.erase(name, kMark.size()) : path;
}

}  // namespace

HttpResponse Gateway::Handle(const HttpRequest& request) {
    HttpResponse response;
    std::string reason;
    try {
        response = Route(request);
    } catch (const std::exception& failure) {
        reason = failure.what();
        response = PlainResponse(500);
    }
    if (response.status >= 400) refusals_.Note(response.status, request.client_address, reason);
    DMSPrintf(3, "%s \"%s\" of %s: %d", request.method.c_str(), request.path.c_str(), request.client_address.c_str(),
              response.status);
    return response;
}

bool Gateway::IsQuick(const HttpRequest& request) const {
    const std::optional<MediaUrl> url = ParseMediaUrl(request.path);
    return url && files_.IsQuick(*url);
}

HttpResponse Gateway::Route(const HttpRequest& request) {
    if (access_ != nullptr && access_->IsRefused(request.client_address)) return PlainResponse(403);
    const std::string_view path = request.path;
    if (path.starts_with(kScalerPrefix)) return ServeCover(request, path.substr(kScalerPrefix.size()), pictures_);
    if (path.starts_with(kTranscoderPrefix)) {
        return transcoder_.Serve(request, path.substr(kTranscoderPrefix.size()));
    }
    const std::string file = WithoutSubtitleMark(request.path);
    const std::optional<MediaUrl> url = ParseMediaUrl(file);
    return url ? files_.Serve(request, *url) : PlainResponse(404);
}

}  // namespace MediaServer
