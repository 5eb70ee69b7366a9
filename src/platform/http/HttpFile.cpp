#include "platform/http/HttpFile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/text/Text.h"

namespace MediaServer {

namespace {

/// @return false unless the whole text is decimal digits; a number beyond 64 bits saturates, as a position past any
/// end.
bool ParsePosition(std::string_view text, std::uint64_t& value) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return false;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range)
        value = ~std::uint64_t{0};
    return true;
}

/// RFC 9110, 5.6.7: the format that everybody sends, and the two that a recipient must still take.
constexpr const char* kDateFormats[] = {"%a, %d %b %Y %H:%M:%S GMT", "%A, %d-%b-%y %H:%M:%S GMT",
                                        "%a %b %e %H:%M:%S %Y"};

/// @return false for a text that is no date; a condition on it is then ignored.
bool ParseDate(const std::string& text, std::time_t& seconds) {
    for (const char* format : kDateFormats) {
        std::tm utc{};
        const char* end = strptime(text.c_str(), format, &utc);
        if (!end || *end != '\0') continue;
        seconds = timegm(&utc);
        return true;
    }
    return false;
}

struct Validators {
    std::string etag;
    std::time_t modified;
};

Validators ValidatorsOf(const struct stat& info) {
    char etag[80];
    std::snprintf(etag, sizeof etag, "\"%llx-%llx-%llx%08lx\"", static_cast<unsigned long long>(info.st_ino),
                  static_cast<unsigned long long>(info.st_size), static_cast<unsigned long long>(info.st_mtim.tv_sec),
                  static_cast<unsigned long>(info.st_mtim.tv_nsec));
    return {etag, info.st_mtim.tv_sec};
}

/// If-None-Match (weak comparison), else If-Modified-Since.
bool IsUnchanged(const HttpRequest& request, const Validators& validators) {
    if (const std::string& tags = request.Header("if-none-match"); !tags.empty())
        return tags == "*" || tags.find(validators.etag) != std::string::npos;
    std::time_t since = 0;
    return ParseDate(request.Header("if-modified-since"), since) && validators.modified <= since;
}

/// If-Range allows a part only when the client's copy is of this very file.
bool RangeApplies(const HttpRequest& request, const Validators& validators) {
    const std::string& condition = request.Header("if-range");
    if (condition.empty() || condition == validators.etag) return true;
    std::time_t date = 0;
    return ParseDate(condition, date) && date == validators.modified;
}

struct TransferMode {
    std::string_view name;
    bool for_streams;  // audio and video, which are played while they arrive
    bool for_images;
};
constexpr TransferMode kTransferModes[] = {
    {"Streaming", true, false},
    {"Interactive", false, true},
    {"Background", true, true},
};

/// The DLNA part of a request for media; adds what it asks for to the answer. Some players send the same fields for
/// whatever they fetch, be it a description. @return 0 or the status that refuses it.
int AddDlnaHeaders(const HttpRequest& request, std::string_view content_type, std::string_view features,
                   HttpResponse& response) {
    const bool is_image = content_type.starts_with("image/");
    // Some containers of music and films are called an application.
    const bool is_stream =
        content_type.starts_with("audio/") || content_type.starts_with("video/") || (!is_image && !features.empty());
    if (!is_image && !is_stream) return 0;
    if (const std::string& wanted = request.Header("getcontentfeatures.dlna.org"); !wanted.empty()) {
        if (wanted != "1") return 400;
        if (!features.empty()) response.headers.emplace_back("contentFeatures.dlna.org", features);
    }
    const std::string& asked = request.Header("transfermode.dlna.org");
    if (asked.empty()) return 0;
    for (const TransferMode& mode : kTransferModes) {
        if (!EqualsIgnoreCase(asked, mode.name)) continue;
        if (is_stream ? !mode.for_streams : !mode.for_images) return 406;
        response.headers.emplace_back("transferMode.dlna.org", mode.name);
        return 0;
    }
    return 400;
}

/// Narrows an answer of `size` bytes to the range asked for and sets its length and status; a range that is not there
/// makes it the refusal. @return first byte to send.
std::uint64_t ApplyRange(const HttpRequest& request, std::uint64_t size, bool applies, HttpResponse& response) {
    ByteRange range{0, size - 1};
    // RFC 9110, 14.2: ranges are defined for GET alone.
    const RangeResult result =
        request.method == "GET" && applies ? ParseRange(request.Header("range"), size, range) : RangeResult::None;
    const std::string size_text = std::to_string(size);
    response.length = size;
    if (result == RangeResult::Unsatisfiable) {
        response = PlainResponse(416);
        response.headers.emplace_back("Content-Range", "bytes */" + size_text);
    }
    if (result != RangeResult::Satisfiable) return 0;
    response.status = 206;
    response.length = range.last - range.first + 1;
    response.headers.emplace_back(
        "Content-Range", "bytes " + std::to_string(range.first) + "-" + std::to_string(range.last) + "/" + size_text);
    return range.first;
}

struct StatusText {
    int status;
    std::string_view text;
};
constexpr StatusText kStatusTexts[] = {
    {400, "bad request"},
    {403, "forbidden"},
    {404, "not found"},
    {405, "method not allowed"},
    {406, "not acceptable"},
    {411, "length required"},
    {412, "precondition failed"},
    {413, "request body too large"},
    {416, "range not satisfiable"},
    {431, "request header too large"},
    {500, "internal error"},
    {501, "not implemented"},
    {503, "too busy"},
    {505, "HTTP version not supported"},
};

}  // namespace

HttpResponse ServeStream(const HttpRequest& request, std::uint64_t size, const StreamOpener& open,
                         std::string_view content_type, std::string_view dlna_features) {
    const bool sized = size != HttpResponse::kUnknownLength;
    HttpResponse response;
    response.headers.emplace_back("Accept-Ranges", sized ? "bytes" : "none");
    response.headers.emplace_back("Content-Type", content_type);
    if (const int status = AddDlnaHeaders(request, content_type, dlna_features, response)) return PlainResponse(status);
    response.length = size;
    const bool same = request.Header("if-range").empty();
    const std::uint64_t first = sized ? ApplyRange(request, size, same, response) : 0;
    if (response.status == 416) return response;
    const bool has_body = request.method == "GET";
    response.stream = has_body ? open(first) : [](std::uint64_t, char*, std::size_t) { return std::ptrdiff_t{-1}; };
    return response;
}

RangeResult ParseRange(std::string_view header, std::uint64_t size, ByteRange& range) {
    constexpr std::string_view kUnit = "bytes=";
    if (!EqualsIgnoreCase(header.substr(0, kUnit.size()), kUnit)) return RangeResult::None;
    const std::string_view spec = header.substr(kUnit.size());
    const std::size_t dash = spec.find('-');
    if (dash == std::string_view::npos) return RangeResult::None;
    const std::string_view first_text = spec.substr(0, dash), last_text = spec.substr(dash + 1);

    std::uint64_t first = 0, last = ~std::uint64_t{0};
    if (first_text.empty()) {
        std::uint64_t suffix = 0;
        if (!ParsePosition(last_text, suffix)) return RangeResult::None;
        if (suffix == 0 || size == 0) return RangeResult::Unsatisfiable;
        range = {size - std::min(suffix, size), size - 1};
        return RangeResult::Satisfiable;
    }
    if (!ParsePosition(first_text, first)) return RangeResult::None;
    if (!last_text.empty() && (!ParsePosition(last_text, last) || last < first)) return RangeResult::None;
    if (first >= size) return RangeResult::Unsatisfiable;
    range = {first, std::min(last, size - 1)};
    return RangeResult::Satisfiable;
}

HttpResponse ServeDescriptor(const HttpRequest& request, UniqueFd file, std::string_view content_type,
                             std::string_view dlna_features) {
    struct stat info {};
    if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return PlainResponse(404);
    const auto size = static_cast<std::uint64_t>(info.st_size);
    const Validators validators = ValidatorsOf(info);

    HttpResponse response;
    response.headers.emplace_back("ETag", validators.etag);
    response.headers.emplace_back("Last-Modified", HttpDate(validators.modified));
    response.headers.emplace_back("Accept-Ranges", "bytes");
    if (IsUnchanged(request, validators)) {
        // The length announced is the one that 200 would have; no body follows.
        response.status = 304;
        response.length = size;
        response.file = std::move(file);
        return response;
    }
    response.headers.emplace_back("Content-Type", content_type);
    if (const int status = AddDlnaHeaders(request, content_type, dlna_features, response)) return PlainResponse(status);

    response.file_offset = ApplyRange(request, size, RangeApplies(request, validators), response);
    if (response.status == 416) return response;
    response.file = std::move(file);
    return response;
}

HttpResponse ServeFile(const HttpRequest& request, const std::string& path, std::string_view content_type,
                       std::string_view dlna_features) {
    // O_NONBLOCK: opening a FIFO must not wait for its writer.
    UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    // Players drop from their lists what is said not to be there.
    if (!file && (errno == EMFILE || errno == ENFILE || errno == ENOMEM)) return PlainResponse(503);
    return ServeDescriptor(request, std::move(file), content_type, dlna_features);
}

std::string HttpDate(std::time_t seconds) {
    std::tm utc{};
    char text[64];
    gmtime_r(&seconds, &utc);
    return {text, std::strftime(text, sizeof text, kDateFormats[0], &utc)};
}

HttpResponse PlainResponse(int status, std::string_view text) {
    if (text.empty())
        for (const StatusText& entry : kStatusTexts)
            if (entry.status == status) text = entry.text;
    HttpResponse response;
    response.status = status;
    response.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    if (!text.empty()) response.body = std::string(text) + "\n";
    return response;
}

const std::string& HttpRequest::Header(std::string_view name) const {
    static const std::string kEmpty;
    const auto found = headers.find(StringToLower(name));
    return found == headers.end() ? kEmpty : found->second;
}

}  // namespace MediaServer
