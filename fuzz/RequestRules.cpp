// What a request line and a Host header may say. Three lines: target, Host, method.
#include "platform/http/RequestRules.h"

#include <algorithm>

#include <netdb.h>
#include <sys/socket.h>

#include "Target.h"
#include "platform/text/Text.h"

using namespace MediaServer;

namespace {

void TryTarget(std::string_view raw) {
    RequestTarget target;
    if (!ParseTarget(raw, target)) return;
    Require(target.path.starts_with('/') && target.path.find('\0') == std::string::npos, "a path is absolute text");
    for (const std::string& segment : Split(target.path, '/')) Require(segment != "..", "no segment leads upwards");
    RequestTarget again;
    Require(ParseTarget("/" + URLEncode(target.path.substr(1)), again) && again.path == target.path,
            "a path that was accepted is accepted however it is encoded");
}

/// The resolver's word on numeric addresses, which is independent of ours.
bool IsAddress(std::string host) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    const bool is_address = getaddrinfo(host.c_str(), nullptr, &hints, &found) == 0;
    if (is_address) freeaddrinfo(found);
    return is_address;
}

void TryHost(std::string_view host) {
    if (!IsAllowedHost(host, {"localhost", "nas.lan"})) return;
    const std::size_t colon = host.rfind(':');
    const bool has_port = colon != std::string_view::npos && host.find(']', colon) == std::string_view::npos;
    const std::string name = StringToLower(host.substr(0, has_port ? colon : host.size()));
    Require(name == "localhost" || name == "nas.lan" || (IsAddress(name) && name.find('\0') == std::string::npos),
            "no foreign name is accepted");
    if (has_port)
        Require(host.substr(colon + 1).find_first_not_of("0123456789") == std::string_view::npos, "a port is a number");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    TryTarget(TakeLine(text));
    const std::string_view host = TakeLine(text);
    TryHost(host);
    const std::string_view method = TakeLine(text);
    const int status = CheckMethod(method, {"GET", "HEAD"});
    Require((status == 0) == (method == "GET" || method == "HEAD"), "no other method is answered");

    const RequestFraming framing{"HTTP/1.1", host, 1, "", 0, ""};
    Require((CheckFraming(framing, {}) == 0) == IsAllowedHost(host, {}), "the Host of a request is checked");
    return 0;
}
