#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "cds/DMSService.h"
#include "model/ServiceOptions.h"
#include "tree/ContentDirectoryService.h"

namespace MediaServer {

/// What the action handlers work with; the tables keep a copy. What it refers to outlives them.
struct CDSContext {
    ContentDirectoryService& directory;
    const ServiceOptions& options;
    std::string server_address;
    std::uint16_t server_port;
};

/// Browse (UPnP ContentDirectory:1, 2.7.4).
int BrowseAction(const CDSContext& context, ClientRequest& request, DMSService& service, IXML_Document* arguments,
                 IXML_Document** response, std::string& error);

/// Search (UPnP ContentDirectory:1, 2.7.5). Only three kinds of client may search, each in a built-in menu of its own;
/// as long as there are no such menus every search is answered with error 701.
int SearchAction(ClientRequest& request, DMSService& service, IXML_Document* arguments, IXML_Document** response,
                 std::string& error);

/// Action tables of the three services.
std::map<std::string, ActionHandler> ContentDirectoryActions(const CDSContext& context);
std::map<std::string, ActionHandler> ConnectionManagerActions();
std::map<std::string, ActionHandler> RegistrarActions();

/// Initial value of SourceProtocolInfo: the formats that the server can send, as one text.
const std::string& SourceProtocolList();

}  // namespace MediaServer
