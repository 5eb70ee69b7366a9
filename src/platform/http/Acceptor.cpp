#include "platform/http/Acceptor.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace MediaServer {

namespace {

constexpr int kListenBacklog = 256;
constexpr int kShortageMs = 50;  // until accepting is tried again

/// Whether only the client that was to be accepted is gone; otherwise the next try would fail as well.
bool IsOfOneClient(int error) {
    return error == EAGAIN || error == ECONNABORTED || error == EPROTO || error == EINTR;
}

}  // namespace

int Acceptor::Listen(const std::string& address, std::uint16_t port) {
    sockaddr_in name{};
    socklen_t name_size = sizeof name;
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &name.sin_addr) != 1) return EINVAL;
    UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (!listener || setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        listen(listener.get(), kListenBacklog) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&name), &name_size) != 0)
        return errno;
    port_ = ntohs(name.sin_port);
    listener_ = std::move(listener);
    return 0;
}

int Acceptor::Start(Taker take) {
    stop_.reset(eventfd(0, EFD_CLOEXEC));
    if (!stop_) return errno;
    take_ = std::move(take);
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

void Acceptor::Run() {
    pollfd waits[] = {{stop_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (;;) {
        const int ready = poll(waits, 2, -1);
        if (waits[0].revents != 0) return;
        if (ready < 0) continue;  // by a signal
        sockaddr_in address{};
        socklen_t size = sizeof address;
        UniqueFd client(
            accept4(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (client) {
            take_(std::move(client), address);
        } else if (!IsOfOneClient(errno)) {
            poll(waits, 1, kShortageMs);
        }
    }
}

void Acceptor::Stop() {
    if (thread_.joinable()) {
        eventfd_write(stop_.get(), 1);
        thread_.join();
    }
    listener_.reset();
}

}  // namespace MediaServer
