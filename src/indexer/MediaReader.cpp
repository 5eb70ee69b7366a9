#include "indexer/MediaReader.h"

#include <algorithm>
#include <array>
#include <exception>

#include "platform/playlist/PlaylistParser.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// A playlist that cannot be read keeps its name: its songs may be readable later.
bool ReadPlaylistRecord(NIMB_MEDIA_INFO& record, std::string&) {
    if (std::string title; ReadPlaylistTitle(record.path, title) && !title.empty()) record.title = title;
    return true;
}

/// By media kind; a kind that needs no look into the file keeps its name, date and size.
constexpr std::array<MediaReader, 4> kReaders = {ReadMusic, ReadVideo, ReadPhoto, ReadPlaylistRecord};

constexpr std::string NIMB_MEDIA_INFO::*kTexts[] = {
    &NIMB_MEDIA_INFO::title,        &NIMB_MEDIA_INFO::album, &NIMB_MEDIA_INFO::artist,
    &NIMB_MEDIA_INFO::album_artist, &NIMB_MEDIA_INFO::genre, &NIMB_MEDIA_INFO::composer,
};

/// A size in a broken file may be more than there is memory: that, too, is the file's fault alone.
bool ReadGuarded(MediaReader reader, NIMB_MEDIA_INFO& record, std::string& reason) {
    try {
        return reader(record, reason);
    } catch (const std::exception& error) {
        reason = error.what();
        return false;
    }
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

}  // namespace

std::string CleanText(std::string_view text, std::size_t limit) {
    std::string clean;
    while (!text.empty()) {
        const std::size_t length = Utf8SequenceLength(text);
        if (clean.size() + length > limit) break;
        if (length == 1 && (IsControl(text[0]) || text[0] == ' ')) {
            if (!clean.empty()) clean.push_back(' ');
        } else {
            clean.append(text.substr(0, length));
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    while (clean.ends_with(' ')) clean.pop_back();
    return clean;
}

std::int32_t LeadingNumber(std::string_view text, std::size_t digits) {
    return std::max(ToInt(text.substr(0, digits)), 0);
}

bool ReadMedia(MediaKind kind, NIMB_MEDIA_INFO& record, std::string& reason) {
    const std::string name = record.title;
    if (record.filesize == 0) {
        reason = "the file is empty";
        return false;
    }
    if (!ReadGuarded(kReaders.at(static_cast<std::size_t>(kind)), record, reason)) return false;
    for (std::string NIMB_MEDIA_INFO::*text : kTexts) record.*text = CleanText(record.*text);
    if (record.title.empty()) record.title = CleanText(name);
    return true;
}

}  // namespace MediaServer
