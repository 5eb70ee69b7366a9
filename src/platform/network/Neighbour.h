#pragma once

#include <string>

namespace MediaServer {

/// Makes the kernel look for the hardware address of a host on a directly attached network, by one empty datagram to
/// its discard port (RFC 863). A host that has only multicast to us is in no ARP table yet. Returns at once; the
/// answer, if there is one, shows in GetMACAddressFromARPTable() some milliseconds later. Nothing is sent to hosts
/// beyond a router.
void ProvokeARPEntry(const std::string& ip_address);

}  // namespace MediaServer
