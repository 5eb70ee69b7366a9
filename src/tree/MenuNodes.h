#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tree/CDSContainer.h"

namespace MediaServer {

class CDSIndexStorageFolder;

/// Identifier to menu node.
using MenuSet = std::map<std::string, CDSObject*, std::less<>>;

/// Enters every node of a tree under its id, children before their parent; of two nodes with one id the later one wins.
void AddMenuEntries(MenuSet& set, CDSContainer& container);

/// Owns all nodes of all menus for as long as it lives, and gives ids to nodes that bring none.
/// Threads: filled by one; RefreshIndexLocations may then run beside any number of Browses.
class MenuNodes {
public:
    template <typename Node, typename... Arguments>
    Node& Make(Arguments&&... arguments) {
        auto node = std::make_unique<Node>(std::forward<Arguments>(arguments)...);
        Node& made = *node;
        nodes_.push_back(std::move(node));
        return made;
    }

    /// "21", "22", and so on.
    std::string NextEntryId() { return std::to_string(next_entry_id_++); }

    /// Keeps the folder among those whose index locations are refreshed. A music folder comes twice under one id, in
    /// the main and in the music menu, and both are kept.
    void RegisterIndexFolder(CDSIndexStorageFolder& folder);
    /// Reads the index locations of every registered folder again; a media kind without any keeps its old ones.
    void RefreshIndexLocations();

private:
    std::vector<std::unique_ptr<CDSObject>> nodes_;
    std::vector<CDSIndexStorageFolder*> index_folders_;
    int next_entry_id_ = 21;
};

}  // namespace MediaServer
