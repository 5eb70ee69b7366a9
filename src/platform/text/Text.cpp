#include "platform/text/Text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>

namespace MediaServer {

namespace {

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
// Of ASCII alone, whatever the locale: header names and extensions must not change with it.
constexpr char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// True when `text` has the characters of `shape`, in which '0' stands for any digit.
bool HasShape(std::string_view text, std::string_view shape) {
    return text.size() == shape.size() && std::equal(text.begin(), text.end(), shape.begin(),
                                                     [](char c, char s) { return s == '0' ? IsDigit(c) : c == s; });
}

/// Offset of the dot before the extension; npos when the name has none. The dot of a hidden file starts no extension.
std::size_t ExtensionDot(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    return dot == 0 || dot + 1 == name.size() ? std::string_view::npos : dot;
}

}  // namespace

bool StringIsNumeric(std::string_view text, bool allow_sign) {
    const bool is_signed = allow_sign && text.starts_with('-');
    const std::string_view digits = text.substr(is_signed ? 1 : 0);
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), IsDigit);
}

std::optional<std::int32_t> ParseRowId(std::string_view text) {
    if (!StringIsNumeric(text, false)) return std::nullopt;
    std::int32_t row = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), row);
    return error == std::errc{} ? std::optional(row) : std::nullopt;
}

std::int32_t ToInt(std::string_view text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) return 0;
    text.remove_prefix(start);
    if (text.size() > 1 && text.front() == '+' && IsDigit(text[1])) text.remove_prefix(1);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) return text.front() == '-' ? Limits::min() : Limits::max();
    return value;
}

std::string StringToLower(std::string_view text) {
    std::string lower{text};
    std::transform(lower.begin(), lower.end(), lower.begin(), ToLower);
    return lower;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return ToLower(x) == ToLower(y); });
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (true) {
        const std::size_t end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::vector<std::string_view> StringExplode(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        if (end != 0) parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + separator.size());
    }
    return parts;
}

std::string NLIBCStrTokIndex(std::string_view text, std::string_view separators, int index) {
    for (int token = 0; token <= index; ++token) {
        const std::size_t start = text.find_first_not_of(separators);
        if (start == std::string_view::npos) break;
        text.remove_prefix(start);
        const std::size_t end = std::min(text.find_first_of(separators), text.size());
        if (token == index) return std::string{text.substr(0, end)};
        text.remove_prefix(end);
    }
    return {};
}

std::string_view PathExtension(std::string_view path) {
    const std::string_view name = BaseName(path);
    const std::size_t dot = ExtensionDot(name);
    return dot == std::string_view::npos ? std::string_view{} : name.substr(dot + 1);
}

std::string_view BaseName(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view BaseNameWithoutExtension(std::string_view path) {
    const std::string_view name = BaseName(path);
    return name.substr(0, ExtensionDot(name));
}

std::string_view DirName(std::string_view path) {
    const auto drop_slashes = [](std::string_view text) {
        while (text.size() > 1 && text.back() == '/') text.remove_suffix(1);
        return text;
    };
    path = drop_slashes(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return ".";
    return drop_slashes(path.substr(0, std::max<std::size_t>(slash, 1)));
}

std::string GetAbsolutePath(std::string_view path) {
    if (path.empty()) return {};
    std::string absolute;
    for (const std::string& part : Split(path, '/')) {
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            absolute.resize(absolute.empty() ? 0 : absolute.rfind('/'));
        } else {
            absolute.append("/").append(part);
        }
    }
    return absolute.empty() ? "/" : absolute;
}

std::string DMSFormatUPNPDuration(std::int64_t seconds) {
    seconds = std::max<std::int64_t>(seconds, 0);
    const std::int64_t minute = seconds / 60 % 60, second = seconds % 60;
    std::string text = std::to_string(seconds / 3600);
    for (const std::int64_t part : {minute, second}) {
        text.push_back(':');
        text.push_back(static_cast<char>('0' + part / 10));
        text.push_back(static_cast<char>('0' + part % 10));
    }
    return text;
}

std::string DMSFormatUPNPDate(std::string_view date) {
    constexpr std::size_t kDateLength = 10, kDateTimeLength = 19;
    // The database may add a fraction of a second, which clients do not expect.
    const std::string_view fraction = date.substr(std::min(kDateTimeLength, date.size()));
    if (HasShape(date.substr(0, kDateTimeLength), "0000-00-00 00:00:00") &&
        (fraction.empty() || fraction.front() == '.')) {
        std::string iso{date.substr(0, kDateTimeLength)};
        iso[kDateLength] = 'T';
        return iso;
    }
    return std::string{date.substr(0, kDateLength)};
}

}  // namespace MediaServer
