#include <array>
#include <cstdint>

#include "platform/text/Text.h"
#include "platform/text/TextBuffer.h"

namespace MediaServer {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD

constexpr bool InRange(char c, unsigned char low, unsigned char high) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= low && byte <= high;
}

constexpr bool IsContinuation(char c) {
    return InRange(c, 0x80, 0xBF);
}

/// Least and greatest second byte after a lead byte: what shuts out overlong forms, surrogates and what lies beyond
/// U+10FFFF (RFC 3629, section 4).
constexpr bool IsSecondByte(unsigned char lead, char second) {
    switch (lead) {
        case 0xE0:
            return InRange(second, 0xA0, 0xBF);
        case 0xED:
            return InRange(second, 0x80, 0x9F);
        case 0xF0:
            return InRange(second, 0x90, 0xBF);
        case 0xF4:
            return InRange(second, 0x80, 0x8F);
        default:
            return IsContinuation(second);
    }
}

/// ASCII characters that cannot be copied as they stand, and the first bytes of everything beyond ASCII.
constexpr std::array<bool, 256> MakeSpecialBytes() {
    std::array<bool, 256> special{};
    for (std::size_t i = 0; i < 0x20; ++i) special[i] = true;
    for (std::size_t i = 0x80; i < 0x100; ++i) special[i] = true;
    for (const char c : {'&', '<', '>', '"', '\''}) special[static_cast<unsigned char>(c)] = true;
    for (const char c : {'\t', '\n', '\r'}) special[static_cast<unsigned char>(c)] = false;
    return special;
}
constexpr std::array<bool, 256> kSpecialBytes = MakeSpecialBytes();

bool IsSpecial(char c, std::string_view offending) {
    return kSpecialBytes[static_cast<unsigned char>(c)] ||
           (!offending.empty() && offending.find(c) != std::string_view::npos);
}

/// The entity of each ASCII character that has one, otherwise empty.
constexpr std::array<std::string_view, 256> MakeEntities() {
    std::array<std::string_view, 256> entities{};
    entities['&'] = "&amp;";
    entities['<'] = "&lt;";
    entities['>'] = "&gt;";
    entities['"'] = "&quot;";
    entities['\''] = "&apos;";
    return entities;
}
constexpr std::array<std::string_view, 256> kEntities = MakeEntities();

/// What stands in the place of one character; the character itself when it may stay.
std::string_view Replacement(std::string_view character, std::string_view offending) {
    if (!offending.empty() && offending.find(character) != std::string_view::npos) return "_";
    const auto first = static_cast<unsigned char>(character.front());
    if (!kEntities[first].empty()) return kEntities[first];
    if (character.size() == 1 && kSpecialBytes[first]) return kReplacementCharacter;
    // The two noncharacters at the end of the basic plane are all that XML forbids beyond broken sequences.
    if (character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") return kReplacementCharacter;
    return character;
}

/// Runs of plain text go out whole, everything else character by character.
template <typename Append>
void Escape(std::string_view text, std::string_view offending, Append append) {
    std::size_t run = 0;  // start of what is not yet written
    std::size_t at = 0;
    while (at < text.size()) {
        if (!IsSpecial(text[at], offending)) {
            ++at;
            continue;
        }
        const std::size_t length = Utf8SequenceLength(text.substr(at));
        const std::string_view character = text.substr(at, length == 0 ? 1 : length);
        const std::string_view replacement = length == 0 ? kReplacementCharacter : Replacement(character, offending);
        if (replacement.data() != character.data()) {
            append(text.substr(run, at - run));
            append(replacement);
            run = at + character.size();
        }
        at += character.size();
    }
    append(text.substr(run));
}

std::string EscapeForSql(std::string_view value, std::string_view backslashed) {
    std::string escaped;
    escaped.reserve(value.size() + 8);
    for (std::size_t at = 0; at < value.size() && value[at] != '\0';) {
        const std::size_t length = Utf8SequenceLength(value.substr(at));
        const char c = value[at];
        if (c == '\'') escaped.push_back('\'');
        if (backslashed.find(c) != std::string_view::npos) escaped.push_back('\\');
        escaped.append(value.substr(at, length));
        at += length == 0 ? 1 : length;
    }
    return escaped;
}

constexpr std::string_view kUnreserved =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";  // RFC 3986, section 2.3

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::size_t Utf8SequenceLength(std::string_view text) {
    if (text.empty()) return 0;
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) return 1;
    const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || text.size() < length || !IsSecondByte(lead, text[1])) return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (!IsContinuation(text[i])) return 0;
    return length;
}

bool IsUtf8(std::string_view text) {
    std::size_t length;
    for (; !text.empty(); text.remove_prefix(length))
        if ((length = Utf8SequenceLength(text)) == 0) return false;
    return true;
}

std::string XMLEscape(std::string_view text, std::string_view offending) {
    std::string escaped;
    escaped.reserve(text.size() + text.size() / 2);  // markup inside a SOAP answer grows by about a third
    Escape(text, offending, [&escaped](std::string_view part) { escaped.append(part); });
    return escaped;
}

void AppendXMLEscaped(TextBuffer& out, std::string_view text, std::string_view offending) {
    Escape(text, offending, [&out](std::string_view part) { out.Append(part); });
}

std::string URLEncode(std::string_view text) {
    std::string encoded;
    encoded.reserve(text.size() + 16);
    for (const char c : text) {
        if (kUnreserved.find(c) != std::string_view::npos) {
            encoded.push_back(c);
            continue;
        }
        constexpr char kHex[] = "0123456789ABCDEF";
        encoded.push_back('%');
        encoded.push_back(kHex[static_cast<unsigned char>(c) >> 4]);
        encoded.push_back(kHex[static_cast<unsigned char>(c) & 0xF]);
    }
    return encoded;
}

std::optional<std::string> URLDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size()) return std::nullopt;
            const int high = HexValue(text[i + 1]), low = HexValue(text[i + 2]);
            if (high < 0 || low < 0) return std::nullopt;
            c = static_cast<char>(high * 16 + low);
            i += 2;
        }
        if (c == '\0') return std::nullopt;
        decoded.push_back(c);
    }
    return decoded;
}

std::string SQLEscapeString(std::string_view value) {
    return EscapeForSql(value, {});
}
std::string SQLEscapeCondition(std::string_view value) {
    return EscapeForSql(value, "%_\\");
}

}  // namespace MediaServer
