#include "platform/playlist/PlaylistFormats.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
/// Every entry of the XML formats is a few elements.
constexpr int kMaxXmlElements = 800'000;

void AppendUtf8(std::string& out, unsigned code) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out.append({static_cast<char>(0xC0 | (code >> 6)), static_cast<char>(0x80 | (code & 0x3F))});
    } else {
        out.append({static_cast<char>(0xE0 | (code >> 12)), static_cast<char>(0x80 | ((code >> 6) & 0x3F)),
                    static_cast<char>(0x80 | (code & 0x3F))});
    }
}

/// Programs on Windows write their own code page, whatever the extension says.
std::string ToUtf8(std::string_view text) {
    if (IsUtf8(text)) return std::string(text);
    // Windows-1252 differs from Latin-1 in these; the holes keep their code.
    constexpr unsigned kHigh[32] = {0x20AC, 0x81,   0x201A, 0x192,  0x201E, 0x2026, 0x2020, 0x2021,
                                    0x2C6,  0x2030, 0x160,  0x2039, 0x152,  0x8D,   0x17D,  0x8F,
                                    0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x2DC,  0x2122, 0x161,  0x203A, 0x153,  0x9D,   0x17E,  0x178};
    std::string utf8;
    for (const char c : text) {
        const unsigned code = static_cast<unsigned char>(c);
        AppendUtf8(utf8, code >= 0x80 && code < 0xA0 ? kHigh[code - 0x80] : code);
    }
    return utf8;
}

/// Counts entries and stops at the bound.
class Entries {
public:
    explicit Entries(const PlaylistVisitor& visit) : visit_(visit) {}
    bool Add(const PlaylistEntry& entry) {
        if (entry.location.empty()) return true;
        return left_-- > 0 && visit_(entry);
    }

private:
    const PlaylistVisitor& visit_;
    std::size_t left_ = kMaxPlaylistEntries;
};

/// Takes the next line that says something off `rest`; '\r' alone ends a line, too.
bool TakeLine(std::string_view& rest, std::string_view& line) {
    while (!rest.empty()) {
        const std::size_t end = rest.find_first_of("\r\n");
        line = TrimBlanks(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
        if (!line.empty()) return true;
    }
    return false;
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (!EqualsIgnoreCase(text.substr(0, prefix.size()), prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

void ReadM3u(std::string_view text, std::string& title, Entries& entries) {
    PlaylistEntry entry;
    for (std::string_view line; TakeLine(text, line);) {
        if (TakePrefix(line, "#PLAYLIST:")) {
            title = ToUtf8(TrimBlanks(line));
        } else if (TakePrefix(line, "#EXTINF:")) {
            const std::size_t comma = line.find(',');
            if (comma != std::string_view::npos) entry.title = ToUtf8(TrimBlanks(line.substr(comma + 1)));
        } else if (!line.starts_with('#')) {
            entry.location = ToUtf8(line);
            if (!entries.Add(entry)) return;
            entry = {};
        }
    }
}

/// "File1=…" and "Title1=…"; a title stands after the file it belongs to, so an entry ends where the next begins.
void ReadPls(std::string_view text, std::string& title, Entries& entries) {
    PlaylistEntry entry;
    for (std::string_view line; TakeLine(text, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        std::string_view key = TrimBlanks(line.substr(0, equals));
        const std::string_view value = TrimBlanks(line.substr(equals + 1));
        if (TakePrefix(key, "File")) {
            if (!entries.Add(entry)) return;
            entry = {ToUtf8(value), {}};
        } else if (EqualsIgnoreCase(key, "X-GNOME-Title")) {
            title = ToUtf8(value);
        } else if (TakePrefix(key, "Title")) {
            entry.title = ToUtf8(value);
        }
    }
    entries.Add(entry);
}

/// Where an XML format keeps what.
struct XmlFormat {
    std::string_view title;      ///< element of the playlist's title
    int title_depth;             ///< its depth
    std::string_view entry;      ///< element that ends an entry
    std::string_view location;   ///< element that has the location as text, or as the attribute
    std::string_view attribute;  ///< empty: the location is text
};
constexpr XmlFormat kXspf = {"title", 1, "track", "location", ""};
constexpr XmlFormat kWpl = {"title", 2, "media", "media", "src"};
constexpr XmlFormat kAsx = {"title", 1, "entry", "ref", "href"};

/// Names in any case: the asx files of the web are written in all of them.
class XmlPlaylist {
public:
    XmlPlaylist(const XmlFormat& format, std::string& title, Entries& entries)
        : format_(format), title_(title), entries_(entries) {}

    bool Visit(const XmlEvent& event) {
        switch (event.kind) {
            case XmlEvent::Kind::Start:
                element_ = event.name;
                text_.clear();
                break;
            case XmlEvent::Kind::Attribute:
                if (EqualsIgnoreCase(element_, format_.location) && EqualsIgnoreCase(event.name, format_.attribute) &&
                    entry_.location.empty()) {
                    entry_.location = event.text;
                }
                break;
            case XmlEvent::Kind::Text:
                text_.append(event.text);
                break;
            case XmlEvent::Kind::End:
                return End(event.name, event.depth);
        }
        return true;
    }

private:
    bool End(std::string_view name, int depth) {
        const std::string text(TrimBlanks(text_));
        text_.clear();
        if (EqualsIgnoreCase(name, format_.entry)) {
            const bool more = entries_.Add(entry_);
            entry_ = {};
            return more;
        }
        if (EqualsIgnoreCase(name, format_.title)) {
            if (!text.empty()) (depth == format_.title_depth ? title_ : entry_.title) = text;
        } else if (format_.attribute.empty() && EqualsIgnoreCase(name, format_.location) && entry_.location.empty()) {
            entry_.location = text;
        }
        return true;
    }

    const XmlFormat& format_;
    std::string& title_;
    Entries& entries_;
    std::string element_, text_;
    PlaylistEntry entry_;
};

template <const XmlFormat& format>
void ReadXmlFormat(std::string_view text, std::string& title, Entries& entries) {
    XmlPlaylist playlist(format, title, entries);
    // What came before a fault is kept.
    ReadXml(text, {kMaxXmlElements, kMaxPlaylistBytes, true},
            [&](const XmlEvent& event) { return playlist.Visit(event); });
}

struct Format {
    std::string_view extension;
    void (*read)(std::string_view text, std::string& title, Entries& entries);
};
constexpr Format kFormats[] = {
    {"m3u", ReadM3u},
    {"m3u8", ReadM3u},
    {"pls", ReadPls},
    {"xspf", ReadXmlFormat<kXspf>},
    {"wpl", ReadXmlFormat<kWpl>},
    {"asx", ReadXmlFormat<kAsx>},
};

/// Length of "http:", "file:" and the like; 0 for a path. A single letter is the drive of a Windows path.
std::size_t SchemeLength(std::string_view location) {
    const std::size_t colon = location.find(':');
    const std::size_t other =
        location.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.");
    return colon != std::string_view::npos && colon == other && colon > 1 ? colon + 1 : 0;
}

}  // namespace

bool ReadPlaylist(std::string_view extension, std::string_view text, std::string& title, const PlaylistVisitor& visit) {
    const auto* format = std::find_if(std::begin(kFormats), std::end(kFormats), [&](const Format& candidate) {
        return EqualsIgnoreCase(candidate.extension, extension);
    });
    if (format == std::end(kFormats)) return false;
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    Entries entries(visit);
    format->read(text, title, entries);
    return true;
}

std::vector<std::string> PlaylistEntryPaths(std::string_view directory, std::string_view location) {
    const std::size_t scheme = SchemeLength(location);
    const bool is_uri = scheme != 0;
    if (is_uri) {
        if (!EqualsIgnoreCase(location.substr(0, scheme), "file:")) return {};
        location.remove_prefix(scheme);
        // "file:///path", "file://host/path" or "file:/path".
        if (location.starts_with("//")) {
            const std::size_t slash = location.find('/', 2);
            if (slash == std::string_view::npos) return {};
            location.remove_prefix(slash);
        }
    }
    std::vector<std::string> paths;
    const auto add = [&](std::string path) {
        if (path.empty() || path.find('\0') != std::string::npos || !IsUtf8(path)) return;
        std::string whole = GetAbsolutePath(path.front() == '/' ? path : std::string(directory) + "/" + path);
        if (std::find(paths.begin(), paths.end(), whole) == paths.end()) paths.push_back(std::move(whole));
    };
    const std::string text(location);
    if (!is_uri) add(text);
    if (const auto decoded = URLDecode(text); decoded && (is_uri || text.find('%') != std::string::npos)) add(*decoded);
    if (text.find('\\') != std::string::npos) {
        std::string turned = text;
        std::replace(turned.begin(), turned.end(), '\\', '/');
        add(turned);
    }
    return paths;
}

}  // namespace MediaServer
