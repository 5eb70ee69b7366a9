#pragma once

#include <cstdint>
#include <string_view>

#include "model/CDSObjectSerializer.h"
#include "platform/database/MediaDB.h"
#include "platform/database/MediaInfoDB.h"
#include "tree/ObjectId.h"

namespace MediaServer {

/// Select list and order of a listing of files.
struct ItemOrder {
    std::string_view fields, order;
};
/// @param options        OptionFlag bits: videos go by title when their embedded information is shown.
/// @param across_folders the files lie in different folders, so videos go by file name instead of path.
ItemOrder ItemOrderOf(MediaKind kind, std::uint32_t options, bool across_folders);

/// Leaves out the subtitle files among the videos, unless the client lists them.
void AddItemExclusions(MediaDB& items, MediaKind kind, const CDSObjectSerializer& out);

/// Writes one page of files. @return items written, negative when the database failed.
std::int32_t WriteItems(MediaDB& items, MediaKind kind, const ItemOrder& order, std::int32_t start, std::int32_t count,
                        ChildId ids, std::string_view parent_id, CDSObjectSerializer& out);

}  // namespace MediaServer
