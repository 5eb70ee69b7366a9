#include "serializer/CDSSimpleSerializer.h"

namespace MediaServer {

// A menu node is copied as the bare record that every object is; what its class adds stays with the tree.
void CDSSimpleSerializer::SerializeObject(const CDSObject& object) {
    objects_.push_back(object);
}

void CDSSimpleSerializer::SerializeContainerObject(const CDSObject& object) {
    SerializeContainer(object.id, object.parentId, object.title, object.typeCode);
}

void CDSSimpleSerializer::SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                             ObjectTypeCode code) {
    objects_.emplace_back(std::string(title), std::string(id), std::string(parent_id), code);
}

void CDSSimpleSerializer::SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
                                             const NIMB_MEDIA_INFO& record) {
    switch (kind) {
        case MediaKind::Music:
            return SerializeMusicItem(id, parent_id, record);
        case MediaKind::Video:
            return SerializeVideoItem(id, parent_id, record);
        case MediaKind::Photo:
            return SerializePhotoItem(id, parent_id, record);
        case MediaKind::Playlist:
        case MediaKind::Directory:
            return;
    }
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
