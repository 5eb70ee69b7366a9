#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <ixml.h>

namespace MediaServer {

struct IxmlDocumentDeleter {
    void operator()(IXML_Document* document) const noexcept { ixmlDocument_free(document); }
};
using IxmlDocument = std::unique_ptr<IXML_Document, IxmlDocumentDeleter>;

/// Text of the first element of that name anywhere in the document; empty when there is none.
std::string XMLGetFirstDocumentItem(IXML_Document* document, const char* name);
/// The document as text (ixmlPrintDocument), for the log.
std::string PrintDocument(IXML_Document* document);
/// Text of the first text child of a node, or empty.
std::string NodeText(IXML_Node* node);
/// First child element of that name, or null.
IXML_Node* FindChildElement(IXML_Node* parent, std::string_view name);
/// Attribute of an element, or empty; `present` tells the two apart when given.
std::string NodeAttribute(IXML_Node* element, const char* name, bool* present = nullptr);

}  // namespace MediaServer
