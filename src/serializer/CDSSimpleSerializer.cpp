#include "serializer/CDSSimpleSerializer.h"

namespace MediaServer {

// A menu node is copied as the bare record that every object is; what its class adds stays with the tree.
void CDSSimpleSerializer::SerializeObject(const CDSObject& object) {
    objects_.push_back(object);
}

void CDSSimpleSerializer::SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                             ObjectTypeCode code) {
    objects_.emplace_back(std::string(title), std::string(id), std::string(parent_id), code);
}

void CDSSimpleSerializer::SerializePhotoItem(std::string_view id, std::string_view parent_id,
                                             const NIMB_MEDIA_INFO& record) {
    SerializeContainer(id, parent_id, record.title, ObjectType::kImageItem);
}

void CDSSimpleSerializer::SerializeVideoItem(std::string_view id, std::string_view parent_id,
                                             const NIMB_MEDIA_INFO& record) {
    SerializeContainer(id, parent_id, record.title, ObjectType::kVideoItem);
}

void CDSSimpleSerializer::SerializeMusicItem(std::string_view id, std::string_view parent_id,
                                             const NIMB_MEDIA_INFO& record) {
    SerializeContainer(id, parent_id, record.title, ObjectType::kMusicItem);
}

}  // namespace MediaServer
