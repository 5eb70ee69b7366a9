#include "service/DeviceCallback.h"

#include <exception>
#include <string>
#include <string_view>

#include "model/ClientRequest.h"
#include "platform/system/Log.h"
#include "platform/system/LogLimit.h"
#include "service/DMSDevice.h"
#include "service/Discovery.h"

namespace MediaServer {
namespace {

// UPnP Device Architecture 1.0, table 3-4 (action errors) and 3.3.2 (queries).
constexpr int kInvalidAction = 401;
constexpr int kActionFailed = 501;
constexpr int kInvalidVariable = 404;
constexpr std::size_t kMaxErrorText = 179;

const char* Text(const UpnpString* string) {
    return UpnpString_get_String(string);
}

/// Cuts an error description to what the record holds, before a UTF-8 sequence that the cut would tear.
std::string ErrorText(std::string text) {
    if (text.size() <= kMaxErrorText) return text;
    std::size_t size = kMaxErrorText;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
    text.resize(size);
    return text;
}

int SetActionError(UpnpActionRequest* request, int code, const std::string& description) {
    UpnpActionRequest_strcpy_ErrStr(request, ErrorText(description).c_str());
    UpnpActionRequest_set_ErrCode(request, code);
    return code;
}

/// The handler's answer goes into the request. A handler that failed leaves no document, whatever it had begun.
int CallHandler(const ActionHandler& handler, ClientRequest& client, DMSService& service, UpnpActionRequest* request) {
    IXML_Document* response = nullptr;
    std::string error;
    int code = kActionFailed;
    try {
        code = handler(client, service, UpnpActionRequest_get_ActionRequest(request), &response, error);
    } catch (const std::exception& exception) {
        DMSPrintf(0, "could not answer action \"%s\": %s", Text(UpnpActionRequest_get_ActionName(request)),
                  exception.what());
        error = "Action Failed";
    }
    IxmlDocument answer(response);
    if (code != 0) return SetActionError(request, code, error);
    UpnpActionRequest_set_ActionResult(request, answer.release());
    return 0;
}

}  // namespace

int HandleActionRequest(DMSDevice& device, ActionRequestEvent& event) {
    device.WhileStarting().Pass();
    ClientRequest client{std::move(event.headers), {}, event.client_address, {}, {}};
    const auto profile = device.RecogniseClient(client.client_address, client.headers);
    if (!profile) return -1;

    UpnpActionRequest* request = event.request;
    const char* udn = Text(UpnpActionRequest_get_DevUDN(request));
    const char* service_id = Text(UpnpActionRequest_get_ServiceID(request));
    const char* action_name = Text(UpnpActionRequest_get_ActionName(request));
    UpnpActionRequest_set_ActionResult(request, nullptr);
    UpnpActionRequest_set_ErrCode(request, 0);
    DMSPrintf(3, "%s:%s:%s\n", udn, service_id, action_name);

    DMSService* service = device.FindService(udn, service_id);
    if (service == nullptr) return SetActionError(request, kInvalidAction, "Invalid Action");
    const auto action = service->actions.find(action_name);
    if (action == service->actions.end()) return SetActionError(request, kInvalidAction, "Invalid Action");
    client.profile_name = *profile;
    const int code = CallHandler(action->second, client, *service, request);
    event.result = std::move(client.result);
    return code;
}

/// @return false when there is no such variable.
/// @return false when there is no such variable.
bool ReadVariable(DMSDevice& device, const char* name, UpnpStateVarRequest* request) {
    std::lock_guard lock(device.DeviceMutex());
    const DMSService* service = device.FindService(Text(UpnpStateVarRequest_get_DevUDN(request)),
                                                   Text(UpnpStateVarRequest_get_ServiceID(request)));
    if (service == nullptr) return false;
    const auto variable = service->state_variables.find(name);
    if (variable == service->state_variables.end()) return false;
    // The setter copies the text (ixmlCloneDOMString), it only lacks the const.
    UpnpStateVarRequest_set_CurrentVal(request, const_cast<DOMString>(variable->second.c_str()));
    return true;
}

void HandleGetVar(DMSDevice& device, UpnpStateVarRequest* request) {
    const char* name = Text(UpnpStateVarRequest_get_StateVarName(request));
    if (ReadVariable(device, name, request)) {
        UpnpStateVarRequest_set_ErrCode(request, 0);
        return;
    }
    static LogLimit limit;
    if (limit.Admit()) {
        DMSPrintf(0, "Error in UPNP_CONTROL_GET_VAR_REQUEST callback:\n Unknown variable name = %s\n", name);
    }
    UpnpStateVarRequest_set_ErrCode(request, kInvalidVariable);
    UpnpStateVarRequest_strcpy_ErrStr(request, "Invalid Variable");
}

void HandleSubscription(DMSDevice& device, const UpnpSubscriptionRequest* request) {
    const char* udn = Text(UpnpSubscriptionRequest_get_UDN(request));
    const char* service_id = Text(UpnpSubscriptionRequest_get_ServiceId(request));
    // Held until the library has the values: an increment in between would be lost to this subscriber. The library
    // calls back without a lock of its own, so the order is always this mutex first.
    std::lock_guard lock(device.DeviceMutex());
    const DMSService* service = device.FindService(udn, service_id);
    if (service == nullptr) return;
    device.Library().UpnpAcceptSubscription(device.DeviceHandle(), udn, service_id, service->VariablesLocked(),
                                            request);
}

int DeviceCallback(Upnp_EventType type, const void* event, void* cookie) noexcept {
    DMSDevice& device = *static_cast<DMSDevice*>(cookie);
    // The library hands out its records as const, but waits for the answer in them.
    void* const record = const_cast<void*>(event);
    try {
        switch (static_cast<int>(type)) {
            case UPNP_CONTROL_ACTION_REQUEST:
                HandleActionRequest(device, *static_cast<ActionRequestEvent*>(record));
                break;
            case UPNP_CONTROL_GET_VAR_REQUEST:
                DMSPrintf(2, "UPNP_CONTROL_GET_VAR_REQUEST\n");
                HandleGetVar(device, static_cast<UpnpStateVarRequest*>(record));
                break;
            case UPNP_DISCOVERY_ADVERTISEMENT_ALIVE:
            case UPNP_DISCOVERY_SEARCH_RESULT:
                HandleDiscovery(device, static_cast<const UpnpDiscovery*>(event), type);
                break;
            case UPNP_EVENT_SUBSCRIPTION_REQUEST: {
                const auto* request = static_cast<const UpnpSubscriptionRequest*>(event);
                DMSPrintf(2, "UPNP_EVENT_SUBSCRIPTION_REQUEST, serviceid=%s, sid=%s\n",
                          Text(UpnpSubscriptionRequest_get_ServiceId(request)),
                          Text(UpnpSubscriptionRequest_get_SID(request)));
                HandleSubscription(device, request);
                break;
            }
            case UPNP_CONTROL_ACTION_COMPLETE:
            case UPNP_CONTROL_GET_VAR_COMPLETE:
            case UPNP_DISCOVERY_ADVERTISEMENT_BYEBYE:
            case UPNP_DISCOVERY_SEARCH_TIMEOUT:
            case UPNP_EVENT_RECEIVED:
            case UPNP_EVENT_RENEWAL_COMPLETE:
            case UPNP_EVENT_SUBSCRIBE_COMPLETE:
            case UPNP_EVENT_UNSUBSCRIBE_COMPLETE:
                break;
            default:
                DMSPrintf(0, "Error in TvDeviceCallbackEventHandler: unknown event type %d\n\n",
                          static_cast<int>(type));
        }
    } catch (const std::exception& exception) {
        DMSPrintf(0, "could not handle UPnP event %d: %s", static_cast<int>(type), exception.what());
    }
    return 0;
}

}  // namespace MediaServer
