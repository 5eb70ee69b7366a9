#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include <netinet/in.h>

#include "platform/system/Files.h"

namespace MediaServer {

/// A listening TCP socket and the thread that takes connections from it. Out of descriptors or memory it waits a moment
/// and leaves who connects in the kernel's queue. Threads: Start and Stop from one.
class Acceptor {
public:
    /// Takes a connection over; called on the thread. Must not throw and not wait.
    using Taker = std::function<void(UniqueFd client, const sockaddr_in& address)>;

    Acceptor() = default;
    ~Acceptor() { Stop(); }
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

    /// @param address  IPv4 literal. @param port  0 for any that is free.
    /// @return 0, or the errno value of what failed.
    int Listen(const std::string& address, std::uint16_t port);
    /// Where it listens; 0 when it does not.
    std::uint16_t Port() const { return port_; }
    /// After Listen. @return 0, or the errno value of what failed.
    int Start(Taker take);
    /// Listens no more; nothing is taken after it returns.
    void Stop();

private:
    void Run();

    std::uint16_t port_ = 0;
    UniqueFd listener_;
    UniqueFd stop_;  ///< readable once the thread is to end
    Taker take_;
    std::thread thread_;
};

}  // namespace MediaServer
