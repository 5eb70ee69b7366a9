#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "platform/upnp/GenaRequest.h"

namespace MediaServer {

/// Decides which searches are heard. Each one that is makes the UPnP library send an answer for the device and each of
/// its services, to an address that the sender may have invented; so every source gets a few at once and then a few a
/// second, and all sources together some more.
/// Threads: one.
class SearchGate {
public:
    using Clock = std::chrono::steady_clock;

    /// @param source  IPv4 address in host order.
    bool Admit(std::uint32_t source, Clock::time_point now);

private:
    struct Bucket {
        bool is_used = false;
        double tokens = 0;
        Clock::time_point updated{};

        void Fill(double burst, double rate, Clock::time_point now);
    };
    // By the last byte of the address: the hosts of a usual network do not share, and memory is bounded.
    std::array<Bucket, 256> sources_;
    Bucket all_;
};

/// Makes a bound UDP socket of the UPnP library its search socket: the kernel passes it only what comes from `subnet`,
/// and the searches among that go through a SearchGate. @return false when the kernel takes no filter.
///
/// The gate works because the executable defines recvfrom() itself; whatever the library calls comes here first.
bool GuardSearchSocket(int fd, const Subnet& subnet);
/// Before the library closes the socket for good.
void ForgetSearchSocket();

}  // namespace MediaServer
