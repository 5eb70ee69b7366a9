#pragma once

#include <cstdlib>

#include "Target.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Files.h"
#include "platform/text/DMSStringBundle.h"
#include "support/TempDir.h"
#include "tree/ContentDirectoryService.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

/// A content directory with the menus that the product ships, built once, and without a database. The profile "Slash"
/// is that of a client with the other separator.
inline ContentDirectoryService& ShippedMenu() {
    static const TempSysroot root;
    static const DMSStringBundle strings("enu");
    static const VideoLibrary videos(strings);
    static ContentDirectoryService directory(strings, videos);
    static const bool loaded = [] {
        setenv("PGHOST", root.Path().c_str(), 1);
        root.Write("/var/packages/MediaServer/etc/media_folders.conf", "all = /srv/media\n");
        DMSClientChecker::InitProfileList(root.Write("agent.conf", "[profile Slash]\nslash-separator = yes\n"));
        const std::string videos_menu =
            ReadWholeFile(DMS_SOURCE_DIR "/share/menu_rh_template.xml", 1 << 20).value_or("");
        root.Write("/var/packages/MediaServer/target/etc/menu_rh_template.xml", videos_menu);
        return directory.LoadMenu(DMS_SOURCE_DIR "/share/menu_advance.xml", {true, true}, true);
    }();
    Require(loaded, "the menu of the product loads");
    return directory;
}

}  // namespace MediaServer
