#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "serializer/ForwardingSerializer.h"

namespace MediaServer {

/// Collects the objects that it is given as bare records, for callers that want to look at them instead of sending
/// them. Containers with a child count and what has no record form here are not collected.
/// Lifetime: one page. Threads: one.
class CDSSimpleSerializer : public ForwardingSerializer {
public:
    void SerializeObject(const CDSObject& object) override;
    void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                            ObjectTypeCode code) override;
    void SerializePhotoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeVideoItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;
    void SerializeMusicItem(std::string_view id, std::string_view parent_id, const NIMB_MEDIA_INFO& record) override;

    /// What was collected, in order.
    const std::vector<CDSObject>& Objects() const { return objects_; }

private:
    std::vector<CDSObject> objects_;
};

}  // namespace MediaServer
