#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace MediaServer {

/// One step through a document. The views live until the next step.
struct XmlEvent {
    enum class Kind { Start, Attribute, Text, End } kind;
    std::string_view name;        ///< local name of a Start, Attribute or End
    std::string_view name_space;  ///< its namespace URI, empty without one
    std::string_view text;        ///< of a Text or Attribute, UTF-8; a long Text may come in pieces
    int depth;                    ///< 0 for the root element; of a Text or Attribute that of its element
};

/// A real SOAP action is four elements deep; some control points wrap what they pass on.
inline constexpr int kMostXmlDepth = 32;

/// What a document may cost.
struct XmlBounds {
    int elements;
    std::size_t bytes = 256 * 1024;
    bool attributes = false;  ///< whether each Start is followed by its attributes
};

/// Walks through a document of a stranger: no DTD, no entities of its own, no network, bounded depth and number of
/// elements. NUL bytes and blanks after the end, which some control points send, are ignored.
/// @param visit  called for each step; false ends the walk.
/// @return false when the document is not well formed, breaks a bound, or `visit` ended the walk.
/// Threads: any, at once.
bool ReadXml(std::string_view document, const XmlBounds& bounds, const std::function<bool(const XmlEvent&)>& visit);

}  // namespace MediaServer
