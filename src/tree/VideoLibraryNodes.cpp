#include "tree/VideoLibraryNodes.h"

#include <span>

namespace MediaServer {

namespace {

class EmptyLibrary final : public VideoLibraryNodes {
public:
    CDSMenuEntry& MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override {
        return nodes.Make<CDSMenuEntry>(entry.title, entry.id, entry.parent_id, entry.type);
    }
    CDSMenuEntry& MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override {
        return MakeCategoryFolder(nodes, std::move(entry));
    }
};

/// A folder of a group, by what it shows; without category and rule all videos of the group.
struct Child {
    std::string_view title, category = {}, rule = {};
    bool by_folder = false;
};
// The place in the list is the last digit of the id, from 1 on; none may change.
constexpr Child kByPeople[] = {
    {"class_video_all"},
    {"class_video_cast", "cast"},
    {"class_video_director", "director"},
    {"class_video_writer", "writer"},
    {"class_video_genre", "genre"},
    {"class_video_year", "year"},
    {"class_video_recently_added", "", "recent:24"},
    {"class_video_folder", "", "", true},
};
constexpr Child kByBroadcast[] = {
    {"class_video_all"},
    {"class_video_date", "date"},
    {"class_video_channel", "channel"},
    {"class_video_program", "program"},
};

struct Group {
    int id;
    std::string_view title, media;
    std::span<const Child> children;
};
constexpr Group kGroups[] = {
    {130, "class_video_movie", "movie", kByPeople},
    {140, "class_video_tvshow", "tvshow", kByPeople},
    {150, "class_video_home", "home_video", kByPeople},
    {160, "class_video_tvrecord", "tv_record", kByBroadcast},
};

std::vector<std::string> OneOrNone(std::string_view text) {
    return text.empty() ? std::vector<std::string>() : std::vector<std::string>{std::string(text)};
}

}  // namespace

const VideoLibraryNodes& NoVideoLibrary() {
    static const EmptyLibrary library;
    return library;
}

void BuildVideoLibraryBranch(MenuNodes& nodes, CDSMenuEntry& videos, const DMSStringBundle& strings,
                             const VideoLibraryNodes& library) {
    const auto add = [&](CDSMenuEntry& parent, const std::string& title, std::string id) -> CDSMenuEntry& {
        auto& menu = nodes.Make<CDSMenuEntry>(title, std::move(id), parent.id, ObjectType::kContainer);
        parent.AddChild(&menu);
        return menu;
    };
    CDSMenuEntry& top = add(videos, "Reelhouse", "120");
    for (const Group& group : kGroups) {
        CDSMenuEntry& menu = add(top, strings.Translate(group.title), std::to_string(group.id));
        int id = group.id;
        for (const Child& child : group.children) {
            const VideoLibraryEntry entry{
                group.media,
                menu.id,
                std::to_string(++id),
                strings.Translate(child.title),
                ObjectType::kStorageFolder,
                OneOrNone(child.category),
                OneOrNone(child.rule),
            };
            menu.AddChild(child.by_folder ? &library.MakeStorageFolder(nodes, entry)
                                          : &library.MakeCategoryFolder(nodes, entry));
        }
    }
}

}  // namespace MediaServer
