#pragma once

#include "platform/text/DMSStringBundle.h"
#include "tree/MenuNodes.h"
#include "tree/VideoLibraryNodes.h"

namespace MediaServer {

// The menus that are the same on every installation, because their clients know the ids by heart. Each function adds
// the entries of one menu below its root. `strings` outlives the nodes.

/// For game consoles that browse and search by fixed ids.
/// @param library  its branch goes below "15"; null for none.
void BuildFullMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings,
                   const VideoLibraryNodes* library);
/// One list for each kind of media, and the playlists.
void BuildFlatMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings);
/// What searches of numbered-container clients answer from.
void BuildNumberedMenu(MenuNodes& nodes, CDSMenuEntry& root, const DMSStringBundle& strings);

}  // namespace MediaServer
