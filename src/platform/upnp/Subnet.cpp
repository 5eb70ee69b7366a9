#include "platform/upnp/Subnet.h"

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
