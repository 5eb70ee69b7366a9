// media_folders.conf, which its owner edits.
#include "platform/library/MediaFolders.h"

#include <set>

#include "Target.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"
#include "support/TempDir.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempSysroot root;
    // A new file each time: what tells a changed file from an unchanged one may be the same for two quick writes.
    const std::string path = root / kFoldersFile;
    std::filesystem::remove(path);
    Require(ReadMediaFolders().empty(), "without a file nothing is shared");
    root.Write(kFoldersFile, AsText(data, size));

    std::set<std::string> paths;
    for (const MediaFolder& folder : ReadMediaFolders()) {
        Require(folder.path != "/" && folder.path == GetAbsolutePath(folder.path), "a path is absolute and normalised");
        Require(paths.insert(folder.path).second, "no folder is shared twice");
        Require(!folder.name.empty() && folder.name.find('\n') == std::string::npos, "every folder has a name");
        Require(folder.music || folder.video || folder.photo, "every folder holds something");
    }
    for (const MediaKind kind : {MediaKind::Music, MediaKind::Video, MediaKind::Photo}) {
        const auto locations = GetIndexLoacationPath(kind);
        const std::string first = DMSGetMediaFolderPath(kind);
        Require(locations.empty() == first.empty() && (first.empty() || locations.count(first) == 1),
                "the first folder of a kind is one of its folders");
    }
    return 0;
}
