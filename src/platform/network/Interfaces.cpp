#include "platform/network/Interfaces.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <sstream>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <unistd.h>

#include "platform/system/Files.h"

namespace MediaServer {

namespace {

/// The kernel's tables are short lines; a table beyond this is not one that a home network fills.
constexpr std::size_t kMaxTableBytes = 4 * 1024 * 1024;
constexpr const char* kLoopbackMAC = "00:00:00:00:00:01";
constexpr std::size_t kMACBytes = 6;

struct IfAddrsDeleter {
    void operator()(ifaddrs* list) const noexcept { freeifaddrs(list); }
};
using IfAddrs = std::unique_ptr<ifaddrs, IfAddrsDeleter>;

IfAddrs ReadAddresses() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        NLIBCErrSet(errno);
        return nullptr;
    }
    return IfAddrs{list};
}

std::string FormatMAC(const unsigned char* bytes) {
    std::array<char, sizeof "00:00:00:00:00:00"> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3],
                  bytes[4], bytes[5]);
    return text.data();
}

/// Hardware address of each interface that has one.
std::map<std::string, std::string> HardwareAddresses(const ifaddrs* list) {
    std::map<std::string, std::string> addresses;
    for (; list != nullptr; list = list->ifa_next) {
        if (list->ifa_addr == nullptr || list->ifa_addr->sa_family != AF_PACKET) continue;
        const auto* link = reinterpret_cast<const sockaddr_ll*>(list->ifa_addr);
        if (link->sll_halen == kMACBytes) addresses.emplace(list->ifa_name, FormatMAC(link->sll_addr));
    }
    return addresses;
}

std::string IPv4Of(const ifaddrs& entry) {
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET) return {};
    std::array<char, INET_ADDRSTRLEN> text{};
    const auto* address = reinterpret_cast<const sockaddr_in*>(entry.ifa_addr);
    return inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size()) != nullptr ? text.data() : std::string{};
}

/// The device that a name such as "eth0:1" (a second address) belongs to.
std::string DeviceOf(const std::string& name) {
    return name.substr(0, name.find(':'));
}

/// IPv4 and hardware address of every interface of this machine that has both, all addresses of an interface.
std::vector<std::pair<std::string, std::string>> OwnAddresses() {
    std::vector<std::pair<std::string, std::string>> addresses;
    const IfAddrs list = ReadAddresses();
    const auto hardware = HardwareAddresses(list.get());
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        std::string ip_address = IPv4Of(*entry);
        if (ip_address.empty()) continue;
        const auto mac = hardware.find(DeviceOf(entry->ifa_name));
        if ((entry->ifa_flags & IFF_LOOPBACK) != 0) {
            addresses.emplace_back(std::move(ip_address), kLoopbackMAC);
        } else if (mac != hardware.end() && mac->second != kUnknownMAC) {
            addresses.emplace_back(std::move(ip_address), mac->second);
        }
    }
    return addresses;
}

/// Smaller comes first: where televisions are most likely to be. A tunnel, for example, cannot multicast.
int Rank(unsigned flags, bool has_default_route) {
    if ((flags & IFF_MULTICAST) == 0) return 3;
    if (has_default_route) return 0;
    return (flags & IFF_RUNNING) != 0 ? 1 : 2;
}

}  // namespace

bool HasDefaultRoute(std::string_view route_table, std::string_view device) {
    std::istringstream lines{std::string{route_table}};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields{line};
        std::string name, destination, gateway, flags, references, use, metric, mask;
        fields >> name >> destination >> gateway >> flags >> references >> use >> metric >> mask;
        if (name == device && destination == "00000000" && mask == "00000000") return true;
    }
    return false;
}

std::string FindInARPTable(std::string_view arp_table, std::string_view ip_address) {
    std::istringstream lines{std::string{arp_table}};
    std::string line;
    std::getline(lines, line);  // the heading
    while (std::getline(lines, line)) {
        std::istringstream fields{line};
        std::string ip, type, flags, mac;
        // An entry that the kernel is still asking for has the hardware address 00:00:00:00:00:00; another device may
        // know the neighbour already.
        if (fields >> ip >> type >> flags >> mac && ip == ip_address && mac != kUnknownMAC) return mac;
    }
    return kUnknownMAC;
}

int NLIBNetGetInterfaceInfo(std::vector<InterfaceInfo>& interfaces, int limit, int kind) {
    constexpr int kIPv4 = 2;
    interfaces.clear();
    if (kind != kIPv4 || limit < 1) {
        NLIBCErrSet(EINVAL);
        return -1;
    }
    const IfAddrs list = ReadAddresses();
    if (!list) return -1;
    const auto hardware = HardwareAddresses(list.get());
    const std::string routes = ReadWholeFile("/proc/net/route", kMaxTableBytes).value_or("");
    std::vector<std::pair<int, InterfaceInfo>> ranked;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        const std::string ip_address = IPv4Of(*entry);
        if (ip_address.empty() || (entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
        const auto mac = hardware.find(DeviceOf(entry->ifa_name));
        ranked.emplace_back(
            Rank(entry->ifa_flags, HasDefaultRoute(routes, DeviceOf(entry->ifa_name))),
            InterfaceInfo{entry->ifa_name, ip_address, mac == hardware.end() ? kUnknownMAC : mac->second});
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    ranked.resize(std::min(ranked.size(), static_cast<std::size_t>(limit)));
    for (auto& [rank, info] : ranked) interfaces.push_back(std::move(info));
    if (interfaces.empty()) NLIBCErrSet(ENODEV);
    return static_cast<int>(interfaces.size());
}

int NIMBNetGetCard1(int index, int /*flags*/, InterfaceInfo& record) {
    constexpr int kMaxInterfaces = 32;
    std::vector<InterfaceInfo> interfaces;
    if (index < 0 || NLIBNetGetInterfaceInfo(interfaces, kMaxInterfaces, 2) <= index) return 0;
    record = std::move(interfaces[static_cast<std::size_t>(index)]);
    return 1;
}

std::optional<std::string> HostName() {
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
    return std::string(name.data());
}

void DMSGetNetworkInterface(std::map<std::string, std::string>& mac_to_ip) {
    mac_to_ip.clear();
    for (auto& [ip_address, mac] : OwnAddresses()) mac_to_ip.emplace(std::move(mac), ip_address);
}

std::string GetMACAddressFromARPTable(const std::string& ip_address) {
    std::string mac = FindInARPTable(ReadWholeFile("/proc/net/arp", kMaxTableBytes).value_or(""), ip_address);
    if (mac != kUnknownMAC) return mac;
    for (auto& [own_address, own_mac] : OwnAddresses()) {
        if (own_address == ip_address) return std::move(own_mac);
    }
    return mac;
}

std::string FindClientMAC(const std::map<std::string, std::string>& own, const std::string& ip_address) {
    for (const auto& [mac, own_address] : own) {
        if (own_address == ip_address) return mac;
    }
    return GetMACAddressFromARPTable(ip_address);
}

}  // namespace MediaServer
