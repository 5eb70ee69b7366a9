#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

class TextBuffer;

/// Escapes text for XML content and attribute values: & < > " ' become entities. Each character of `offending` (those
/// that the client's parser cannot take, from its profile) becomes '_'. Bytes that XML 1.0 forbids (control
/// characters, broken UTF-8) become U+FFFD, so the result is always well formed.
std::string XMLEscape(std::string_view text, std::string_view offending = {});

/// XMLEscape straight into a buffer, for the texts of every item of a list.
void AppendXMLEscaped(TextBuffer& out, std::string_view text, std::string_view offending = {});
void AppendXMLEscaped(std::string& out, std::string_view text, std::string_view offending = {});

/// Length in bytes of the UTF-8 sequence (RFC 3629) at the start of `text`; 0 when it is broken or `text` is empty.
std::size_t Utf8SequenceLength(std::string_view text);
/// True when `text` is UTF-8 to its end.
bool IsUtf8(std::string_view text);

/// Percent-encodes everything but the unreserved characters of RFC 3986.
std::string URLEncode(std::string_view text);
/// Undoes percent-encoding; nothing when an escape is broken or yields a NUL byte.
std::optional<std::string> URLDecode(std::string_view text);

/// Escapes a value for an SQL string literal in single quotes: quotes are doubled, a NUL byte ends the text, bytes
/// that are not UTF-8 are dropped. Relies on standard_conforming_strings, which the connection sets.
std::string SQLEscapeString(std::string_view value);
/// As SQLEscapeString, and also escapes the LIKE metacharacters % _ \ with a backslash.
std::string SQLEscapeCondition(std::string_view value);

/// True for a non-empty text of decimal digits, however many (clients ask for 4294967295 children when they mean all);
/// with `allow_sign` one leading '-' may stand. ToInt() then saturates.
bool StringIsNumeric(std::string_view text, bool allow_sign);
/// Decimal digits within 0..2147483647 and nothing else; nothing otherwise. For row ids that clients send.
std::optional<std::int32_t> ParseRowId(std::string_view text);
/// Decimal conversion as atoi does it, but saturating: leading blanks and sign accepted, garbage gives 0.
std::int32_t ToInt(std::string_view text);

std::string StringToLower(std::string_view text);
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
std::vector<std::string> Split(std::string_view text, char separator);
/// The parts of `text` between separators, those that are not empty. The views point into `text`.
std::vector<std::string_view> StringExplode(std::string_view text, std::string_view separator);
/// Token `index` (from zero) of `text` split at any character of `separators`, empty tokens skipped; empty if none.
std::string NLIBCStrTokIndex(std::string_view text, std::string_view separators, int index);

/// Extension without the dot, as it stands in the path; empty when the file name has none.
std::string_view PathExtension(std::string_view path);
/// File name without directories, empty for a path that ends in a slash; `BaseNameWithoutExtension` also drops the last
/// extension.
std::string_view BaseName(std::string_view path);
std::string_view BaseNameWithoutExtension(std::string_view path);
/// Directory part without the final slash ("/" for a file in the root, "." without any slash), as dirname(3).
std::string_view DirName(std::string_view path);
/// The path made absolute and normalised: a leading "/" is added when missing, "." and "..", doubled and trailing
/// slashes are resolved as text. Empty for the empty text.
std::string GetAbsolutePath(std::string_view path);

/// "H:MM:SS" duration of whole seconds as UPnP wants it (UPnP ContentDirectory:1, res@duration): "0:03:20".
std::string DMSFormatUPNPDuration(std::int64_t seconds);
/// "YYYY-MM-DD HH:MM:SS" (or a date alone) as ISO 8601 "YYYY-MM-DDTHH:MM:SS" (or the date alone), as dc:date wants it.
/// A text that is neither comes back unchanged up to its first 10 characters.
std::string DMSFormatUPNPDate(std::string_view date);

}  // namespace MediaServer
