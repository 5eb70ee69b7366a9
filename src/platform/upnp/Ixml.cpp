#include "platform/upnp/Ixml.h"

namespace MediaServer {

namespace {

struct DomTextDeleter {
    void operator()(char* text) const noexcept { ixmlFreeDOMString(text); }
};
using DomText = std::unique_ptr<char, DomTextDeleter>;

/// First element of that name in the subtree of `node` and its following siblings, in document order.
IXML_Node* FindElement(IXML_Node* node, std::string_view name) {
    while (node) {
        if (ixmlNode_getNodeType(node) == eELEMENT_NODE && name == ixmlNode_getNodeName(node)) return node;
        if (IXML_Node* found = FindElement(ixmlNode_getFirstChild(node), name)) return found;
        node = ixmlNode_getNextSibling(node);
    }
    return nullptr;
}

}  // namespace

std::string XMLGetFirstDocumentItem(IXML_Document* document, const char* name) {
    if (!document || !name) return {};
    // A document begins with its node; its own siblings do not exist.
    return NodeText(FindElement(ixmlNode_getFirstChild(reinterpret_cast<IXML_Node*>(document)), name));
}

std::string PrintDocument(IXML_Document* document) {
    if (!document) return {};
    const DomText text(ixmlPrintDocument(document));
    return text ? text.get() : std::string();
}

std::string NodeText(IXML_Node* node) {
    const auto is_text = [](IXML_Node* child) {
        const IXML_NODE_TYPE type = static_cast<IXML_NODE_TYPE>(ixmlNode_getNodeType(child));
        return type == eTEXT_NODE || type == eCDATA_SECTION_NODE;
    };
    IXML_Node* child = node ? ixmlNode_getFirstChild(node) : nullptr;
    while (child && !is_text(child)) child = ixmlNode_getNextSibling(child);
    const char* value = child ? ixmlNode_getNodeValue(child) : nullptr;
    return value ? value : std::string();
}

IXML_Node* FindChildElement(IXML_Node* parent, std::string_view name) {
    IXML_Node* child = parent ? ixmlNode_getFirstChild(parent) : nullptr;
    while (child && (ixmlNode_getNodeType(child) != eELEMENT_NODE || name != ixmlNode_getNodeName(child)))
        child = ixmlNode_getNextSibling(child);
    return child;
}

std::string NodeAttribute(IXML_Node* element, const char* name, bool* present) {
    const char* value = nullptr;
    if (element && ixmlNode_getNodeType(element) == eELEMENT_NODE)
        value = ixmlElement_getAttribute(reinterpret_cast<IXML_Element*>(element), name);
    if (present) *present = value != nullptr;
    return value ? value : std::string();
}

}  // namespace MediaServer
