#pragma once

#include <upnp.h>

namespace MediaServer {

class DMSDevice;

/// The device type that is searched for and recorded.
inline constexpr const char* kRendererType = "urn:schemas-upnp-org:device:MediaRenderer:1";

/// Records a renderer that announced itself or answered a search, with its address and the names in its description.
/// @param type  UPNP_DISCOVERY_ADVERTISEMENT_ALIVE or UPNP_DISCOVERY_SEARCH_RESULT.
/// @return 0 when the client list was updated, -1 otherwise.
/// Threads: any, at once; may take as long as the wait for a place and the download of a description.
int HandleDiscovery(DMSDevice& device, const UpnpDiscovery* event, Upnp_EventType type);

}  // namespace MediaServer
