#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tree/MenuNodes.h"

namespace MediaServer {

/// A node of the video library as a menu describes it.
struct VideoLibraryEntry {
    std::string_view media;  ///< "movie", "tvshow", "home_video", "tv_record" or "collection"
    std::string parent_id, id, title;
    ObjectTypeCode type;
    std::vector<std::string> categories = {}, rules = {};
};

/// Makes the nodes that show the video library; menus know them only by this.
class VideoLibraryNodes {
public:
    /// By kind, category or rule.
    virtual CDSMenuEntry& MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const = 0;
    /// By the folders of its files; has no categories and no rules.
    virtual CDSMenuEntry& MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const = 0;
    virtual ~VideoLibraryNodes() = default;
};

}  // namespace MediaServer
