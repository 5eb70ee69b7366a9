#pragma once

#include <string>

#include "model/MimeTable.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/text/TextBuffer.h"
#include "serializer/ForwardingSerializer.h"

namespace MediaServer {

/// The DIDL-Lite start tag and end tag around a serializer's text (UPnP ContentDirectory:1, 2.5.4).
extern const std::string_view kDIDLOpen;
extern const std::string_view kDIDLClose;

struct PhotoResource;
struct VideoCover;
struct VideoOrigin;

/// Writes objects as DIDL-Lite for one client.
/// Standard: UPnP ContentDirectory:1, 2.5 and appendix B; res attributes as the DLNA guidelines have them.
/// Lifetime: one action. Threads: one.
class CDSDIDLSerializer : public ForwardingSerializer {
public:
    /// @param client        copied.
    /// @param mime          outlives the serializer.
    /// @param host          address that the URLs carry; their port is always kMediaPort, whatever `port` the UPnP
    ///                      library listens on.
    /// @param options       OptionFlag bits.
    /// @param filter_mask   Property bits; a client that ignores filters gets every property.
    /// @param title_format  value of the title-format option ("tracktitle", "titlealbum", …).
    CDSDIDLSerializer(const DMSClientChecker& client, const MimeTable& mime, std::string host, std::uint16_t port,
                      std::uint32_t options, std::uint32_t filter_mask, std::string_view title_format);

    void SerializeObject(const CDSObject& object) override;
    void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                            ObjectTypeCode code) override;
    void SerializeContainerWithCount(std::string_view id, std::string_view parent_id, std::string_view title,
                                     std::int32_t child_count, ObjectTypeCode code) override;
    void SerializePhotoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeVideoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeMusicItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeRadioItem(std::string_view id, std::string_view parent_id, const RadioStation& station) override;
    void SerializeReelhouseItem(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                std::int32_t file_index, bool use_file_name, const Json::Value& record) override;
    void SerializeReelhouseFile(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                std::int32_t file_index, bool use_file_name, const Json::Value& record) override;
    const DMSClientChecker* GetClientChecker() const override { return &client_; }
    std::string GetResult() const override { return std::string(Text()); }
    void SerializeMusicAlbum(std::string_view id, std::string_view parent_id, std::string_view title,
                             std::string_view art_key, std::string_view album, std::string_view artist) override;
    std::uint32_t GetOptions() const override { return options_; }

    /// True when memory ran out: the text is then not whole.
    bool IsBroken() const { return buffer_.IsBroken() || body_.IsBroken(); }
    /// The accumulated text without a copy, empty when it is broken; valid until the next object.
    std::string_view Text() const { return IsBroken() ? std::string_view() : buffer_.View().substr(kDIDLOpen.size()); }
    /// The text as a whole document. Nothing can be written afterwards.
    TextBuffer TakeDocument() {
        buffer_.Append(kDIDLClose);
        return std::move(buffer_);
    }

private:
    /// How dc:title of a music track is composed.
    enum class TitleFormat { Plain, TrackTitle, TitleAlbum, TitleArtist, ArtistAlbum };
    static TitleFormat TitleFormatOf(std::string_view option, std::uint32_t options);

    bool Wants(std::uint32_t property_bits) const { return (filter_ & property_bits) != 0; }
    bool Option(std::uint32_t flag) const { return (options_ & flag) != 0; }
    /// True when the filter asks for any property that only a res element can carry.
    bool WantsRes() const;

    /// Fourth field of protocolInfo. `kind` is "video", "audio" or "radio"; `profile` is in and out: a name that is
    /// already known, and the one that was found (empty for none). A null `record` finds no video profile.
    std::string MakeDlnaParams(std::string_view kind, std::string_view mime, const NIMB_MEDIA_INFO* record,
                               std::string& profile) const;

    /// Free text, without the characters that the client cannot take.
    void AppendEscaped(TextBuffer& out, std::string_view text) const;
    /// Metadata into body_, "<tag>value</name>", where `tag` is the name and perhaps attributes. Nothing when the value
    /// is empty or the filter does not ask for the property.
    void AppendElement(std::uint32_t property, std::string_view tag, std::string_view value);
    /// Opens a res tag in body_ with its protocolInfo and leaves the profile name that was found in profile_.
    void OpenRes(std::string_view kind, std::string_view mime, const NIMB_MEDIA_INFO* record);
    /// ` name="value"` of an open res tag in body_, when the value is positive and the filter asks for it.
    void AppendResNumber(std::uint32_t property, const char* name, std::int64_t value);
    /// ` duration="…"`, under the same conditions.
    void AppendResDuration(float seconds);

    /// The container element with `extra` before its end tag.
    void WriteContainer(std::string_view id, std::string_view parent_id, std::string_view child_count,
                        std::string_view title, std::string_view upnp_class, std::string_view extra);
    /// The item element around what body_ holds, then `end`. Empties body_.
    void WriteItem(std::string_view id, std::string_view parent_id, std::string_view title, std::string_view upnp_class,
                   std::string_view end = "\n");

    /// What a music resource delivers: the file as it is, or audio from the transcoder.
    enum class Rendition { Native, Wav, L16 };
    bool OffersTranscoding(std::string_view extension) const;
    void ComposeTrackTitle(const NIMB_MEDIA_INFO& record, bool transcoded, std::string& title) const;
    /// Bytes of a rendition, at most 0 when unknown.
    std::int64_t RenditionBytes(const NIMB_MEDIA_INFO& record, Rendition rendition) const;
    void AppendMusicMetadata(const NIMB_MEDIA_INFO& record);
    void AppendMusicArt(const NIMB_MEDIA_INFO& record);
    void AppendAlbumArt(const char* kind, std::string_view key, bool with_profile);
    void AppendMusicRes(const NIMB_MEDIA_INFO& record, Rendition rendition);
    void AppendRadioRes(const RadioStation& station, Rendition rendition);

    /// ` resolution="…"` of an open res tag, when both sides are positive and the filter asks for it.
    void AppendResolution(std::int32_t width, std::int32_t height);

    PhotoResource MainPhotoResource(const NIMB_MEDIA_INFO& record) const;
    void AppendPhotoRes(const NIMB_MEDIA_INFO& record, const PhotoResource& photo);
    /// The smaller renditions that go with the main resource.
    void AppendPhotoThumbnails(const NIMB_MEDIA_INFO& record, const PhotoResource& photo);
    void AppendThumbRes(const NIMB_MEDIA_INFO& record, std::int32_t side, const char* profile);

    std::string_view VideoTitle(const NIMB_MEDIA_INFO& record) const;
    bool TranscodesVideo(const NIMB_MEDIA_INFO& record) const;
    /// True when covers of videos are announced at all, and when that is done by an element instead of a resource.
    bool WantsVideoCover() const;
    bool HasVideoArtElement() const;
    void AppendVideoArt(const NIMB_MEDIA_INFO& record, const VideoCover& cover);
    void AppendVideoCoverPath(const NIMB_MEDIA_INFO& record, const VideoCover& cover);
    void AppendVideoResources(const NIMB_MEDIA_INFO& record, bool text, const VideoCover& cover);
    void AppendVideoRes(const NIMB_MEDIA_INFO& record, bool text, const VideoOrigin& origin);
    /// `path_word` is the first segment of the URL, which says where the id belongs.
    void AppendSubtitleRes(const char* path_word, std::int32_t id);
    void AppendVideoCoverRes(const NIMB_MEDIA_INFO& record, const VideoCover& cover);

    /// Title of a video-library entry. @return false when the record or the path tells nothing.
    bool ComposeLibraryTitle(std::int32_t video_type, const std::string& path, bool use_file_name,
                             const Json::Value& record, std::string& title) const;
    void AppendLibraryMetadata(std::int32_t video_type, const Json::Value& record);

    // Fixed after construction.
    const DMSClientChecker client_;
    const MimeTable& mime_;
    const std::string host_;
    const std::uint32_t options_;
    const std::uint32_t filter_;
    const TitleFormat title_format_;

    TextBuffer buffer_;  // the start tag and what has been written
    // Scratch for the item at hand, kept so that a page of items does not allocate for each.
    TextBuffer body_;  // its metadata and res elements
    std::string title_;
    std::string profile_;
};

}  // namespace MediaServer
