#include "platform/upnp/SearchSocket.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string_view>

#include <dlfcn.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/upnp/UpnpLimits.h"

namespace {

std::atomic<int> search_socket{-1};

ssize_t NextRecvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* source, socklen_t* source_size) {
    using Recvfrom = ssize_t (*)(int, void*, size_t, int, sockaddr*, socklen_t*);
    static const auto next = reinterpret_cast<Recvfrom>(dlsym(RTLD_NEXT, "recvfrom"));
    if (next) return next(fd, buffer, size, flags, source, source_size);
    errno = ENOSYS;
    return -1;
}

/// Only the library's own thread reads the search socket.
bool IsHeard(std::string_view datagram, const sockaddr* source) {
    if (!datagram.starts_with("M-SEARCH")) return true;
    if (!source || source->sa_family != AF_INET) return false;
    static MediaServer::SearchGate gate;
    return gate.Admit(ntohl(reinterpret_cast<const sockaddr_in*>(source)->sin_addr.s_addr),
                      MediaServer::SearchGate::Clock::now());
}

}  // namespace

/// Stands before the C library's for the whole process; see GuardSearchSocket.
extern "C" ssize_t recvfrom(int fd, void* buffer, size_t size, int flags, sockaddr* source, socklen_t* source_size) {
    const ssize_t got = NextRecvfrom(fd, buffer, size, flags, source, source_size);
    if (got <= 0 || fd != search_socket) return got;
    if (IsHeard({static_cast<const char*>(buffer), static_cast<std::size_t>(got)}, source)) return got;
    errno = EAGAIN;
    return -1;
}

namespace MediaServer {

void SearchGate::Bucket::Fill(double burst, double rate, Clock::time_point now) {
    const std::chrono::duration<double> since = now - updated;
    tokens = is_used ? std::min(burst, tokens + since.count() * rate) : burst;
    is_used = true;
    updated = now;
}

bool SearchGate::Admit(std::uint32_t source, Clock::time_point now) {
    Bucket& own = sources_[source % sources_.size()];
    own.Fill(UpnpLimits::kSearchesAtOnce, UpnpLimits::kSearchesPerSecond, now);
    all_.Fill(UpnpLimits::kAllSearchesAtOnce, UpnpLimits::kAllSearchesPerSecond, now);
    if (own.tokens < 1 || all_.tokens < 1) return false;
    --own.tokens;
    --all_.tokens;
    return true;
}

bool GuardSearchSocket(int fd, const Subnet& subnet) {
    constexpr std::uint32_t kSourceAddress = 12;  // in the IPv4 header
    constexpr std::uint32_t kWhole = 0xffffffff;
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(SKF_NET_OFF) + kSourceAddress),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, subnet.mask),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, subnet.address & subnet.mask, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, kWhole),
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
    if (setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0) return false;
    search_socket = fd;
    return true;
}

void ForgetSearchSocket() {
    search_socket = -1;
}

}  // namespace MediaServer
