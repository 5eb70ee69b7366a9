#include "platform/upnp/UpnpControl.h"

#include <memory>

#include <UpnpString.h>
#include <arpa/inet.h>
#include <upnptools.h>

#include "platform/http/HttpFile.h"
#include "platform/upnp/Ixml.h"
#include "platform/upnp/SoapMessage.h"
#include "platform/upnp/UpnpLibrary.h"

namespace MediaServer {

namespace {

// UPnP Device Architecture 1.0, table 3-3.
constexpr int kInvalidAction = 401;
constexpr int kInvalidArgs = 402;
constexpr int kActionFailed = 501;

struct ActionRequestDeleter {
    void operator()(UpnpActionRequest* request) const noexcept {
        ixmlDocument_free(UpnpActionRequest_get_ActionRequest(request));
        ixmlDocument_free(UpnpActionRequest_get_ActionResult(request));
        UpnpActionRequest_delete(request);
    }
};
using ActionRequest = std::unique_ptr<UpnpActionRequest, ActionRequestDeleter>;

struct StateVarRequestDeleter {
    void operator()(UpnpStateVarRequest* request) const noexcept { UpnpStateVarRequest_delete(request); }
};
using StateVarRequest = std::unique_ptr<UpnpStateVarRequest, StateVarRequestDeleter>;

HttpResponse XmlResponse(int status, std::string body) {
    HttpResponse response;
    response.status = status;
    response.headers.emplace_back("Content-Type", "text/xml; charset=\"utf-8\"");
    // Required, and empty (UPnP Device Architecture 1.0, 3.2.2); the server library takes no value that is wholly so.
    response.headers.emplace_back("EXT", " ");
    response.body = std::move(body);
    return response;
}

HttpResponse Fault(int code, std::string_view description) {
    return XmlResponse(500, WriteSoapFault(code, description));
}

sockaddr_storage AddressOf(const std::string& client_address) {
    sockaddr_storage storage{};
    auto& address = reinterpret_cast<sockaddr_in&>(storage);
    address.sin_family = AF_INET;
    inet_pton(AF_INET, client_address.c_str(), &address.sin_addr);
    return storage;
}

/// The document that the library would have parsed from the body; null when out of memory.
IXML_Document* MakeActionDocument(const SoapRequest& soap) {
    const char* action = soap.action.c_str();
    const char* type = soap.service_type.c_str();
    if (soap.arguments.empty()) return UpnpMakeAction(action, type, 0, nullptr);
    IXML_Document* document = nullptr;
    for (const auto& [name, value] : soap.arguments) {
        if (UpnpAddToAction(&document, action, type, name.c_str(), value.c_str()) == UPNP_E_SUCCESS) continue;
        ixmlDocument_free(document);
        return nullptr;
    }
    return document;
}

HttpResponse AnswerAction(const HttpRequest& request, const SoapRequest& soap, const ServiceDescription& service,
                          Upnp_FunPtr callback, void* cookie) {
    const ActionRequest action(UpnpActionRequest_new());
    IXML_Document* document = action ? MakeActionDocument(soap) : nullptr;
    if (!document) return Fault(kActionFailed, "Action Failed");
    UpnpActionRequest_set_ActionRequest(action.get(), document);
    UpnpActionRequest_strcpy_ActionName(action.get(), soap.action.c_str());
    UpnpActionRequest_strcpy_DevUDN(action.get(), service.udn.c_str());
    UpnpActionRequest_strcpy_ServiceID(action.get(), service.id.c_str());
    const sockaddr_storage address = AddressOf(request.client_address);
    UpnpActionRequest_set_CtrlPtIPAddr(action.get(), &address);

    ActionRequestEvent event{action.get(), request.headers, request.client_address, {}};
    callback(UPNP_CONTROL_ACTION_REQUEST, &event, cookie);

    if (const int code = UpnpActionRequest_get_ErrCode(action.get()); code != UPNP_E_SUCCESS) {
        const char* description = UpnpActionRequest_get_ErrStr_cstr(action.get());
        // As the handler has it, also without a description: clients tell errors apart by the code.
        return Fault(code, description ? description : "");
    }
    // A callback that leaves neither a result nor an error has refused to act.
    IXML_Document* result = UpnpActionRequest_get_ActionResult(action.get());
    return result ? XmlResponse(200, WriteSoapResponse(result, event.result.View()))
                  : Fault(kActionFailed, "Action Failed");
}

HttpResponse AnswerQuery(const HttpRequest& request, const SoapRequest& soap, const ServiceDescription& service,
                         Upnp_FunPtr callback, void* cookie) {
    if (soap.arguments.size() != 1 || soap.arguments[0].first != "varName") return Fault(kInvalidArgs, "Invalid Args");
    const StateVarRequest query(UpnpStateVarRequest_new());
    if (!query) return Fault(kActionFailed, "Action Failed");
    UpnpStateVarRequest_strcpy_DevUDN(query.get(), service.udn.c_str());
    UpnpStateVarRequest_strcpy_ServiceID(query.get(), service.id.c_str());
    UpnpStateVarRequest_strcpy_StateVarName(query.get(), soap.arguments[0].second.c_str());
    const sockaddr_storage address = AddressOf(request.client_address);
    UpnpStateVarRequest_set_CtrlPtIPAddr(query.get(), &address);

    callback(UPNP_CONTROL_GET_VAR_REQUEST, query.get(), cookie);

    const int code = UpnpStateVarRequest_get_ErrCode(query.get());
    const char* value = UpnpStateVarRequest_get_CurrentVal_cstr(query.get());
    if (code == UPNP_E_SUCCESS && value) return XmlResponse(200, WriteSoapVariable(value));
    const char* description = UpnpStateVarRequest_get_ErrStr_cstr(query.get());
    constexpr int kInvalidVariable = 404;
    return code != UPNP_E_SUCCESS && description && *description ? Fault(code, description)
                                                                 : Fault(kInvalidVariable, "Invalid Var");
}

}  // namespace

HttpResponse AnswerControl(const HttpRequest& request, const ServiceDescription& service, Upnp_FunPtr callback,
                           void* cookie) {
    SoapRequest soap;
    if (!ParseSoapRequest(request.body, soap)) return PlainResponse(400);
    if (!SoapActionMatches(request.Header("soapaction"), soap)) return Fault(kInvalidAction, "Invalid Action");
    if (soap.service_type == kControlNamespace && soap.action == kQueryAction)
        return AnswerQuery(request, soap, service, callback, cookie);
    if (soap.service_type != service.type) return Fault(kInvalidAction, "Invalid Action");
    return AnswerAction(request, soap, service, callback, cookie);
}

}  // namespace MediaServer
