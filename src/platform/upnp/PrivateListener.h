#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/upnp/Subnet.h"

namespace MediaServer {

/// While one lives, TCP sockets that its thread binds go to loopback with a free port, and what it binds is not
/// inherited by child processes. Its UDP socket of the SSDP port becomes the search socket (GuardSearchSocket). For
/// the start of the UPnP library, whose HTTP server must not face the network.
///
/// This works because the executable defines bind() itself; whatever the library calls comes here first.
class LoopbackBinding {
public:
    explicit LoopbackBinding(std::vector<Subnet> subnets);
    ~LoopbackBinding();
    LoopbackBinding(const LoopbackBinding&) = delete;
    LoopbackBinding& operator=(const LoopbackBinding&) = delete;

private:
    const std::vector<Subnet> subnets_;
};

/// A listening TCP socket of the kernel's table.
struct ListeningSocket {
    std::uint64_t inode;
    bool is_loopback;
};
/// Reads the lines of /proc/net/tcp or tcp6 whose state is LISTEN.
std::vector<ListeningSocket> ParseSocketTable(std::string_view table);

/// Inodes of the sockets that this process has open.
std::set<std::uint64_t> OwnSockets();
/// True when each of `sockets` that listens does so on loopback; false also when the kernel's tables cannot be read.
bool ListensOnLoopbackOnly(const std::set<std::uint64_t>& sockets);

}  // namespace MediaServer
