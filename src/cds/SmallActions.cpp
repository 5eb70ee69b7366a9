#include <upnp.h>

#include "cds/CDSActions.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

int GetSearchCapabilities(const CDSContext& context, ClientRequest& request, DMSService& service,
                          IXML_Document** response) {
    DMSPrintf(3, "%s\n", "CDS_GetSearchCapabilities");
    const std::string capabilities = service.Variable("SearchCapabilities");
    const DMSClientChecker client(request.Header("user-agent"), request.profile_name, true);
    const bool searches = client.numbered_containers && context.options.Get(Option::kRokuSearch) == "yes";
    AddOutput(response, "GetSearchCapabilities", service, "SearchCaps", searches ? "*" : capabilities);
    return 0;
}

int GetSortCapabilities(ClientRequest& request, DMSService& service, IXML_Document** response) {
    DMSPrintf(3, "%s\n", "CDS_GetSortCapabilities");
    // A player that calls itself just this refuses a server that cannot sort, and then asks for no order.
    const bool claims_all = request.Header("user-agent") == "Mozilla/4.0 (compatible)";
    AddOutput(response, "GetSortCapabilities", service, "SortCaps",
              claims_all ? "*" : service.Variable("SortCapabilities"));
    return 0;
}

int GetSystemUpdateID(DMSService& service, IXML_Document** response) {
    const std::string id = service.Variable("SystemUpdateID");
    AddOutput(response, "GetSystemUpdateID", service, "Id", id);
    DMSPrintf(3, "%s: SystemUpdateID %s\n", "CDS_GetSystemUpdateID", id.c_str());
    return 0;
}

int GetProtocolInfo(DMSService& service, IXML_Document** response) {
    DMSPrintf(3, "%s\n", "ConnMgr_GetProtocolInfo");
    AddOutput(response, "GetProtocolInfo", service, "Source", service.Variable("SourceProtocolInfo"));
    AddOutput(response, "GetProtocolInfo", service, "Sink", service.Variable("SinkProtocolInfo"));
    return 0;
}

int GetCurrentConnectionIDs(DMSService& service, IXML_Document** response) {
    DMSPrintf(3, "%s\n", "ConnMgr_GetCurrentConnectionIDs");
    AddOutput(response, "GetCurrentConnectionIDs", service, "ConnectionIDs", service.Variable("CurrentConnectionIDs"));
    return 0;
}

// The server keeps no table of connections: every id is answered alike (UPnP ConnectionManager:1, 2.4.4).
int GetCurrentConnectionInfo(DMSService& service, IXML_Document* arguments, IXML_Document** response) {
    DMSPrintf(3, "%s\n", "ConnMgr_GetCurrentConnectionInfo");
    if (!StringIsNumeric(XMLGetFirstDocumentItem(arguments, "ConnectionID"), false)) return UPNP_E_INVALID_PARAM;
    static constexpr std::pair<const char*, const char*> kOutputs[] = {
        {"RcsID", "-1"},
        {"AVTransportID", "-1"},
        {"ProtocolInfo", ""},
        {"PeerConnectionManager", ""},
        {"PeerConnectionID", "-1"},
        {"Direction", "Output"},
        {"Status", "Unknown"},
    };
    for (const auto& [name, value] : kOutputs) AddOutput(response, "GetCurrentConnectionInfo", service, name, value);
    return 0;
}

int IsAuthorized(DMSService& service, IXML_Document** response) {
    AddOutput(response, "IsAuthorized", service, "Result", "1");
    return 0;
}

}  // namespace

std::map<std::string, ActionHandler> ContentDirectoryActions(const CDSContext& context) {
    return {
        {"GetSortCapabilities",
         [](ClientRequest& request, DMSService& service, IXML_Document*, IXML_Document** response, std::string&) {
             return GetSortCapabilities(request, service, response);
         }},
        {"GetSearchCapabilities",
         [context](ClientRequest& request, DMSService& service, IXML_Document*, IXML_Document** response,
                   std::string&) { return GetSearchCapabilities(context, request, service, response); }},
        {"GetSystemUpdateID", [](ClientRequest&, DMSService& service, IXML_Document*, IXML_Document** response,
                                 std::string&) { return GetSystemUpdateID(service, response); }},
        {"Browse",
         [context](ClientRequest& request, DMSService& service, IXML_Document* arguments, IXML_Document** response,
                   std::string& error) { return BrowseAction(context, request, service, arguments, response, error); }},
        {"Search",
         [context](ClientRequest& request, DMSService& service, IXML_Document* arguments, IXML_Document** response,
                   std::string& error) { return SearchAction(context, request, service, arguments, response, error); }},
    };
}

std::map<std::string, ActionHandler> ConnectionManagerActions() {
    return {
        {"GetCurrentConnectionIDs", [](ClientRequest&, DMSService& service, IXML_Document*, IXML_Document** response,
                                       std::string&) { return GetCurrentConnectionIDs(service, response); }},
        {"GetProtocolInfo", [](ClientRequest&, DMSService& service, IXML_Document*, IXML_Document** response,
                               std::string&) { return GetProtocolInfo(service, response); }},
        {"GetCurrentConnectionInfo",
         [](ClientRequest&, DMSService& service, IXML_Document* arguments, IXML_Document** response, std::string&) {
             return GetCurrentConnectionInfo(service, arguments, response);
         }},
    };
}

std::map<std::string, ActionHandler> RegistrarActions() {
    return {
        {"IsAuthorized", [](ClientRequest&, DMSService& service, IXML_Document*, IXML_Document** response,
                            std::string&) { return IsAuthorized(service, response); }},
    };
}

}  // namespace MediaServer
