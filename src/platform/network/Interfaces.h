#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

struct InterfaceInfo {
    std::string name;
    std::string ip_address;
    std::string mac_address;
};
/// Names and IPv4 addresses of the interfaces that can carry UPnP: up, not loopback, with an IPv4 address; those that
/// can multicast and have a default route first. `kind` 2 is the only kind (IPv4).
/// @return how many entries were filled (at most `limit`), below 1 on failure (NLIBCErrGet tells why).
int NLIBNetGetInterfaceInfo(std::vector<InterfaceInfo>& interfaces, int limit, int kind);

/// Record of the interface with that index in the order of NLIBNetGetInterfaceInfo. `flags` is reserved and 0.
/// @return 1 when it exists.
int NIMBNetGetCard1(int index, int flags, InterfaceInfo& record);

/// Name of this machine, cut at 255 bytes; nothing when the system does not tell.
std::optional<std::string> HostName();

/// Fills MAC address to IPv4 address of this machine's own interfaces, loopback included under the MAC
/// "00:00:00:00:00:01" (loopback has no hardware address, and a local client must still be told apart). Of an interface
/// with several addresses it has room for the first.
void DMSGetNetworkInterface(std::map<std::string, std::string>& mac_to_ip);

/// "aa:bb:cc:dd:ee:ff" of a neighbour, lower case, or "00:00:00:00:00:00" when the kernel does not know it. Answers for
/// this machine's own addresses as well, every one of them, with the interface's hardware address: they stand in no
/// neighbour table, yet programs on this machine are clients, too.
std::string GetMACAddressFromARPTable(const std::string& ip_address);

/// MAC of a client: what `own` (of DMSGetNetworkInterface) has for its address, else what the kernel knows now.
std::string FindClientMAC(const std::map<std::string, std::string>& own, const std::string& ip_address);

inline constexpr const char* kUnknownMAC = "00:00:00:00:00:00";

/// The same look-ups in tables that have been read: the text of /proc/net/arp and /proc/net/route.
std::string FindInARPTable(std::string_view arp_table, std::string_view ip_address);
bool HasDefaultRoute(std::string_view route_table, std::string_view device);

}  // namespace MediaServer
