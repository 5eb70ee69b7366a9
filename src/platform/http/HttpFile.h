#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/HttpServer.h"

namespace MediaServer {

/// One byte range resolved against a size (RFC 9110, 14.2): `first` and `last` inclusive.
struct ByteRange {
    std::uint64_t first, last;
};
enum class RangeResult { None, Satisfiable, Unsatisfiable };
/// Parses a Range header. Several ranges, another unit or bad syntax are None: the whole file is the answer then.
RangeResult ParseRange(std::string_view header, std::uint64_t size, ByteRange& range);

/// The answer for a file: 200 or 206 with Content-Range, 416, If-Range, ETag and Last-Modified, If-None-Match and
/// If-Modified-Since (304), Accept-Ranges, and, for media, the DLNA headers when asked (transferMode.dlna.org echoed
/// when it fits, contentFeatures.dlna.org when `getcontentFeatures.dlna.org: 1` came; 400/406 as the DLNA guidelines
/// have it).
/// @param dlna_features  fourth protocolInfo field of the resource, empty for none.
/// 404 when the file is not there, is no regular file or cannot be opened; 503 when descriptors or memory run out.
HttpResponse ServeFile(const HttpRequest& request, const std::string& path, std::string_view content_type,
                       std::string_view dlna_features = {});
/// The same over an already open descriptor.
HttpResponse ServeDescriptor(const HttpRequest& request, UniqueFd file, std::string_view content_type,
                             std::string_view dlna_features = {});

/// Gives the reader of content from that byte on; called for an answer that has a body only.
using StreamOpener = std::function<BodyReader(std::uint64_t first)>;
/// The same for content that is made while it is sent. Without validators: a condition on one is not met. Ranges apply
/// when the size is known.
/// @param size  bytes, or HttpResponse::kUnknownLength.
HttpResponse ServeStream(const HttpRequest& request, std::uint64_t size, const StreamOpener& open,
                         std::string_view content_type, std::string_view dlna_features = {});

/// A time as headers have it (RFC 9110, 5.6.7).
std::string HttpDate(std::time_t seconds);

/// A short plain-text answer with that status.
HttpResponse PlainResponse(int status, std::string_view text = {});

}  // namespace MediaServer
