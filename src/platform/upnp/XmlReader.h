#pragma once

#include <functional>
#include <string_view>

namespace MediaServer {

/// One step through a document. The views live until the next step.
struct XmlEvent {
    enum class Kind { Start, Text, End } kind;
    std::string_view name;        ///< local name of a Start or End
    std::string_view name_space;  ///< its namespace URI, empty without one
    std::string_view text;        ///< of a Text, UTF-8; a long one may come in pieces
    int depth;                    ///< 0 for the root element; of a Text that of its element
};

/// Walks through a document of a stranger: no DTD, no entities of its own, no network, bounded depth and number of
/// elements. NUL bytes and blanks after the end, which some control points send, are ignored.
/// @param visit  called for each step; false ends the walk.
/// @return false when the document is not well formed, breaks a bound, or `visit` ended the walk.
/// Threads: any, at once.
bool ReadXml(std::string_view document, int most_elements, const std::function<bool(const XmlEvent&)>& visit);

}  // namespace MediaServer
