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

/// Search (UPnP ContentDirectory:1, 2.7.5). Three kinds of client may search, each in a built-in menu of its own; every
/// other search is answered with error 701, criteria that cannot be understood with 708.
int SearchAction(const CDSContext& context, ClientRequest& request, DMSService& service, IXML_Document* arguments,
                 IXML_Document** response, std::string& error);

/// Negated "Unsupported or invalid search criteria" (UPnP ContentDirectory:1, 2.7.5.4).
inline constexpr std::int32_t kBadCriteria = -708;

/// Looks for the node that answers this client's search and lets it write.
/// @param start,count  as in BrowseQuery.
/// @return objects written, or a negated UPnP error code.
std::int32_t SearchObjects(ContentDirectoryService& directory, const ClientRequest& request,
                           const std::string& container_id, const std::string& criteria, std::uint32_t filter_mask,
                           std::uint32_t options, std::int32_t start, std::int32_t count, CDSObjectSerializer& out,
                           std::int32_t& total);

/// Answers criteria from the music table, for numbered-container clients. As SearchObjects.
std::int32_t TranslateCriteria(ContentDirectoryService& directory, const std::string& criteria,
                               std::uint32_t filter_mask, std::uint32_t options, std::int32_t start, std::int32_t count,
                               CDSObjectSerializer& out, std::int32_t& total);

/// Smallest id of the songs whose column has that value, as text; empty when there is none.
/// @param column  of the music table; never a client's text.
std::string MinArtistId(const std::string& column, std::string_view value);

/// Action tables of the three services.
std::map<std::string, ActionHandler> ContentDirectoryActions(const CDSContext& context);
std::map<std::string, ActionHandler> ConnectionManagerActions();
std::map<std::string, ActionHandler> RegistrarActions();

/// Initial value of SourceProtocolInfo: the formats that the server can send, as one text.
const std::string& SourceProtocolList();

}  // namespace MediaServer
