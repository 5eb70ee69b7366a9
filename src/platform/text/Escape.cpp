#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

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

/// What each byte becomes. Every text is at most eight bytes wide, so that it is written as one word whatever its size.
struct EscapeTable {
    struct alignas(16) Entry {
        char text[8] = "";
        std::uint8_t size = 0;  ///< 0 for what has to be looked at with its neighbours
    };
    std::array<Entry, 256> entries;

    constexpr void Set(char c, std::string_view text) {
        Entry& entry = entries[static_cast<unsigned char>(c)];
        for (std::size_t i = 0; i < text.size(); ++i) entry.text[i] = text[i];
        entry.size = static_cast<std::uint8_t>(text.size());
    }
};

constexpr EscapeTable MakeEscapeTable() {
    EscapeTable table;
    for (unsigned c = 0; c < 0x80; ++c) {
        const char text = static_cast<char>(c);
        const bool is_allowed = c >= 0x20 || text == '\t' || text == '\n' || text == '\r';
        table.Set(text, is_allowed ? std::string_view(&text, 1) : kReplacementCharacter);
    }
    table.Set('&', "&amp;");
    table.Set('<', "&lt;");
    table.Set('>', "&gt;");
    table.Set('"', "&quot;");
    table.Set('\'', "&apos;");
    return table;
}
constexpr EscapeTable kEscapeTable = MakeEscapeTable();
constexpr std::size_t kWidestText = sizeof EscapeTable::Entry::text;

/// Of the characters beyond ASCII, what stands in the place of the one that `text` begins with, and its size there.
std::pair<std::string_view, std::size_t> ReplaceSequence(std::string_view text, std::string_view offending) {
    const std::size_t length = Utf8SequenceLength(text);
    if (length == 0) return {kReplacementCharacter, 1};
    const std::string_view character = text.substr(0, length);
    if (!offending.empty() && offending.find(character) != std::string_view::npos) return {"_", length};
    // The two noncharacters at the end of the basic plane are all that XML forbids beyond broken sequences.
    const bool is_forbidden = character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
    return {is_forbidden ? kReplacementCharacter : character, length};
}

/// A page is mostly markup, so specials come every few bytes: each byte is looked up and written without a branch on
/// what it is.
template <typename Append>
void EscapeWith(const EscapeTable& table, std::string_view text, std::string_view offending, Append append) {
    char block[4096];
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        char* out = block;
        const char* const enough = at + std::min<std::size_t>(end - at, sizeof block / kWidestText);
        while (at < enough) {
            const EscapeTable::Entry& entry = table.entries[static_cast<unsigned char>(*at)];
            if (entry.size != 0) [[likely]] {
                std::memcpy(out, entry.text, kWidestText);
                out += entry.size;
                ++at;
                continue;
            }
            const auto [replacement, size] = ReplaceSequence({at, static_cast<std::size_t>(end - at)}, offending);
            std::memcpy(out, replacement.data(), replacement.size());
            out += replacement.size();
            at += size;
        }
        append(std::string_view(block, static_cast<std::size_t>(out - block)));
    }
}

template <typename Append>
void Escape(std::string_view text, std::string_view offending, Append append) {
    if (offending.empty()) return EscapeWith(kEscapeTable, text, offending, append);
    EscapeTable table = kEscapeTable;
    for (const char c : offending)
        if (static_cast<unsigned char>(c) < 0x80) table.Set(c, "_");
    EscapeWith(table, text, offending, append);
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
    escaped.reserve(text.size() + text.size() / 2);
    AppendXMLEscaped(escaped, text, offending);
    return escaped;
}

void AppendXMLEscaped(std::string& out, std::string_view text, std::string_view offending) {
    Escape(text, offending, [&out](std::string_view part) { out.append(part); });
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
