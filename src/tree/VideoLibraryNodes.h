#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/text/DMSStringBundle.h"
#include "tree/MenuNodes.h"

namespace MediaServer {

/// A node of the video library as a menu describes it.
struct VideoLibraryEntry {
    std::string_view media;  ///< "movie", "tvshow", "home_video", "tv_record" or "collection"
    std::string parent_id, id, title;
    ObjectTypeCode type;
    std::vector<std::string> categories = {}, rules = {};
};

/// Makes the nodes that show the video library; menus know them only by this. Threads: one, at start-up.
class VideoLibraryNodes {
public:
    /// By kind, category or rule.
    virtual CDSMenuEntry& MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const = 0;
    /// By the folders of its files; has no categories and no rules.
    virtual CDSMenuEntry& MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const = 0;
    virtual ~VideoLibraryNodes() = default;
};

/// For menus without a video library: its nodes are containers without children. Lives for ever.
const VideoLibraryNodes& NoVideoLibrary();

/// Where the video library is offered.
struct VideoLibraryPlaces {
    bool in_template = false;   ///< its template follows the menu file
    bool in_full_menu = false;  ///< its branch below "15"
};

/// Adds the branch of the full built-in menu, whose ids are fixed, to its container of videos.
void BuildVideoLibraryBranch(MenuNodes& nodes, CDSMenuEntry& videos, const DMSStringBundle& strings,
                             const VideoLibraryNodes& library);

}  // namespace MediaServer
