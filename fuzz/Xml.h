#pragma once

#include <string_view>

#include <libxml/parser.h>

namespace MediaServer {

/// The XML library's word on whether a document is well formed.
inline bool IsWellFormed(std::string_view document) {
    xmlDoc* parsed = xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                                   XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (parsed == nullptr) return false;
    xmlFreeDoc(parsed);
    return true;
}

}  // namespace MediaServer
