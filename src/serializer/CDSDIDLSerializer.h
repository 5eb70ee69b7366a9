#pragma once

#include <string>

#include "model/CDSObjectSerializer.h"
#include "model/MimeTable.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/text/TextBuffer.h"

namespace MediaServer {

/// The DIDL-Lite start tag and end tag around a serializer's text (UPnP ContentDirectory:1, 2.5.4).
extern const char* const kDIDLOpen;
extern const char* const kDIDLClose;

/// Writes objects as DIDL-Lite for one client.
class CDSDIDLSerializer : public CDSObjectSerializer {
public:
    /// @param client        copied.
    /// @param mime          outlives the serializer.
    /// @param options       OptionFlag bits. @param filter_mask  Property bits.
    /// @param title_format  value of the title-format option ("tracktitle", "titlealbum", …).
    CDSDIDLSerializer(const DMSClientChecker& client, const MimeTable& mime, std::string host, std::uint16_t port,
                      std::uint32_t options, std::uint32_t filter_mask, std::string_view title_format);

    void SerializeObject(const CDSObject& object) override;
    void SerializeContainerObject(const CDSObject& object) override;
    void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                            ObjectTypeCode code) override;
    void SerializeContainerWithCount(std::string_view id, std::string_view parent_id, std::string_view title,
                                     std::int32_t child_count, ObjectTypeCode code) override;
    void SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
                            const NIMB_MEDIA_INFO& record) override;
    void SerializePhotoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeVideoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeMusicItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeRadioItem(std::string_view id, std::string_view parent_id, const RadioStation& station) override;
    void SerializeReelhouseItem(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                std::int32_t file_index, bool use_file_name, const Json::Value& record) override;
    void SerializeReelhouseFile(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                std::int32_t file_index, bool use_file_name, const Json::Value& record) override;
    const DMSClientChecker* GetClientChecker() const override { return &client_; }
    std::string GetResult() const override { return std::string(buffer_.View()); }
    void SerializeMusicAlbum(std::string_view id, std::string_view parent_id, std::string_view title,
                             std::string_view art_key, std::string_view album, std::string_view artist) override;
    std::uint32_t GetOptions() const override { return options_; }

    /// The accumulated text without a copy; valid until the next object.
    std::string_view Text() const { return buffer_.View(); }

private:
    bool Wants(std::uint32_t property_bits) const { return (filter_ & property_bits) != 0; }
    bool Option(std::uint32_t flag) const { return (options_ & flag) != 0; }

    /// Fourth field of protocolInfo. `kind` is "video", "audio" or "radio"; `profile` is in and out: a name that is
    /// already known, and the one that was found (empty for none).
    std::string MakeDlnaParams(std::string_view kind, std::string_view mime, const NIMB_MEDIA_INFO* record,
                               std::string& profile) const;

    TextBuffer buffer_;
    TextBuffer body_;  // scratch for one item, reused
    DMSClientChecker client_;
    const MimeTable& mime_;
    std::string host_;
    std::uint16_t port_;
    std::uint32_t options_;
    std::uint32_t filter_;
    int title_format_;
};

}  // namespace MediaServer
