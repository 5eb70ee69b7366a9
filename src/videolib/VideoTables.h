#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer {

namespace LibReelhouse {

/// Names of the catalogue's tables by their codes. The codes 1 to 5 are the kinds of videos. Threads: any.
class MappingTable {
public:
    MappingTable();
    /// Empty for an unknown code.
    std::string_view operator[](std::uint32_t code) const;

private:
    std::map<std::uint32_t, std::string_view> names_;
};

}  // namespace LibReelhouse

/// The one table of names, valid for ever.
const LibReelhouse::MappingTable& TableNames();

/// Key under which a list or info reply carries the records of a kind. Never null: empty for what is no kind.
const char* VideoListKeyTable(LibReelhouse::_VIDEO_TABLE_TYPE_ kind);

/// Kind that a menu's "media" stands for; movies unless it names another.
LibReelhouse::_VIDEO_TABLE_TYPE_ VideoKindOf(std::string_view media);
/// The kind whose records have files: the episodes of shows, every other kind itself.
LibReelhouse::_VIDEO_TABLE_TYPE_ FiledKind(LibReelhouse::_VIDEO_TABLE_TYPE_ kind);

/// One category by which videos are grouped.
struct VideoCategory {
    std::string_view name;
    LibReelhouse::_VIDEO_CATEGORY_ value;
    /// Filter of a list that takes a value's id; null for the year, which has a member of its own.
    std::optional<std::string> LibReelhouse::ListQuery::*filter;
    /// Where the title of a value stands; no table when the value is its own title.
    const char* table = "";
    const char* field = "";
    /// The filter wants the title, and values are found by it: the catalogue has no table of these values.
    bool by_title = false;
};
/// Null for a name that is no category.
const VideoCategory* VideoCategoryTable(std::string_view name);

/// What the children of an object below a category node are.
enum class VideoBrowseLevel { Invalid, ShowList, EpisodeList, VideoList, FileList, CategoryValues };

/// @param categories  of the node.
/// @param fields      of the identifier, the node's own included.
VideoBrowseLevel BrowseLevelOf(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, std::size_t categories, std::size_t fields);

}  // namespace MediaServer
