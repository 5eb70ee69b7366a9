#pragma once

#include <string>
#include <string_view>

#include "model/CDSObjectSerializer.h"

namespace MediaServer {

/// What every serializer does alike: a menu node is written by its members and a media item as what its kind says.
/// What has no form in a serializer writes nothing; it overrides what has one.
class ForwardingSerializer : public CDSObjectSerializer {
public:
    void SerializeContainerObject(const CDSObject& object) override;
    void SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
                            const NIMB_MEDIA_INFO& record) override;
    void SerializeRadioItem(std::string_view, std::string_view, const RadioStation&) override {}
    void SerializeReelhouseItem(std::string_view, std::string_view, std::int32_t, std::int32_t, bool,
                                const Json::Value&) override {}
    void SerializeReelhouseFile(std::string_view, std::string_view, std::int32_t, std::int32_t, bool,
                                const Json::Value&) override {}
    const DMSClientChecker* GetClientChecker() const override { return nullptr; }
    std::string GetResult() const override { return {}; }
    void SerializeMusicAlbum(std::string_view, std::string_view, std::string_view, std::string_view, std::string_view,
                             std::string_view) override {}
    std::uint32_t GetOptions() const override { return 0; }
};

}  // namespace MediaServer
