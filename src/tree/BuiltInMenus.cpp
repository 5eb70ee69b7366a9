#include "tree/BuiltInMenus.h"

#include <cassert>
#include <map>
#include <span>

#include "platform/library/MediaFolders.h"
#include "tree/CDSCategoryEntry.h"
#include "tree/CDSCategoryFolder.h"
#include "tree/CDSIndexStorageFolder.h"
#include "tree/CDSPlayListEntry.h"
#include "tree/MenuDirectory.h"

namespace MediaServer {

namespace {

enum class NodeClass { Menu, AllFiles, Category, Folders, Playlists };

/// One entry of a built-in menu; parents stand before their children.
struct Row {
    std::string_view parent, id;
    std::string_view title;  ///< a text, or the key of one
    NodeClass node;
    MediaKind media = MediaKind::Music;
    ObjectTypeCode type = ObjectType::kContainer;
    std::string_view category = {}, second_category = {};
    std::string_view song_base = {};  ///< of playlists
};

// The ids and their order are what these clients expect; none may change.
constexpr Row kFullMenu[] = {
    {"0", "1", "Music", NodeClass::Menu},
    {"0", "15", "Video", NodeClass::Menu},
    {"0", "3", "Pictures", NodeClass::Menu},
    {"1", "4", "All Musics", NodeClass::AllFiles},
    {"1", "5", "Genre", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "genre"},
    {"1", "6", "Artist", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "artist"},
    {"1", "8", "Artist/Album", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "artist", "album"},
    {"1", "7", "Album", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "album"},
    {"1", "F", "Playlists", NodeClass::Playlists},
    {"3", "16", "Folders", NodeClass::Folders, MediaKind::Photo, ObjectType::kStorageFolder},
    {"15", "100", "class_music_userfile", NodeClass::Folders, MediaKind::Video, ObjectType::kStorageFolder},
    {"15", "101", "class_allvideo", NodeClass::AllFiles, MediaKind::Video, ObjectType::kStorageFolder},
};

constexpr Row kFlatMenu[] = {
    {"0", "4", "All Musics", NodeClass::AllFiles},
    {"0", "5", "All Photos", NodeClass::AllFiles, MediaKind::Photo},
    {"0", "6", "All Videos", NodeClass::AllFiles, MediaKind::Video},
    // Songs are answered by "All Musics", whose identifiers these clients look up.
    {"0", "13", "Playlists", NodeClass::Playlists, MediaKind::Music, ObjectType::kContainer, "", "", "4"},
};

constexpr Row kNumberedMenu[] = {
    {"0", "1", "All Musics", NodeClass::AllFiles},
    {"0", "2", "Artist", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "artist"},
    {"0", "3", "Album", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "album"},
    {"0", "4", "Composer", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "composer"},
    {"0", "5", "Genre", NodeClass::Category, MediaKind::Music, ObjectType::kContainer, "genre"},
    {"0", "6", "Playlists", NodeClass::Playlists},
};

class Builder {
public:
    Builder(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings)
        : nodes_(nodes), strings_(strings), parents_{{root.id, &root}} {}

    void Build(std::span<const Row> rows) {
        for (const Row& row : rows) Add(row);
    }
    /// A node that was built, by its id.
    CDSMenuEntry& Built(std::string_view id) { return *parents_.at(id); }

private:
    void Add(const Row& row) {
        const auto parent = parents_.find(row.parent);
        assert(parent != parents_.end());
        const bool is_key = row.title.starts_with("class_");
        CDSMenuEntry& node = Make(row, is_key ? strings_.Translate(row.title) : std::string(row.title));
        parent->second->AddChild(&node);
        parents_.emplace(row.id, &node);
    }

    CDSMenuEntry& Make(const Row& row, const std::string& title) {
        const std::string parent(row.parent), id(row.id);
        switch (row.node) {
            case NodeClass::AllFiles:
                return nodes_.Make<CDSCategoryFolder>(row.media, std::string(kAllIndexFiles), parent, id, title,
                                                      row.type, strings_);
            case NodeClass::Category: {
                auto& node = nodes_.Make<CDSCategoryEntry>(row.media, std::string(row.category), parent, id, title,
                                                           row.type, 0, strings_);
                if (!row.second_category.empty()) node.AddCategory(std::string(row.second_category), 0);
                return node;
            }
            case NodeClass::Folders: {
                auto& folder = nodes_.Make<CDSIndexStorageFolder>(row.media, parent, id, title, row.type);
                folder.SetIndexLocations(GetIndexLoacationPath(row.media));
                nodes_.RegisterIndexFolder(folder);
                return folder;
            }
            case NodeClass::Playlists: {
                auto& playlists = nodes_.Make<CDSPlayListEntry>(parent, id, title, row.type, true);
                playlists.SetSongIdBase(std::string(row.song_base));
                return playlists;
            }
            case NodeClass::Menu:
                break;
        }
        return nodes_.Make<CDSMenuEntry>(title, id, parent, row.type);
    }

    MenuNodes& nodes_;
    const DMSStringBundle& strings_;
    std::map<std::string_view, CDSMenuEntry*> parents_;
};

}  // namespace

void BuildFullMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings,
                   const VideoLibraryNodes* library) {
    Builder builder(nodes, root, strings);
    builder.Build(kFullMenu);
    if (library != nullptr) BuildVideoLibraryBranch(nodes, builder.Built("15"), strings, *library);
}

void BuildFlatMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings) {
    Builder(nodes, root, strings).Build(kFlatMenu);
}

void BuildNumberedMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings) {
    Builder(nodes, root, strings).Build(kNumberedMenu);
}

}  // namespace MediaServer
