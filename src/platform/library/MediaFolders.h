#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/media/MediaKind.h"

namespace MediaServer {

/// The folders that the user shares, from the package's media_folders.conf. A line is
///     <kind> = <absolute path> [| <display name>]
/// with kind music, video, photo or all, and a blank before the last bar; '#' starts a comment line. Without a display
/// name the folder's own name is shown (made unique by its parent's name where two are equal).
struct MediaFolder {
    std::string path;  ///< absolute, normalised, without a final slash
    std::string name;
    bool music = false, video = false, photo = false;
};

/// All configured folders in file order; empty when the file is missing. Broken lines are logged at level 0 and
/// skipped. All three calls are cheap (one stat) while the file stands unchanged, and may run in any thread.
std::vector<MediaFolder> ReadMediaFolders();

/// First configured folder of that media kind (playlists lie with the music), or empty.
std::string DMSGetMediaFolderPath(MediaKind kind);

/// Index locations of a media kind: folder path to display name, in path order.
std::map<std::string, std::string> GetIndexLoacationPath(MediaKind kind);

}  // namespace MediaServer
