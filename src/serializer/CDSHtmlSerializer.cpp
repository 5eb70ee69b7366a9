#include "serializer/CDSHtmlSerializer.h"

#include <cstdio>

#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// The path word of a media kind's files; null for kinds that have none.
const char* PathWord(MediaKind kind) {
    switch (kind) {
        case MediaKind::Music:
            return "m";
        case MediaKind::Photo:
            return "p";
        case MediaKind::Video:
            return "v";
        case MediaKind::Playlist:
        case MediaKind::Directory:
            return nullptr;
    }
    return nullptr;
}

std::string TrackText(const NIMB_MEDIA_INFO& record) {
    std::string text = record.title;
    text.append(" (").append(record.artist.empty() ? "Unknown artist" : record.artist);
    text.append("-").append(record.album).append(")");
    if (record.track > 0) text.append("-").append(std::to_string(record.track));
    return text;
}

}  // namespace

void CDSHtmlSerializer::SerializeObject(const CDSObject& object) {
    if (IsContainerType(object.typeCode)) return SerializeContainerObject(object);
    AppendItem({}, object.title);
}

void CDSHtmlSerializer::SerializeContainer(std::string_view id, std::string_view /*parent_id*/, std::string_view title,
                                           ObjectTypeCode /*code*/) {
    buffer_.Append("<li class=\"cds-ct\"><a href=\"/cds/");
    AppendXMLEscaped(buffer_, id);
    buffer_.Append("\">");
    AppendXMLEscaped(buffer_, title);
    buffer_.Append("</li>");
}

void CDSHtmlSerializer::SerializeMediaItem(MediaKind kind, std::string_view /*id*/, std::string_view /*parent_id*/,
                                           const NIMB_MEDIA_INFO& record) {
    const char* word = PathWord(kind);
    if (word == nullptr) return;
    const std::string_view extension = PathExtension(record.path);
    char link[128];
    std::snprintf(link, sizeof link, "/%s/%d.%.*s", word, record.id, static_cast<int>(extension.size()),
                  extension.data());
    AppendItem(link, kind == MediaKind::Music ? TrackText(record) : record.title);
}

void CDSHtmlSerializer::SerializePhotoItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    SerializeMediaItem(MediaKind::Photo, id, parent_id, record);
}

void CDSHtmlSerializer::SerializeVideoItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    SerializeMediaItem(MediaKind::Video, id, parent_id, record);
}

void CDSHtmlSerializer::SerializeMusicItem(std::string_view id, std::string_view parent_id,
                                           const NIMB_MEDIA_INFO& record) {
    SerializeMediaItem(MediaKind::Music, id, parent_id, record);
}

void CDSHtmlSerializer::AppendItem(std::string_view link, std::string_view text) {
    buffer_.Append("<li class=\"cds-item\"><a href=\"");
    AppendXMLEscaped(buffer_, link);
    buffer_.Append("\">");
    AppendXMLEscaped(buffer_, text);
    buffer_.Append("</li>");
}

}  // namespace MediaServer
