#pragma once

#include <string>
#include <string_view>

#include "platform/text/DMSStringBundle.h"
#include "platform/upnp/Ixml.h"
#include "tree/CDSContainer.h"
#include "tree/MenuNodes.h"
#include "tree/VideoLibraryNodes.h"

namespace MediaServer {

/// What a menu template is loaded into. Everything outlives the loader.
struct MenuContext {
    MenuNodes& nodes;
    CDSMenuEntry& main_root;
    CDSMenuEntry& music_root;  ///< gets every music entry at its top level
    const DMSStringBundle& strings;
    const VideoLibraryNodes& video_library;
    bool with_radio;  ///< the internet-radio option
};

/// Makes nodes of the entries of menu templates. A problem of one entry skips that entry only.
/// Threads: one, at start-up.
class MenuLoader {
public:
    explicit MenuLoader(const MenuContext& context) : context_(context) {}

    /// Loads the menu file, then, when wanted, the video-library template, whose entries follow.
    /// @return false when the menu file cannot be parsed or lacks its entry list.
    bool LoadMenu(const std::string& menu_file, bool with_video_library);

private:
    struct Entry;
    struct NodeType;
    static const NodeType* FindNodeType(std::string_view name);

    void ParseEntryList(IXML_Node* list, CDSContainer& parent);
    void ParseEntry(IXML_Node* element, CDSContainer& parent);
    void MakeFolder(IXML_Node* element, const std::string& id, CDSContainer& parent);
    void CreateNode(IXML_Node* element, const std::string& type, const std::string& media, const std::string& id,
                    CDSContainer& parent);

    CDSMenuEntry* CreateStorageFolder(const Entry& entry);
    CDSMenuEntry* CreateIndexStorageFolder(const Entry& entry);
    CDSMenuEntry* CreateCategoryFolder(const Entry& entry);
    CDSMenuEntry* CreatePlayListEntry(const Entry& entry);
    CDSMenuEntry* CreateSmartPlayList(const Entry& entry);
    CDSMenuEntry* CreateRadioContainer(const Entry& entry);
    CDSMenuEntry* CreateSmartContainer(const Entry& entry);
    CDSMenuEntry* CreateLibraryCategory(const Entry& entry);
    CDSMenuEntry* CreateLibraryStorage(const Entry& entry);
    CDSMenuEntry* CreateNothing(const Entry&) { return nullptr; }
    std::string DirectoryOf(const Entry& entry);
    void AddCategories(const Entry& entry, Categorizable& node);

    const MenuContext context_;
};

}  // namespace MediaServer
