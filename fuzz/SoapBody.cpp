// The body of an action request, and the answers that repeat what was in it.
#include "Target.h"
#include "Xml.h"
#include "platform/text/Text.h"
#include "platform/upnp/SoapMessage.h"
#include "platform/upnp/UpnpLimits.h"

using namespace MediaServer;

namespace {

/// As a parser gives back what was written: line ends are one line feed.
std::string WithLineFeeds(std::string_view text) {
    std::string normal;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r') normal.push_back(text[i]);
        if (text[i] == '\r' && text.substr(i + 1, 1) != "\n") normal.push_back('\n');
    }
    return normal;
}

void TryValue(const std::string& value) {
    Require(IsWellFormed(WriteSoapFault(402, value)), "a fault that repeats a value is well formed");
    SoapRequest again;
    Require(ParseSoapRequest(WriteSoapVariable(value), again) && again.arguments.size() == 1,
            "an answer that repeats a value has one value");
    Require(again.arguments[0].second == WithLineFeeds(value), "a value comes back as it was");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view body = AsText(data, size);
    SoapRequest request;
    if (!ParseSoapRequest(body, request)) return 0;
    Require(request.arguments.size() <= UpnpLimits::kSoapArguments, "the arguments are few");
    Require(IsWellFormed("<" + request.action + "/>"), "an action is a name");
    Require(SoapActionMatches("\"" + request.service_type + "#" + request.action + "\"", request),
            "a request matches its own header");
    for (const auto& [name, value] : request.arguments) {
        Require(IsWellFormed("<" + name + "/>") && name.find(':') == std::string::npos, "an argument is a plain name");
        Require(value.size() <= body.size() * 4, "a value does not grow beyond what was sent");
        TryValue(value);
    }
    return 0;
}
