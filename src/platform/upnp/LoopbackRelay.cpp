#include "platform/upnp/LoopbackRelay.h"

#include <cerrno>
#include <chrono>
#include <string_view>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/upnp/UpnpLimits.h"

namespace MediaServer {

namespace {

using Clock = std::chrono::steady_clock;

/// @return false when the socket cannot be read or written, as asked for, before the deadline.
bool WaitFor(int fd, short events, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{fd, events, 0};
    return left.count() > 0 && poll(&waiting, 1, static_cast<int>(left.count())) == 1;
}

/// The listener may stand still: nothing here waits for it but WaitFor.
UniqueFd Connect(std::uint16_t port, Clock::time_point deadline) {
    UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) return fd;
    // A connection that fails after all shows when the request is sent.
    if (errno != EINPROGRESS || !WaitFor(fd.get(), POLLOUT, deadline)) fd.reset();
    return fd;
}

bool SendAll(int fd, std::string_view text, Clock::time_point deadline) {
    while (!text.empty()) {
        if (!WaitFor(fd, POLLOUT, deadline)) return false;
        const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/// What came up to the end of the head, or less when the other side or the time ended.
std::string ReceiveHead(int fd, Clock::time_point deadline) {
    std::string head;
    char buffer[1024];
    while (head.size() < UpnpLimits::kRelayAnswerBytes && head.find("\r\n\r\n") == std::string::npos) {
        if (!WaitFor(fd, POLLIN, deadline)) break;
        const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
        if (count <= 0) break;
        head.append(buffer, static_cast<std::size_t>(count));
    }
    return head;
}

}  // namespace

RelayAnswer ParseAnswerHead(const std::string& head) {
    constexpr std::string_view kVersion = "HTTP/1.";
    RelayAnswer answer;
    const std::size_t end = head.find("\r\n\r\n");
    if (end == std::string::npos || head.compare(0, kVersion.size(), kVersion) != 0) return answer;
    const std::size_t status = head.find(' ');
    if (status == std::string::npos || status > end) return answer;
    answer.status = ToInt(std::string_view(head).substr(status + 1, 3));
    for (const std::string& line : Split(std::string_view(head).substr(0, end), '\n')) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::size_t first = line.find_first_not_of(" \t", colon + 1);
        const std::size_t last = line.find_last_not_of(" \t\r");
        if (first == std::string::npos || last < first) continue;
        answer.headers.emplace(StringToLower(std::string_view(line).substr(0, colon)),
                               line.substr(first, last - first + 1));
    }
    return answer;
}

RelayAnswer RelayToLoopback(std::uint16_t port, const std::string& method, const std::string& path,
                            const std::vector<std::pair<std::string, std::string>>& headers) {
    std::string request = method + " " + path + " HTTP/1.1\r\nHOST: 127.0.0.1:" + std::to_string(port) + "\r\n";
    for (const auto& [name, value] : headers) request += name + ": " + value + "\r\n";
    request += "\r\n";
    const Clock::time_point deadline = Clock::now() + UpnpLimits::kRelayTime;
    const UniqueFd fd = Connect(port, deadline);
    if (!fd || !SendAll(fd.get(), request, deadline)) return {};
    return ParseAnswerHead(ReceiveHead(fd.get(), deadline));
}

}  // namespace MediaServer
