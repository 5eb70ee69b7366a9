#include "platform/upnp/PrivateListener.h"

#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/system/Directory.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/upnp/SearchSocket.h"

namespace {

/// Set while a LoopbackBinding of this thread lives.
thread_local const std::vector<MediaServer::Subnet>* own_subnets = nullptr;

int NextBind(int fd, const sockaddr* address, socklen_t size) {
    using Bind = int (*)(int, const sockaddr*, socklen_t);
    static const auto next = reinterpret_cast<Bind>(dlsym(RTLD_NEXT, "bind"));
    if (next) return next(fd, address, size);
    errno = ENOSYS;
    return -1;
}

bool IsTcp(int fd) {
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

int BindToLoopback(int fd, sa_family_t family) {
    if (family == AF_INET) {
        sockaddr_in loopback{};
        loopback.sin_family = AF_INET;
        loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return NextBind(fd, reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
    }
    // The IPv4 loopback in IPv6 notation, because ::1 does not exist where IPv6 has been switched off.
    const int off = 0;
    setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    sockaddr_in6 loopback{};
    loopback.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "::ffff:127.0.0.1", &loopback.sin6_addr);
    return NextBind(fd, reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
}

bool IsSsdp(const sockaddr& address) {
    constexpr std::uint16_t kSsdpPort = 1900;
    return address.sa_family == AF_INET && reinterpret_cast<const sockaddr_in&>(address).sin_port == htons(kSsdpPort);
}

}  // namespace

/// Stands before the C library's for the whole process; see LoopbackBinding.
extern "C" int bind(int fd, const sockaddr* address, socklen_t size) {
    if (!own_subnets || !address) return NextBind(fd, address, size);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    const sa_family_t family = address->sa_family;
    if ((family == AF_INET || family == AF_INET6) && IsTcp(fd)) return BindToLoopback(fd, family);
    if (IsSsdp(*address) && !MediaServer::GuardSearchSocket(fd, *own_subnets)) return -1;
    return NextBind(fd, address, size);
}

namespace MediaServer {

namespace {

constexpr std::size_t kMostTableBytes = 16 * 1024 * 1024;
constexpr const char* kSocketTables[] = {"/proc/net/tcp", "/proc/net/tcp6"};
constexpr std::string_view kListenState = "0A";
// Column of each field of a line, counted from the line number on.
enum Column { kLocalAddress = 1, kState = 3, kInode = 9 };

/// Addresses stand in memory order of 32-bit words, so an IPv4 one ends with its first byte.
bool IsLoopbackText(std::string_view address) {
    constexpr std::string_view kLoopback6 = "00000000000000000000000001000000";
    constexpr std::string_view kMappedPrefix = "0000000000000000FFFF0000";
    if (address == kLoopback6) return true;
    if (address.size() == kLoopback6.size() && address.substr(0, kMappedPrefix.size()) != kMappedPrefix) return false;
    return address.size() >= 8 && address.substr(address.size() - 2) == "7F";
}

std::optional<std::uint64_t> ParseInode(std::string_view text) {
    std::uint64_t inode = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), inode);
    if (error != std::errc() || end == text.data()) return std::nullopt;
    return inode;
}

}  // namespace

LoopbackBinding::LoopbackBinding(std::vector<Subnet> subnets) : subnets_(std::move(subnets)) {
    own_subnets = &subnets_;
}
LoopbackBinding::~LoopbackBinding() {
    own_subnets = nullptr;
}

std::vector<ListeningSocket> ParseSocketTable(std::string_view table) {
    std::vector<ListeningSocket> sockets;
    for (const std::string& line : Split(table, '\n')) {
        if (NLIBCStrTokIndex(line, " ", kState) != kListenState) continue;
        const std::string local = NLIBCStrTokIndex(line, " ", kLocalAddress);
        const auto inode = ParseInode(NLIBCStrTokIndex(line, " ", kInode));
        if (inode) sockets.push_back({*inode, IsLoopbackText(std::string_view(local).substr(0, local.find(':')))});
    }
    return sockets;
}

std::set<std::uint64_t> OwnSockets() {
    constexpr std::string_view kPrefix = "socket:[";
    std::set<std::uint64_t> sockets;
    const UniqueDirectory directory(opendir("/proc/self/fd"));
    if (!directory) return sockets;
    while (const dirent* entry = readdir(directory.get())) {
        char target[64];
        const ssize_t size = readlinkat(dirfd(directory.get()), entry->d_name, target, sizeof target);
        const std::string_view text(target, size > 0 ? static_cast<std::size_t>(size) : 0);
        if (text.substr(0, kPrefix.size()) != kPrefix) continue;
        if (const auto inode = ParseInode(text.substr(kPrefix.size()))) sockets.insert(*inode);
    }
    return sockets;
}

bool ListensOnLoopbackOnly(const std::set<std::uint64_t>& sockets) {
    std::size_t listening = 0;
    for (const char* path : kSocketTables) {
        const std::optional<std::string> table = ReadWholeFile(path, kMostTableBytes);
        if (!table) continue;  // a kernel without IPv6 has no second table
        for (const ListeningSocket& socket : ParseSocketTable(*table)) {
            if (sockets.count(socket.inode) == 0) continue;
            if (!socket.is_loopback) return false;
            ++listening;
        }
    }
    // The library has a listener. A table that does not show it proves nothing.
    return listening > 0;
}

}  // namespace MediaServer
