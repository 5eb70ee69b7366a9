#include "serializer/ForwardingSerializer.h"

namespace MediaServer {

void ForwardingSerializer::SerializeContainerObject(const CDSObject& object) {
    SerializeContainer(object.id, object.parentId, object.title, object.typeCode);
}

void ForwardingSerializer::SerializeMediaItem(MediaKind kind, std::string_view id, std::string_view parent_id,
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

}  // namespace MediaServer
