#pragma once

#include <string>
#include <string_view>

#include "platform/text/TextBuffer.h"
#include "serializer/ForwardingSerializer.h"

namespace MediaServer {

/// Writes objects as the list items of an HTML page: links to child containers and to media files.
///
/// The list items and anchors are left open, as HTML allows; a browser closes them at the next item. Containers with a
/// child count, radio stations, albums and video-library entries have no form here and write nothing.
/// Lifetime: one page. Threads: one.
class CDSHtmlSerializer : public ForwardingSerializer {
public:
    /// A container links to its page; another object is a list item without a link target.
    void SerializeObject(const CDSObject& object) override;
    void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                            ObjectTypeCode code) override;
    void SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
                            const NIMB_MEDIA_INFO& record) override;
    void SerializePhotoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeVideoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeMusicItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    std::string GetResult() const override { return std::string(buffer_.View()); }

    /// True when memory ran out: the text is then not whole.
    bool IsBroken() const { return buffer_.IsBroken(); }
    /// The accumulated text without a copy; valid until the next object.
    std::string_view Text() const { return buffer_.View(); }

private:
    void AppendItem(std::string_view link, std::string_view text);

    TextBuffer buffer_;
};

}  // namespace MediaServer
