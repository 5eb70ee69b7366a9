#include "platform/http/RequestRules.h"

#include <algorithm>
#include <optional>

#include <arpa/inet.h>

#include "platform/text/Text.h"

namespace MediaServer {

namespace {

constexpr std::string_view kHttpScheme = "http://";
constexpr std::string_view kKnownMethods[] = {"GET",     "HEAD",    "POST",      "PUT",         "DELETE",
                                              "OPTIONS", "TRACE",   "SUBSCRIBE", "UNSUBSCRIBE", "NOTIFY",
                                              "PATCH",   "CONNECT", "M-POST"};

bool IsIpLiteral(const std::string& text, int family) {
    in6_addr address;
    // The conversion would take a NUL for the end of the text.
    return text.find('\0') == std::string::npos && inet_pton(family, text.c_str(), &address) == 1;
}

bool IsPort(std::string_view text) {
    return text.size() <= 5 && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool HasDotDotSegment(std::string_view path) {
    for (std::size_t at = path.find("/.."); at != std::string_view::npos; at = path.find("/..", at + 1))
        if (at + 3 == path.size() || path[at + 3] == '/') return true;
    return false;
}

}  // namespace

bool ParseTarget(std::string_view raw, RequestTarget& target) {
    const auto is_control = [](unsigned char c) { return c <= ' ' || c == 0x7f; };
    if (std::any_of(raw.begin(), raw.end(), is_control)) return false;
    if (raw.size() > kHttpScheme.size() && EqualsIgnoreCase(raw.substr(0, kHttpScheme.size()), kHttpScheme)) {
        raw.remove_prefix(kHttpScheme.size());
        const std::size_t slash = raw.find('/');
        if (slash == std::string_view::npos) return false;
        raw.remove_prefix(slash);
    }
    if (raw.empty() || raw.front() != '/') return false;
    const std::size_t question = raw.find('?');
    std::optional<std::string> path = URLDecode(raw.substr(0, question));
    if (!path || path->find('\0') != std::string::npos || HasDotDotSegment(*path)) return false;
    target.path = std::move(*path);
    target.query = question == std::string_view::npos ? std::string() : std::string(raw.substr(question + 1));
    return true;
}

bool IsAllowedHost(std::string_view host, const std::vector<std::string>& names) {
    if (!host.empty() && host.front() == '[') {
        const std::size_t end = host.find(']');
        if (end == std::string_view::npos) return false;
        const std::string_view rest = host.substr(end + 1);
        if (!rest.empty() && (rest.front() != ':' || !IsPort(rest.substr(1)))) return false;
        return IsIpLiteral(std::string(host.substr(1, end - 1)), AF_INET6);
    }
    const std::size_t colon = host.find(':');
    if (colon != std::string_view::npos && !IsPort(host.substr(colon + 1))) return false;
    const std::string name(host.substr(0, colon));
    return IsIpLiteral(name, AF_INET) || std::any_of(names.begin(), names.end(), [&](const std::string& known) {
               return EqualsIgnoreCase(name, known);
           });
}

int CheckMethod(std::string_view method, const std::vector<std::string>& allowed) {
    if (std::find(allowed.begin(), allowed.end(), method) != allowed.end()) return 0;
    return std::find(std::begin(kKnownMethods), std::end(kKnownMethods), method) != std::end(kKnownMethods) ? 405 : 501;
}

int CheckFraming(const RequestFraming& framing, const std::vector<std::string>& host_names) {
    const bool is_1_0 = framing.version == "HTTP/1.0";
    if (!is_1_0 && framing.version != "HTTP/1.1") return 505;
    if (framing.hosts > 1 || (framing.hosts == 0 && !is_1_0)) return 400;
    if (framing.hosts == 1 && !IsAllowedHost(framing.host, host_names)) return 400;
    if (framing.content_lengths > 1) return 400;
    if (framing.transfer_encoding.empty()) return 0;
    // Two statements of one length let a request hide in another's body.
    if (framing.content_lengths > 0 || is_1_0) return 400;
    return EqualsIgnoreCase(framing.transfer_encoding, "chunked") ? 0 : 501;
}

}  // namespace MediaServer
