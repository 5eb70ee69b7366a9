#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

/// The two parts of a request target (RFC 9112, 3.2), the path decoded, the query raw.
struct RequestTarget {
    std::string path;
    std::string query;
};
/// Accepts the origin form and the absolute form with scheme http. @return false for anything else, for control
/// characters, broken escapes, an escaped NUL, and a ".." segment, escaped or not.
bool ParseTarget(std::string_view raw, RequestTarget& target);

/// True when a Host value is an IP literal or one of `names`, with or without a port. Anything else may be a name that
/// a page in a browser had pointed at this machine (DNS rebinding).
bool IsAllowedHost(std::string_view host, const std::vector<std::string>& names);

/// 0 when the method may be answered, 405 for a method of HTTP that is not in `allowed`, 501 for any other word.
int CheckMethod(std::string_view method, const std::vector<std::string>& allowed);

/// The framing fields of a request, each empty when it was not sent.
struct RequestFraming {
    std::string_view version;
    std::string_view host;
    int hosts = 0;  ///< how many Host fields came
    std::string_view content_length;
    int content_lengths = 0;
    std::string_view transfer_encoding;
};
/// 0, or the status that refuses it: 505 for another version, 400 for a missing, repeated or foreign Host or a body
/// whose length is said twice, 501 for a transfer coding other than chunked (RFC 9112, 3.2 and 6.1).
int CheckFraming(const RequestFraming& framing, const std::vector<std::string>& host_names);

}  // namespace MediaServer
