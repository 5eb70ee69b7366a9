#include "gateway/Gateway.h"

#include <exception>
#include <optional>

#include "gateway/CoverPictures.h"
#include "platform/http/HttpFile.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr std::string_view kScalerPrefix = "/transcoder/jpegtnscaler.cgi/";
constexpr std::string_view kTranscoderPrefix = "/transcoder/genericoder.cgi/";
/// Entries of the video library, which has no catalogue here yet.
constexpr std::string_view kLibraryPrefix = "rh";

}  // namespace

HttpResponse Gateway::Handle(const HttpRequest& request) {
    HttpResponse response;
    try {
        response = Route(request);
    } catch (const std::exception& failure) {
        DMSPrintf(0, "could not answer \"%s\" of %s: %s", request.path.c_str(), request.client_address.c_str(),
                  failure.what());
        response = PlainResponse(500);
    }
    if (response.status >= 400) refusals_.Note(response.status, request.client_address);
    DMSPrintf(3, "%s \"%s\" of %s: %d", request.method.c_str(), request.path.c_str(), request.client_address.c_str(),
              response.status);
    return response;
}

HttpResponse Gateway::Route(const HttpRequest& request) {
    if (access_ != nullptr && access_->IsRefused(request.client_address)) return PlainResponse(403);
    const std::string_view path = request.path;
    if (path.starts_with(kScalerPrefix)) return ServeCover(request, path.substr(kScalerPrefix.size()), pictures_);
    if (path.starts_with(kTranscoderPrefix)) {
        return transcoder_.Serve(request, path.substr(kTranscoderPrefix.size()));
    }
    const std::optional<MediaUrl> url = ParseMediaUrl(path);
    if (!url || url->prefix == kLibraryPrefix) return PlainResponse(404);
    return files_.Serve(request, *url);
}

}  // namespace MediaServer
