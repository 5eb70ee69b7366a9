#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "model/ClientRequest.h"
#include "model/MimeTable.h"
#include "platform/text/DMSStringBundle.h"
#include "tree/CDSContainer.h"
#include "tree/MenuNodes.h"
#include "tree/VideoLibraryNodes.h"

namespace MediaServer {

class DMSClientChecker;

/// Update identifiers of the containers that clients have browsed. Threads: any.
class ContainerUpdateTable {
public:
    /// 0 for a new identifier; one more than before when the total changed; else as before. Bounded: the identifiers
    /// that nobody asked for the longest are forgotten when strangers fill it.
    std::uint32_t Update(std::string_view id, std::uint32_t total);

    static constexpr std::size_t kMaxEntries = 16384;

private:
    struct Entry {
        std::string id;
        std::uint32_t total, counter;
    };
    std::mutex mutex_;
    std::list<Entry> entries_;                                                // guarded by mutex_; last asked for first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> by_id_;  // guarded by mutex_; keys in entries_
};

/// The Content Directory: menu roots and menu sets, the MIME table and the lookup of objects.
/// Threads: built by one thread, while requests may already come in; until LoadMenu has returned, no object is found.
class ContentDirectoryService {
public:
    /// Builds the roots and loads the MIME table.
    /// @param strings,library  outlive the service.
    explicit ContentDirectoryService(const DMSStringBundle& strings,
                                     const VideoLibraryNodes& library = NoVideoLibrary());
    ContentDirectoryService(const ContentDirectoryService&) = delete;
    ContentDirectoryService& operator=(const ContentDirectoryService&) = delete;

    /// Builds the built-in menus, then reads the menu template (and the video-library one) for the default and the
    /// music-only menu.
    /// @param library  where else than in the menu file the video library is offered.
    /// @return false when the menu file could not be used; the sets are then built of what there is.
    bool LoadMenu(const std::string& menu_file, VideoLibraryPlaces library, bool with_radio);

    /// Finds the node that an identifier names for this client and lets it write.
    /// @param flag,filter_mask,options,start,count  as in BrowseQuery.
    /// @param[out] total      matches in all; 0 when not found.
    /// @param[out] update_id  container update identifier; untouched when there is none.
    /// @return objects written, or a negated UPnP error code (-701 unknown object).
    std::int32_t FindObject(const ClientRequest& request, std::string_view object_id, BrowseFlag flag,
                            std::uint32_t filter_mask, std::uint32_t options, std::int32_t start, std::int32_t count,
                            CDSObjectSerializer& out, std::int32_t& total, std::uint32_t& update_id);

    const MimeTable& Mime() const { return mime_; }
    const DMSStringBundle& Strings() const { return strings_; }

    /// One menu a kind of client. Default and Music come from the template.
    enum Menu : std::size_t { Default, Full, Flat, Music, Numbered, kMenus };
    /// The node of a menu by its id. Null when there is none, or the menus are not built yet.
    CDSContainer* FindNode(Menu menu, std::string_view key) const;

    /// Reads the index locations of every registered index storage folder again.
    void RefreshIndexLocations();

private:
    const DMSStringBundle& strings_;
    const VideoLibraryNodes& library_;
    MimeTable mime_;
    MenuNodes nodes_;
    std::array<CDSMenuEntry*, kMenus> roots_{};
    std::array<MenuSet, kMenus> sets_;
    std::atomic<bool> is_built_ = false;  // the nodes and sets above are read-only once it is set
    ContainerUpdateTable updates_;
};

}  // namespace MediaServer
