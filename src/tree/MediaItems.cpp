#include "tree/MediaItems.h"

#include "model/ServiceOptions.h"
#include "platform/clients/DMSClientChecker.h"
#include "tree/CDSContainer.h"

namespace MediaServer {

ItemOrder ItemOrderOf(MediaKind kind, std::uint32_t options, bool across_folders) {
    if (kind == MediaKind::Music) return {"*", "album, disc, track, path"};
    if (kind != MediaKind::Video) return {"*", "title"};
    if ((options & OptionFlag::kEmbeddedVideoInfo) != 0) return {"*", "upper(title)"};
    if (across_folders) return {"*, upper(substring(path from '([^/]+)$')) as filename", "filename"};
    return {"*", "upper(path)"};
}

void AddItemExclusions(MediaDB& items, MediaKind kind, const CDSObjectSerializer& out) {
    if (kind != MediaKind::Video) return;
    const DMSClientChecker* client = out.GetClientChecker();
    if (client == nullptr || !client->Has(ClientFlag::kTextItems)) items.AddExcludeVideoCodec("text");
}

std::int32_t WriteItems(MediaDB& items, MediaKind kind, const ItemOrder& order, std::int32_t start, std::int32_t count,
                        ChildId ids, std::string_view parent_id, CDSObjectSerializer& out) {
    if (items.Select(order.fields, order.order, start, count) < 0) return kActionFailed;
    std::int32_t written = 0;
    NIMB_MEDIA_INFO record;
    while (items.NextRow()) {
        items.FetchMediaItem(record);
        out.SerializeMediaItem(kind, ids.Item(record.id), parent_id, record);
        ++written;
    }
    return items.Failed() ? kActionFailed : written;
}

}  // namespace MediaServer
