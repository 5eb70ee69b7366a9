#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/upnp/Subnet.h"
#include "platform/upnp/UpnpLimits.h"

namespace MediaServer {

/// Decides which datagrams of one kind are heard. Each search that is makes the UPnP library send an answer for the
/// device and each of its services, to an address that the sender may have invented, and each announcement is work; so
/// every source gets a few at once and then a few a second, and all sources together some more.
/// Threads: one.
class DatagramGate {
public:
    using Clock = std::chrono::steady_clock;

    explicit DatagramGate(const UpnpLimits::DatagramRates& rates) : rates_(rates) {}

    /// @param source  IPv4 address in host order.
    bool Admit(std::uint32_t source, Clock::time_point now);

private:
    struct Bucket {
        bool is_used = false;
        double tokens = 0;
        Clock::time_point updated{};

        void Fill(double burst, double rate, Clock::time_point now);
    };
    const UpnpLimits::DatagramRates rates_;
    // By the last byte of the address: the hosts of a usual network do not share, and memory is bounded.
    std::array<Bucket, 256> sources_;
    Bucket all_;
};

/// What a datagram is: its first bytes tell, and nothing may stand before them. The first two belong to the SSDP port,
/// answers to our own searches to the socket that those are sent from.
enum class DatagramKind { Search, Announcement, Answer, Other };

/// Classifies a datagram and makes it safe for the library: the MX of a search comes down to
/// UpnpLimits::kLongestSearchDelay, in place. Other is whatever the library has no business with, among it searches
/// whose header block could be read in two ways, and those that name no MX or several.
DatagramKind PrepareDatagram(std::span<char> datagram);

/// Makes a bound UDP socket of the UPnP library its search socket: the kernel passes it only what comes from one of
/// `subnets`, and the searches and announcements among that go through a DatagramGate each; all else is read and
/// forgotten. A subnet of a single address (a tunnel, a routed host) says nothing about who the neighbours are; with
/// one the kernel passes all. @return false when the kernel takes no filter.
///
/// From then on the socket that the library sends its own searches from, which nobody binds, hears answers from
/// `subnets` and nothing else, also through a gate.
///
/// The gates work because the executable defines recvfrom() itself; whatever the library calls comes here first.
bool GuardSearchSocket(int fd, std::vector<Subnet> subnets);
/// Before the library closes the socket for good.
void ForgetSearchSocket();

}  // namespace MediaServer
