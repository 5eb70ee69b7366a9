// What makes a stranger's text fit for XML, SQL and URLs. First line: characters that the client cannot take; the rest:
// the text.
#include <memory>

#include <libxml/parser.h>

#include "Target.h"
#include "platform/text/Text.h"
#include "platform/text/TextBuffer.h"

using namespace MediaServer;

namespace {

bool IsPlain(std::string_view text) {
    return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ &<>\"'") ==
           std::string_view::npos;
}

void TryXml(std::string_view text, std::string_view offending) {
    const std::string escaped = XMLEscape(text, offending);
    TextBuffer buffer;
    AppendXMLEscaped(buffer, text, offending);
    Require(buffer.View() == escaped, "both ways of escaping give the same");

    // An offending '&' or ';' must not take the escapes themselves apart.
    const std::string document = "<a b=\"" + escaped + "\">" + escaped + "</a>";
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> parsed(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE),
        &xmlFreeDoc);
    Require(parsed != nullptr, "escaped text is well formed in content and attributes");
    const xmlNode* root = xmlDocGetRootElement(parsed.get());
    Require(root->children == nullptr || (root->children->next == nullptr && root->children->type == XML_TEXT_NODE),
            "escaped text is nothing but text");
    if (!offending.empty() || !IsPlain(text)) return;
    const std::unique_ptr<xmlChar, decltype(xmlFree)> content(xmlNodeGetContent(root), xmlFree);
    Require(reinterpret_cast<const char*>(content.get()) == std::string(text), "escaping loses nothing");
}

void TrySql(std::string_view text) {
    const std::string literal = SQLEscapeString(text);
    Require(IsUtf8(literal) && literal.find('\0') == std::string::npos, "SQL text is UTF-8 without NUL");
    for (std::size_t at = 0; (at = literal.find('\'', at)) != std::string::npos; at += 2)
        Require(literal.substr(at, 2) == "''", "every quote is doubled");

    const std::string condition = SQLEscapeCondition(text);
    std::string unescaped;
    for (std::size_t at = 0; at < condition.size(); ++at) {
        Require(condition[at] != '%' && condition[at] != '_', "no wildcard stands without a backslash");
        if (condition[at] == '\\') Require(++at < condition.size(), "no backslash stands alone at the end");
        unescaped.push_back(condition[at]);
    }
    Require(unescaped == literal, "a condition matches its own text");
}

void TryUrl(std::string_view text) {
    const auto decoded = URLDecode(text);
    Require(!decoded || (decoded->size() <= text.size() && decoded->find('\0') == std::string::npos),
            "decoding neither grows a text nor makes a NUL");
    if (text.find('\0') == std::string_view::npos)
        Require(URLDecode(URLEncode(text)) == std::string(text), "encoding can be undone");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    const std::string_view offending = TakeLine(text);
    TryXml(text, {});
    TryXml(text, offending);
    TrySql(text);
    TryUrl(text);
    return 0;
}
