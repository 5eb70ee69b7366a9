#include "service/Discovery.h"

#include <chrono>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "platform/network/Interfaces.h"
#include "platform/network/Neighbour.h"
#include "platform/system/Log.h"
#include "service/DMSDevice.h"

namespace MediaServer {
namespace {

// An answer to ARP takes a millisecond on a wire, some tens on a sleeping wireless link.
constexpr int kNeighbourLooks = 10;
constexpr std::chrono::milliseconds kNeighbourPause{30};

/// Dotted text of an IPv4 source; empty for another family.
std::string DottedAddress(const sockaddr_storage* source) {
    char text[INET_ADDRSTRLEN] = "";
    if (source == nullptr || source->ss_family != AF_INET) return {};
    const auto* address = reinterpret_cast<const sockaddr_in*>(source);
    return inet_ntop(AF_INET, &address->sin_addr, text, sizeof text) == nullptr ? std::string() : std::string(text);
}

/// MAC address of a host that has not talked to this one yet: announcements come by multicast, which teaches the kernel
/// nothing about their sender. kUnknownMAC when it does not show itself in time.
std::string AwaitNeighbour(DMSDevice& device, const std::string& address) {
    ProvokeARPEntry(address);
    for (int i = 0; i < kNeighbourLooks; ++i) {
        std::this_thread::sleep_for(kNeighbourPause);
        const std::string mac = device.MacOfClient(address);
        if (mac != kUnknownMAC) return mac;
    }
    return kUnknownMAC;
}

}  // namespace

int HandleDiscovery(DMSDevice& device, const UpnpDiscovery* event, Upnp_EventType type) {
    if (UpnpDiscovery_get_ErrCode(event) != UPNP_E_SUCCESS) return -1;
    const std::string_view device_type = UpnpString_get_String(UpnpDiscovery_get_DeviceType(event));
    if (type == UPNP_DISCOVERY_ADVERTISEMENT_ALIVE && device_type != kRendererType) return -1;

    const std::string address = DottedAddress(UpnpDiscovery_get_DestAddr(event));
    const std::string location = UpnpString_get_String(UpnpDiscovery_get_Location(event));
    const auto ticket = device.Downloads().Enter(address, location, DownloadGate::Clock::now());
    std::string mac = device.MacOfClient(address);
    if (mac == kUnknownMAC && ticket != nullptr) mac = AwaitNeighbour(device, address);
    if (mac == kUnknownMAC) {
        DMSPrintf(2, "Warning: Get 00:00:00:00:00:00 MAC address by %s from ARP table\n", address.c_str());
        return -1;
    }
    if (ticket == nullptr) return -1;
    const auto names = UpnpDownloadXmlDoc(location, address, SubnetsOf(device.Library().UpnpGetServerIpAddress()),
                                          {"modelName", "modelDescription", "friendlyName", "manufacturer"});
    if (!names) return -1;
    device.UpdateKeys("HandleDiscovery", mac, address, *names);
    return 0;
}

}  // namespace MediaServer
