#include "tree/MenuNodes.h"

#include "platform/library/MediaFolders.h"
#include "platform/system/Log.h"
#include "tree/CDSIndexStorageFolder.h"

namespace MediaServer {

void AddMenuEntries(MenuSet& set, CDSContainer& container) {
    for (CDSObject* child : container.Children()) {
        if (auto* nested = dynamic_cast<CDSContainer*>(child)) AddMenuEntries(set, *nested);
    }
    DMSPrintf(2, "Adding menu entry %s:%s", container.title.c_str(), container.id.c_str());
    set[container.id] = &container;
}

void MenuNodes::RegisterIndexFolder(CDSIndexStorageFolder& folder) {
    index_folders_.push_back(&folder);
}

void MenuNodes::RefreshIndexLocations() {
    for (CDSIndexStorageFolder* folder : index_folders_) {
        const std::map<std::string, std::string> locations = GetIndexLoacationPath(folder->Kind());
        if (!locations.empty()) folder->SetIndexLocations(locations);
    }
}

}  // namespace MediaServer
