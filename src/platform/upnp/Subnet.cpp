#include "platform/upnp/Subnet.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include <arpa/inet.h>
#include <ifaddrs.h>

namespace MediaServer {

namespace {

std::uint32_t HostOrder(const sockaddr* address) {
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

/// Name of the interface without the label of one of its addresses ("eth0:1").
std::string_view InterfaceOf(const ifaddrs& entry) {
    const std::string_view name = entry.ifa_name;
    return name.substr(0, name.find(':'));
}

}  // namespace

bool IsNearby(const std::string& host, const std::string& address, std::span<const Subnet> subnets) {
    in_addr parsed{};
    // The conversion would take a NUL for the end of the text.
    if (host.find('\0') != std::string::npos || inet_pton(AF_INET, host.c_str(), &parsed) != 1) return false;
    if (host == address) return true;
    const std::uint32_t number = ntohl(parsed.s_addr);
    return std::any_of(subnets.begin(), subnets.end(), [number](const Subnet& subnet) {
        const std::uint32_t host_part = number & ~subnet.mask;
        return host_part != 0 && host_part != ~subnet.mask && subnet.Contains(number);
    });
}

std::vector<Subnet> SubnetsOf(const std::string& address) {
    in_addr parsed{};
    inet_pton(AF_INET, address.c_str(), &parsed);
    std::vector<Subnet> subnets{{ntohl(parsed.s_addr), 0xffffffff}};
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return subnets;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    const auto is_ipv4 = [](const ifaddrs& entry) {
        return entry.ifa_addr && entry.ifa_netmask && entry.ifa_addr->sa_family == AF_INET;
    };
    const ifaddrs* own = list;
    while (own && !(is_ipv4(*own) && HostOrder(own->ifa_addr) == subnets[0].address)) own = own->ifa_next;
    if (!own) return subnets;
    subnets[0].mask = HostOrder(own->ifa_netmask);
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (entry != own && is_ipv4(*entry) && InterfaceOf(*entry) == InterfaceOf(*own))
            subnets.push_back({HostOrder(entry->ifa_addr), HostOrder(entry->ifa_netmask)});
    }
    return subnets;
}

}  // namespace MediaServer
