#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <json/forwards.h>

#include "model/ObjectTypes.h"
#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"
#include "platform/media/RadioStation.h"

namespace MediaServer {

class DMSClientChecker;

/// Receives the objects of one Browse, Search or page in document order and writes their text.
/// Lifetime: one request. Threads: one.
class CDSObjectSerializer {
public:
    virtual void SerializeObject(const CDSObject& object) = 0;
    virtual void SerializeContainerObject(const CDSObject& object) = 0;
    virtual void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                    ObjectTypeCode code) = 0;
    /// A negative child count is not written.
    virtual void SerializeContainerWithCount(std::string_view, std::string_view, std::string_view, std::int32_t,
                                             ObjectTypeCode) {}
    /// Music, video or photo; other kinds write nothing.
    virtual void SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
                                    const NIMB_MEDIA_INFO& record) = 0;
    virtual void SerializePhotoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) = 0;
    virtual void SerializeVideoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) = 0;
    virtual void SerializeMusicItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) = 0;
    virtual void SerializeRadioItem(std::string_view id, std::string_view parent_id, const RadioStation& station) = 0;
    virtual void SerializeReelhouseItem(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                        std::int32_t file_index, bool use_file_name, const Json::Value& record) = 0;
    virtual void SerializeReelhouseFile(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                        std::int32_t file_index, bool use_file_name, const Json::Value& record) = 0;
    /// The requesting client's profile; null when the serializer has none.
    virtual const DMSClientChecker* GetClientChecker() const = 0;
    virtual std::string GetResult() const = 0;
    /// @param art_key  row whose art stands for the album, as text.
    virtual void SerializeMusicAlbum(std::string_view id, std::string_view parent_id, std::string_view title,
                                     std::string_view art_key, std::string_view album, std::string_view artist) = 0;
    /// The option flag word given at construction; 0 when the serializer has none.
    virtual std::uint32_t GetOptions() const = 0;
    virtual ~CDSObjectSerializer() = default;
};

}  // namespace MediaServer
