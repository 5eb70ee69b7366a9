#include "platform/upnp/SearchSocket.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

#include <dlfcn.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/text/Text.h"

namespace {

using namespace MediaServer;

std::atomic<int> search_socket{-1};  // set last, reset first
std::vector<Subnet> neighbours;      // empty when it is not known who they are

ssize_t NextRecvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* source, socklen_t* source_size) {
    using Recvfrom = ssize_t (*)(int, void*, size_t, int, sockaddr*, socklen_t*);
    static const auto next = reinterpret_cast<Recvfrom>(dlsym(RTLD_NEXT, "recvfrom"));
    if (next) return next(fd, buffer, size, flags, source, source_size);
    errno = ENOSYS;
    return -1;
}

/// What nobody bound hears on every address. The library's other sockets are on loopback.
bool IsUnbound(int fd) {
    sockaddr_in name{};
    socklen_t size = sizeof name;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size) == 0 && name.sin_family == AF_INET &&
           name.sin_addr.s_addr == htonl(INADDR_ANY);
}

bool IsNeighbour(std::uint32_t address) {
    return neighbours.empty() || std::any_of(neighbours.begin(), neighbours.end(),
                                             [address](const Subnet& subnet) { return subnet.Contains(address); });
}

/// Only the library's own thread reads its sockets.
bool IsHeard(std::span<char> datagram, const sockaddr& source, bool is_search_socket) {
    static DatagramGate searches(UpnpLimits::kSearches), announcements(UpnpLimits::kAnnouncements),
        answers(UpnpLimits::kAnswers);
    if (source.sa_family != AF_INET) return false;
    const std::uint32_t address = ntohl(reinterpret_cast<const sockaddr_in&>(source).sin_addr.s_addr);
    const DatagramKind kind = PrepareDatagram(datagram);
    if (kind == DatagramKind::Other || is_search_socket != (kind != DatagramKind::Answer)) return false;
    // The search socket's are the kernel's to choose.
    if (!is_search_socket && !IsNeighbour(address)) return false;
    DatagramGate& gate = kind == DatagramKind::Search         ? searches
                         : kind == DatagramKind::Announcement ? announcements
                                                              : answers;
    return gate.Admit(address, DatagramGate::Clock::now());
}

}  // namespace

/// Stands before the C library's for the whole process; see GuardSearchSocket. Nobody but the UPnP library asks who
/// sent something.
extern "C" ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* source, socklen_t* source_size) {
    const ssize_t got = NextRecvfrom(fd, buffer, size, flags, source, source_size);
    const int guarded = search_socket;
    if (got <= 0 || guarded < 0 || !source || (fd != guarded && !IsUnbound(fd))) return got;
    const std::span datagram(static_cast<char*>(buffer), std::min(static_cast<std::size_t>(got), size));
    if (IsHeard(datagram, *source, fd == guarded)) return got;
    errno = EAGAIN;
    return -1;
}

namespace MediaServer {

namespace {

constexpr std::string_view kSearchStart = "M-SEARCH ", kAnnouncementStart = "NOTIFY ";
constexpr std::string_view kAnswerStarts[] = {"HTTP/1.1 200 ", "HTTP/1.0 200 "};  // the older from small stacks

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// RFC 9110, 5.6.2. The library also takes blanks before the colon and fields on several lines.
bool IsToken(std::string_view name) {
    const auto is_allowed = [](char c) {
        return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), is_allowed);
}

/// Brings a number down to the longest delay, in as many digits as before. @return false when it is none.
bool BoundDelay(std::span<char> value) {
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!value.empty() && is_blank(value.front())) value = value.subspan(1);
    while (!value.empty() && is_blank(value.back())) value = value.first(value.size() - 1);
    if (value.empty() || !std::all_of(value.begin(), value.end(), IsDigit)) return false;
    const bool is_long = std::any_of(value.begin(), value.end() - 1, [](char c) { return c != '0'; });
    std::fill(value.begin(), value.end() - 1, '0');
    if (is_long || value.back() > UpnpLimits::kLongestSearchDelay) value.back() = UpnpLimits::kLongestSearchDelay;
    return true;
}

/// Bounds the MX of a search. @return false when there is not exactly one, or a line may be something else to others.
bool BoundSearch(std::span<char> search) {
    int delays = 0;
    for (bool is_first = true; !search.empty(); is_first = false) {
        const auto end = std::find(search.begin(), search.end(), '\n');
        if (end == search.end()) return false;
        std::span<char> line = search.first(static_cast<std::size_t>(end - search.begin()));
        search = search.subspan(line.size() + 1);
        if (!line.empty() && line.back() == '\r') line = line.first(line.size() - 1);
        if (line.empty()) break;
        const auto is_control = [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == 0x7f; };
        if (std::any_of(line.begin(), line.end(), is_control)) return false;
        if (is_first) continue;
        const std::string_view text(line.data(), line.size());
        const std::size_t colon = text.find(':');
        if (colon == std::string_view::npos || !IsToken(text.substr(0, colon))) return false;
        if (!EqualsIgnoreCase(text.substr(0, colon), "MX")) continue;
        if (++delays > 1 || !BoundDelay(line.subspan(colon + 1))) return false;
    }
    return delays == 1;
}

}  // namespace

void DatagramGate::Bucket::Fill(double burst, double rate, Clock::time_point now) {
    const std::chrono::duration<double> since = now - updated;
    tokens = is_used ? std::min(burst, tokens + since.count() * rate) : burst;
    is_used = true;
    updated = now;
}

bool DatagramGate::Admit(std::uint32_t source, Clock::time_point now) {
    Bucket& own = sources_[source % sources_.size()];
    own.Fill(rates_.at_once, rates_.per_second, now);
    all_.Fill(rates_.all_at_once, rates_.all_per_second, now);
    if (own.tokens < 1 || all_.tokens < 1) return false;
    --own.tokens;
    --all_.tokens;
    return true;
}

DatagramKind PrepareDatagram(std::span<char> datagram) {
    const std::string_view text(datagram.data(), datagram.size());
    if (text.starts_with(kAnnouncementStart)) return DatagramKind::Announcement;
    const bool is_answer = std::any_of(std::begin(kAnswerStarts), std::end(kAnswerStarts),
                                       [text](std::string_view start) { return text.starts_with(start); });
    if (is_answer) return DatagramKind::Answer;
    return text.starts_with(kSearchStart) && BoundSearch(datagram) ? DatagramKind::Search : DatagramKind::Other;
}

bool GuardSearchSocket(int fd, std::vector<Subnet> subnets) {
    constexpr std::uint32_t kSourceAddress = 12;  // in the IPv4 header
    constexpr std::uint32_t kWhole = 0xffffffff;
    constexpr std::size_t kMostSubnets = 64;  // a filter has a bound of its own
    const bool is_known =
        std::none_of(subnets.begin(), subnets.end(), [](const Subnet& subnet) { return subnet.mask == kWhole; });
    if (is_known && subnets.size() <= kMostSubnets) {
        std::vector<sock_filter> program;
        for (const Subnet& subnet : subnets) {
            program.insert(program.end(), {BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
                                                    static_cast<std::uint32_t>(SKF_NET_OFF) + kSourceAddress),
                                           BPF_STMT(BPF_ALU | BPF_AND | BPF_K, subnet.mask),
                                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, subnet.address & subnet.mask, 0, 1),
                                           BPF_STMT(BPF_RET | BPF_K, kWhole)});
        }
        program.push_back(BPF_STMT(BPF_RET | BPF_K, 0));
        const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
        if (setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0) return false;
        neighbours = std::move(subnets);
    } else {
        neighbours.clear();
    }
    search_socket = fd;
    return true;
}

void ForgetSearchSocket() {
    search_socket = -1;
}

}  // namespace MediaServer
