#include "platform/audio/ConfigFolder.h"

#include <algorithm>

#include <sys/stat.h>

#include "platform/system/Directory.h"
#include "platform/text/Text.h"

namespace MediaServer {

std::vector<ConfigFile> ListConfigFiles(const std::string& folder, const std::vector<std::string_view>& extensions) {
    std::vector<ConfigFile> files;
    const auto names = NamesIn(folder);
    if (!names) return files;
    for (const std::string& name : *names) {
        const std::string_view extension = PathExtension(name);
        const bool wanted = std::any_of(extensions.begin(), extensions.end(), [&](std::string_view candidate) {
            return EqualsIgnoreCase(candidate, extension);
        });
        if (!wanted || name.starts_with('.')) continue;
        std::string path = folder + "/" + name;
        struct stat status {};
        if (files.size() == kMaxConfigFiles || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        files.push_back({std::move(path), StateOf(status)});
    }
    return files;
}

}  // namespace MediaServer
