#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace MediaServer {

/// An IPv4 network, both in host byte order.
struct Subnet {
    std::uint32_t address = 0;
    std::uint32_t mask = 0xffffffff;

    bool Contains(std::uint32_t other) const { return ((address ^ other) & mask) == 0; }
};

/// True for an IPv4 literal that is `address` itself or a host of one of the networks, which their own address and the
/// broadcast address are not. Whom a stranger at `address` names must not be a third party elsewhere.
bool IsNearby(const std::string& host, const std::string& address, std::span<const Subnet> subnets);

/// The networks of the interface that an address of this machine belongs to, that address's own first. The address
/// alone, as a network of one, when no interface has it.
std::vector<Subnet> SubnetsOf(const std::string& address);

}  // namespace MediaServer
