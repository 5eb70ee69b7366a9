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
    return url && files_.IsQuick(*url) && (access_ == nullptr || access_->IsQuick());
}

HttpResponse Gateway::Route(const HttpRequest& request) {
    if (access_ != nullptr && access_->IsRefused(request.client_address)) return PlainResponse(403);
    const std::string_view path = request.path;
    if (path.starts_with(kScalerPrefix)) return ServeCover(request, path.substr(kScalerPrefix.size()), pictures_);
    if (path.starts_with(kTranscoderPrefix)) {
        return transcoder_.Serve(request, path.substr(kTranscoderPrefix.size()));
    }
    const std::optional<MediaUrl> url = ParseMediaUrl(request.path);
    return url ? files_.Serve(request, *url) : PlainResponse(404);
}

}  // namespace MediaServer
