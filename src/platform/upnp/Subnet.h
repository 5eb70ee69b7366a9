#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace MediaServer {

/// An IPv4 network, both in host byte order.
struct Subnet {
    std::uint32_t address = 0;
    std::uint32_t mask = 0xffffffff;

    bool Contains(std::uint32_t other) const { return ((address ^ other) & mask) == 0; }
};

/// The networks of the interface that an address of this machine belongs to, that address's own first. The address
/// alone, as a network of one, when no interface has it.
std::vector<Subnet> SubnetsOf(const std::string& address);

}  // namespace MediaServer
