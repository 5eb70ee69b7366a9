#include "tree/MenuDirectory.h"

#include "platform/library/MediaFolders.h"
#include "platform/text/Text.h"

namespace MediaServer {

std::string ResolveMenuDirectory(MediaKind kind, std::string_view value) {
    if (value == kAllIndexFiles) return std::string(value);
    if (value.starts_with(':') || value.starts_with('/')) return GetAbsolutePath(value.substr(1));
    const std::string root = DMSGetMediaFolderPath(kind);
    if (root.empty()) return {};
    return GetAbsolutePath(root + "/" + std::string(value));
}

}  // namespace MediaServer
