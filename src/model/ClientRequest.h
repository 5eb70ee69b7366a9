#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/text/TextBuffer.h"

namespace MediaServer {

/// One request of a client: what the handlers know about who asks.
struct ClientRequest {
    std::map<std::string, std::string> headers;     ///< lower-cased names
    std::map<std::string, std::string> parameters;  ///< lower-cased names; HTTP virtual directory only
    std::string client_address;                     ///< dotted IPv4
    std::string profile_name;                       ///< empty until the client has been recognised
    /// Output argument "Result", which stands empty in the response document: a page of it may be a megabyte, too much
    /// to be copied through the nodes of a document.
    TextBuffer result;

    /// Value of a header, its name in any case; empty when absent.
    std::string Header(std::string_view name) const;
};

}  // namespace MediaServer
