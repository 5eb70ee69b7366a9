#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <ixml.h>

namespace MediaServer {

/// An action call as it stands in a SOAP body, or a state-variable query, whose only argument is "varName".
/// Standard: UPnP Device Architecture 1.0, 3.2 and 3.3.
struct SoapRequest {
    std::string service_type;  ///< namespace of the action element
    std::string action;
    std::vector<std::pair<std::string, std::string>> arguments;  ///< in their order; a name may repeat
};

inline constexpr std::string_view kControlNamespace = "urn:schemas-upnp-org:control-1-0";
inline constexpr std::string_view kQueryAction = "QueryStateVariable";

/// Reads a SOAP envelope. @return false for what is not well formed or beyond the bounds, an envelope without exactly
/// one action element, names that are no plain XML names, and arguments that hold elements.
bool ParseSoapRequest(std::string_view body, SoapRequest& request);

/// True when the value of a SOAPAction header ("type#action", quotes may lack) names this very action.
bool SoapActionMatches(std::string_view header, const SoapRequest& request);

/// A whole SOAP document around a response document of an action ("XResponse").
/// @param result  text of the output argument "Result", where that stands empty in the document.
std::string WriteSoapResponse(IXML_Document* response, std::string_view result = {});
/// The answer to a state-variable query.
std::string WriteSoapVariable(std::string_view value);
/// A SOAP fault with a UPnPError.
std::string WriteSoapFault(int code, std::string_view description);

}  // namespace MediaServer
