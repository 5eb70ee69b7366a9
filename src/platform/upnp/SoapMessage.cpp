#include "platform/upnp/SoapMessage.h"

#include <algorithm>

#include "platform/text/Text.h"
#include "platform/upnp/Ixml.h"
#include "platform/upnp/UpnpLimits.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {

namespace {

constexpr std::string_view kEnvelopeNamespace = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr std::string_view kEnvelopeStart =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>";
// What an answer takes beside its result, and how much a result grows as it is escaped, nearly always.
constexpr std::size_t kAnswerBytes = 1024;
constexpr double kEscapedGrowth = 1.7;
constexpr std::string_view kEnvelopeEnd = "</s:Body></s:Envelope>\n";

/// Names become part of documents that the DOM library parses, so nothing but a plain name passes.
bool IsPlainName(std::string_view name) {
    const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto is_allowed = [&](char c) { return is_letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; };
    return !name.empty() && name.size() <= UpnpLimits::kSoapNameBytes && is_letter(name.front()) &&
           std::all_of(name.begin(), name.end(), is_allowed);
}

/// Where the elements of a call stand: Envelope, Body, action, arguments.
enum Depth { kEnvelope, kBody, kAction, kArgument };

class SoapReader {
public:
    explicit SoapReader(SoapRequest& request) : request_(request) {}

    bool Visit(const XmlEvent& event) {
        switch (event.kind) {
            case XmlEvent::Kind::Start:
                return Start(event);
            case XmlEvent::Kind::Attribute:
                return true;  // not asked for
            case XmlEvent::Kind::Text:
                if (in_body_ && event.depth == kArgument) request_.arguments.back().second += event.text;
                return true;
            case XmlEvent::Kind::End:
                if (event.depth == kBody) in_body_ = false;
                return true;
        }
        return false;
    }

private:
    bool Start(const XmlEvent& event) {
        const bool is_envelope_part = event.name_space == kEnvelopeNamespace;
        if (event.depth == kEnvelope) return is_envelope_part && event.name == "Envelope";
        if (event.depth == kBody) {
            in_body_ = is_envelope_part && event.name == "Body";
            return true;
        }
        if (!in_body_) return true;  // a SOAP header
        if (event.depth == kAction) {
            if (!request_.action.empty() || !IsPlainName(event.name)) return false;
            request_.action = event.name;
            request_.service_type = event.name_space;
            return true;
        }
        if (event.depth > kArgument || !IsPlainName(event.name)) return false;
        if (request_.arguments.size() == UpnpLimits::kSoapArguments) return false;
        request_.arguments.emplace_back(event.name, "");
        return true;
    }

    SoapRequest& request_;
    bool in_body_ = false;
};

/// Writes an element and what is in it, or `result` into an empty one of that name. The DOM library's own printing
/// grows its buffer every few characters, which a page of search results would feel.
void WriteElement(IXML_Node* element, std::string_view result, std::string& out) {
    const char* name = ixmlNode_getNodeName(element);
    out.append("<").append(name);
    if (IXML_NamedNodeMap* attributes = ixmlNode_getAttributes(element)) {
        for (unsigned long i = 0; i < ixmlNamedNodeMap_getLength(attributes); ++i) {
            IXML_Node* attribute = ixmlNamedNodeMap_item(attributes, i);
            const char* value = ixmlNode_getNodeValue(attribute);
            out.append(" ").append(ixmlNode_getNodeName(attribute)).append("=\"");
            AppendXMLEscaped(out, value ? value : "");
            out.append("\"");
        }
        ixmlNamedNodeMap_free(attributes);
    }
    out.append(">");
    if (!result.empty() && std::string_view(name) == "Result" && NodeText(element).empty())
        AppendXMLEscaped(out, result);
    for (IXML_Node* child = ixmlNode_getFirstChild(element); child; child = ixmlNode_getNextSibling(child)) {
        if (ixmlNode_getNodeType(child) == eELEMENT_NODE)
            WriteElement(child, result, out);
        else if (const char* text = ixmlNode_getNodeValue(child))
            AppendXMLEscaped(out, text);
    }
    out.append("</").append(name).append(">");
}

}  // namespace

bool ParseSoapRequest(std::string_view body, SoapRequest& request) {
    request = {};
    SoapReader reader(request);
    return ReadXml(body, {UpnpLimits::kSoapElements, UpnpLimits::kDescriptionBytes},
                   [&](const XmlEvent& event) { return reader.Visit(event); }) &&
           !request.action.empty();
}

bool SoapActionMatches(std::string_view header, const SoapRequest& request) {
    if (header.size() >= 2 && header.front() == '"' && header.back() == '"')
        header = header.substr(1, header.size() - 2);
    const std::size_t hash = header.rfind('#');
    return hash != std::string_view::npos && header.substr(0, hash) == request.service_type &&
           header.substr(hash + 1) == request.action;
}

std::string WriteSoapResponse(IXML_Document* response, std::string_view result) {
    std::string out;
    out.reserve(kAnswerBytes + static_cast<std::size_t>(static_cast<double>(result.size()) * kEscapedGrowth));
    out.append(kEnvelopeStart);
    for (IXML_Node* node = ixmlNode_getFirstChild(reinterpret_cast<IXML_Node*>(response)); node;
         node = ixmlNode_getNextSibling(node))
        if (ixmlNode_getNodeType(node) == eELEMENT_NODE) WriteElement(node, result, out);
    out.append(kEnvelopeEnd);
    return out;
}

std::string WriteSoapVariable(std::string_view value) {
    std::string out(kEnvelopeStart);
    out.append("<u:QueryStateVariableResponse xmlns:u=\"").append(kControlNamespace).append("\"><return>");
    out.append(XMLEscape(value)).append("</return></u:QueryStateVariableResponse>");
    out.append(kEnvelopeEnd);
    return out;
}

std::string WriteSoapFault(int code, std::string_view description) {
    std::string out(kEnvelopeStart);
    out.append(
        "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring><detail><UPnPError xmlns=\"");
    out.append(kControlNamespace).append("\"><errorCode>").append(std::to_string(code)).append("</errorCode>");
    out.append("<errorDescription>").append(XMLEscape(description));
    out.append("</errorDescription></UPnPError></detail></s:Fault>");
    out.append(kEnvelopeEnd);
    return out;
}

}  // namespace MediaServer
