#include "platform/xml/XmlReader.h"

#include <memory>

#include <libxml/xmlreader.h>

#include "platform/text/Text.h"

namespace MediaServer {

namespace {

struct ReaderDeleter {
    void operator()(xmlTextReader* reader) const noexcept { xmlFreeTextReader(reader); }
};

std::string_view View(const xmlChar* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

std::string_view WithoutTrail(std::string_view document) {
    constexpr std::string_view kTrail("\0 \t\r\n", 5);
    const std::size_t last = document.find_last_not_of(kTrail);
    return document.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

class Walk {
public:
    Walk(xmlTextReader* reader, const XmlBounds& bounds, const std::function<bool(const XmlEvent&)>& visit)
        : reader_(reader), elements_left_(bounds.elements), attributes_(bounds.attributes), visit_(visit) {}

    bool Step() {
        switch (xmlTextReaderNodeType(reader_)) {
            case XML_READER_TYPE_ELEMENT:
                return Start();
            case XML_READER_TYPE_END_ELEMENT:
                return Visit(XmlEvent::Kind::End);
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA:
            case XML_READER_TYPE_WHITESPACE:
            case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
                return Text(View(xmlTextReaderConstValue(reader_)));
            // Comments and processing instructions say nothing to us; a declaration may define entities.
            case XML_READER_TYPE_COMMENT:
            case XML_READER_TYPE_PROCESSING_INSTRUCTION:
            case XML_READER_TYPE_XML_DECLARATION:
                return true;
            default:
                return false;
        }
    }

private:
    bool Start() {
        if (--elements_left_ < 0 || xmlTextReaderDepth(reader_) >= kMostXmlDepth) return false;
        const bool is_empty = xmlTextReaderIsEmptyElement(reader_) == 1;
        return Visit(XmlEvent::Kind::Start) && (!attributes_ || Attributes()) &&
               (!is_empty || Visit(XmlEvent::Kind::End));
    }
    bool Attributes() {
        const int depth = xmlTextReaderDepth(reader_);
        while (xmlTextReaderMoveToNextAttribute(reader_) == 1) {
            const std::string_view text = View(xmlTextReaderConstValue(reader_));
            if (!IsUtf8(text) || !visit_({XmlEvent::Kind::Attribute, View(xmlTextReaderConstLocalName(reader_)),
                                          View(xmlTextReaderConstNamespaceUri(reader_)), text, depth})) {
                return false;
            }
        }
        xmlTextReaderMoveToElement(reader_);
        return true;
    }
    /// The library passes what a CDATA section holds on as it came, broken sequences and all.
    bool Text(std::string_view text) {
        return IsUtf8(text) && visit_({XmlEvent::Kind::Text, {}, {}, text, xmlTextReaderDepth(reader_) - 1});
    }
    bool Visit(XmlEvent::Kind kind) {
        return visit_({kind,
                       View(xmlTextReaderConstLocalName(reader_)),
                       View(xmlTextReaderConstNamespaceUri(reader_)),
                       {},
                       xmlTextReaderDepth(reader_)});
    }

    xmlTextReader* const reader_;
    int elements_left_;
    const bool attributes_;
    const std::function<bool(const XmlEvent&)>& visit_;
};

}  // namespace

bool ReadXml(std::string_view document, const XmlBounds& bounds, const std::function<bool(const XmlEvent&)>& visit) {
    // The first use of the parser library in a process must not happen in two threads at once.
    static const bool ready = (xmlInitParser(), true);
    document = WithoutTrail(document);
    if (!ready || document.empty() || document.size() > bounds.bytes) return false;
    const std::unique_ptr<xmlTextReader, ReaderDeleter> reader(
        xmlReaderForMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!reader) return false;
    Walk walk(reader.get(), bounds, visit);
    int result;
    while ((result = xmlTextReaderRead(reader.get())) == 1)
        if (!walk.Step()) return false;
    return result == 0;
}

}  // namespace MediaServer
