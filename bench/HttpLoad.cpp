// A load generator that costs next to nothing: one request, again and again, on keep-alive connections.
//
//   http_load ADDRESS PORT CLIENTS SECONDS [FILE_BYTES] <REQUEST
//
// REQUEST is the whole request as it goes over the wire. With FILE_BYTES each asks for 64 KiB somewhere in a file of
// that size. Prints answers, answers per second, the median and the 99th percentile of the time to the last byte in
// milliseconds, the bytes of one answer, and the answers of the client that got the fewest and of the one that got the
// most; fails when an answer is not 200, or 206 for a part.

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Fail(const char* what) {
    throw std::runtime_error(std::string("could not ") + what + ": " + std::strerror(errno));
}

struct Client {
    int socket = -1;
    Clock::time_point asked;
    std::string head;         ///< what has come of the header block, while it is not complete
    std::size_t missing = 0;  ///< bytes of the body that have not come yet
    bool in_body = false;
    std::size_t answers = 0;
};

std::string ReadRequest() {
    std::string request;
    char buffer[4096];
    for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0;) request.append(buffer, got);
    return request;
}

int Connect(const char* address, int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(static_cast<std::uint16_t>(port));
    if (socket < 0 || inet_pton(AF_INET, address, &name.sin_addr) != 1) Fail("make a socket");
    if (connect(socket, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0) Fail("connect");
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

/// The same request each time, or the request for another part of a file each time.
class Requests {
public:
    Requests(std::string request, std::uint64_t file_bytes) : request_(std::move(request)), head_(request_.size() - 2) {
        if (file_bytes > kPartBytes) first_ = std::uniform_int_distribution<std::uint64_t>(0, file_bytes - kPartBytes);
    }
    const std::string& Next() {
        if (first_.max() == 0) return request_;
        const std::uint64_t first = first_(random_);
        request_.resize(head_);
        request_.append("Range: bytes=").append(std::to_string(first)).append("-");
        request_.append(std::to_string(first + kPartBytes - 1)).append("\r\n\r\n");
        return request_;
    }

private:
    static constexpr std::uint64_t kPartBytes = 64 * 1024;
    std::string request_;
    const std::size_t head_;  ///< length without the last line end
    std::mt19937_64 random_;  // the same places in every run
    std::uniform_int_distribution<std::uint64_t> first_{0, 0};
};

void Ask(Client& client, const std::string& request) {
    client.asked = Clock::now();
    client.head.clear();
    client.in_body = false;
    // A request is far smaller than an empty socket buffer, so it always goes whole.
    if (send(client.socket, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
        Fail("send the request");
}

/// Length of the body that a complete header block announces.
std::size_t BodyLength(std::string_view head) {
    if (!head.starts_with("HTTP/1.1 200 ") && !head.starts_with("HTTP/1.1 206 "))
        throw std::runtime_error("the answer is " + std::string(head.substr(0, 40)));
    constexpr std::string_view kField = "\r\nContent-Length: ";
    const std::size_t at = head.find(kField);
    std::size_t length = 0;
    if (at == std::string_view::npos) throw std::runtime_error("an answer has no length");
    std::from_chars(head.data() + at + kField.size(), head.data() + head.size(), length);
    return length;
}

/// Takes what has come. @return true when the answer is complete.
bool Take(Client& client, const char* data, std::size_t size, std::size_t& bytes) {
    if (!client.in_body) {
        client.head.append(data, size);
        const std::size_t end = client.head.find("\r\n\r\n");
        if (end == std::string::npos) return false;
        client.missing = bytes = BodyLength(client.head);
        client.in_body = true;
        size = client.head.size() - end - 4;
    }
    if (size > client.missing) throw std::runtime_error("an answer is longer than it says");
    client.missing -= size;
    return client.missing == 0;
}

void Run(const char* address, int port, std::size_t clients, double seconds, std::uint64_t file_bytes) {
    Requests requests(ReadRequest(), file_bytes);
    const int events = epoll_create1(0);
    std::vector<Client> all(clients);
    for (Client& client : all) {
        client.socket = Connect(address, port);
        epoll_event wanted{EPOLLIN, {&client}};
        if (epoll_ctl(events, EPOLL_CTL_ADD, client.socket, &wanted) != 0) Fail("wait for a socket");
        Ask(client, requests.Next());
    }
    std::vector<double> times;
    std::size_t bytes = 0;
    std::vector<char> buffer(1 << 20);
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end =
        begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    constexpr int kPatienceMs = 30000;
    while (Clock::now() < end) {
        epoll_event ready[64];
        const int count = epoll_wait(events, ready, std::size(ready), kPatienceMs);
        if (count <= 0) Fail("get an answer in time");
        for (int i = 0; i < count; ++i) {
            Client& client = *static_cast<Client*>(ready[i].data.ptr);
            const ssize_t got = recv(client.socket, buffer.data(), buffer.size(), 0);
            if (got <= 0) Fail("read an answer");
            if (!Take(client, buffer.data(), static_cast<std::size_t>(got), bytes)) continue;
            times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - client.asked).count());
            ++client.answers;
            Ask(client, requests.Next());
        }
    }
    const double took = std::chrono::duration<double>(Clock::now() - begin).count();
    if (times.empty()) throw std::runtime_error("no answer came in time");
    std::sort(times.begin(), times.end());
    const auto [fewest, most] = std::minmax_element(
        all.begin(), all.end(), [](const Client& left, const Client& right) { return left.answers < right.answers; });
    std::printf("%zu %.1f %.3f %.3f %zu %zu %zu\n", times.size(), static_cast<double>(times.size()) / took,
                times[times.size() / 2], times[times.size() * 99 / 100], bytes, fewest->answers, most->answers);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5 && argc != 6) {
        return std::fputs("usage: http_load ADDRESS PORT CLIENTS SECONDS [FILE_BYTES] <REQUEST\n", stderr), 2;
    }
    try {
        Run(argv[1], std::atoi(argv[2]), std::strtoul(argv[3], nullptr, 10), std::strtod(argv[4], nullptr),
            argc == 6 ? std::strtoull(argv[5], nullptr, 10) : 0);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "http_load: %s\n", error.what());
        return 1;
    }
    return 0;
}
