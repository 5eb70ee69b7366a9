#pragma once

#include <upnp.h>

#include "platform/upnp/UpnpLibrary.h"

namespace MediaServer {

class DMSDevice;

/// The one callback of the UPnP library, for the root device and the control point. Called on many threads at once.
/// @param event   ActionRequestEvent for UPNP_CONTROL_ACTION_REQUEST, the library's own record for all others.
/// @param cookie  the DMSDevice.
/// @return 0.
int DeviceCallback(Upnp_EventType type, const void* event, void* cookie) noexcept;

/// Recognises the client, tests its access right and routes the action to its handler.
/// @return the error code stored in the request; -1 for a refused client, whose request stays as the library made it.
int HandleActionRequest(DMSDevice& device, ActionRequestEvent& event);
/// Tells the value of a state variable; for one that no service has, the error of the UPnP architecture.
void HandleGetVar(DMSDevice& device, UpnpStateVarRequest* request);
/// Accepts a subscription to a service of this device, with the values of its variables as the initial event.
void HandleSubscription(DMSDevice& device, const UpnpSubscriptionRequest* request);

}  // namespace MediaServer
