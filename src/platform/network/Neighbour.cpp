#include "platform/network/Neighbour.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/system/Files.h"

namespace MediaServer {
namespace {
constexpr std::uint16_t kDiscardPort = 9;
}

void ProvokeARPEntry(const std::string& ip_address) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kDiscardPort);
    if (inet_pton(AF_INET, ip_address.c_str(), &address.sin_addr) != 1) return;
    const UniqueFd socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!socket_fd || setsockopt(socket_fd.get(), SOL_SOCKET, SO_DONTROUTE, &on, sizeof on) != 0) return;
    // Whether it arrives does not matter, and a refusal is the answer wanted, too.
    (void)sendto(socket_fd.get(), "", 0, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace MediaServer
