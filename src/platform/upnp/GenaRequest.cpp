#include "platform/upnp/GenaRequest.h"

#include <algorithm>
#include <charconv>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/upnp/UpnpLimits.h"

namespace MediaServer {

namespace {

constexpr std::string_view kScheme = "http://";
constexpr std::size_t kLongestSid = 43;  // the library's records hold no more

/// A decimal number of at most `most`, the whole text; nothing otherwise.
std::optional<std::uint32_t> ParseNumber(std::string_view text, std::uint32_t most) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value > most) return std::nullopt;
    return value;
}

std::optional<std::string> CheckUrl(std::string_view url, const std::string& subscriber, const Subnet& subnet) {
    if (!EqualsIgnoreCase(url.substr(0, kScheme.size()), kScheme)) return std::nullopt;
    url.remove_prefix(kScheme.size());
    const std::size_t slash = url.find('/');
    if (slash == std::string_view::npos) return std::nullopt;
    const std::string_view authority = url.substr(0, slash), path = url.substr(slash);
    const std::size_t colon = authority.find(':');
    const std::string host(authority.substr(0, colon));
    constexpr std::uint32_t kHttpPort = 80;
    const auto port = colon == std::string_view::npos ? kHttpPort : ParseNumber(authority.substr(colon + 1), 65535);
    if (!port || *port == 0 || !IsNearby(host, subscriber, {&subnet, 1})) return std::nullopt;
    // The library takes every opening bracket for the start of a URL, one in a path as well.
    const auto is_plain = [](unsigned char c) { return c > ' ' && c < 0x7f && c != '<'; };
    if (!std::all_of(path.begin(), path.end(), is_plain)) return std::nullopt;
    return std::string(kScheme) + host + ":" + std::to_string(*port) + std::string(path);
}

}  // namespace

std::optional<std::string> CheckCallback(std::string_view header, const std::string& subscriber, const Subnet& subnet) {
    if (header.size() > UpnpLimits::kCallbackBytes) return std::nullopt;
    std::string checked;
    std::size_t urls = 0;
    for (header = TrimBlanks(header); !header.empty(); header = TrimBlanks(header)) {
        const std::size_t end = header.find('>');
        if (header.front() != '<' || end == std::string_view::npos || ++urls > UpnpLimits::kCallbackUrls)
            return std::nullopt;
        const auto url = CheckUrl(header.substr(1, end - 1), subscriber, subnet);
        if (!url) return std::nullopt;
        checked += "<" + *url + ">";
        header.remove_prefix(end + 1);
    }
    if (urls == 0) return std::nullopt;
    return checked;
}

int SubscriptionSeconds(std::string_view header) {
    constexpr std::string_view kUnit = "second-";
    constexpr std::uint32_t kMost = UpnpLimits::kLongestSubscriptionSeconds;
    if (!EqualsIgnoreCase(header.substr(0, kUnit.size()), kUnit)) return kMost;
    const auto seconds = ParseNumber(header.substr(kUnit.size()), ~std::uint32_t{0});
    constexpr std::uint32_t kLeast = UpnpLimits::kShortestSubscriptionSeconds;
    return static_cast<int>(std::clamp(seconds.value_or(kMost), kLeast, kMost));
}

bool IsSubscriptionId(std::string_view sid) {
    constexpr std::string_view kPrefix = "uuid:";
    const auto is_allowed = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
    };
    return sid.size() > kPrefix.size() && sid.size() <= kLongestSid && sid.substr(0, kPrefix.size()) == kPrefix &&
           std::all_of(sid.begin() + kPrefix.size(), sid.end(), is_allowed);
}

int ClassifyGenaRequest(const HttpRequest& request, GenaKind& kind) {
    constexpr int kBadRequest = 400, kPreconditionFailed = 412;
    const std::string& sid = request.Header("sid");
    const bool has_new_fields = request.headers.count("nt") > 0 || request.headers.count("callback") > 0;
    if (request.headers.count("sid") > 0) {
        if (has_new_fields) return kBadRequest;
        kind = request.method == "SUBSCRIBE" ? GenaKind::Renew : GenaKind::Unsubscribe;
        return IsSubscriptionId(sid) ? 0 : kPreconditionFailed;
    }
    kind = GenaKind::Subscribe;
    return request.method == "SUBSCRIBE" && request.Header("nt") == "upnp:event" ? 0 : kPreconditionFailed;
}

}  // namespace MediaServer
