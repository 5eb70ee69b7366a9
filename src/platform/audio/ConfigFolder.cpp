#include "platform/audio/ConfigFolder.h"

#include <algorithm>
#include <filesystem>

#include <sys/stat.h>

#include "platform/text/Text.h"

namespace MediaServer {

std::vector<ConfigFile> ListConfigFiles(const std::string& folder, const std::vector<std::string_view>& extensions) {
    std::vector<std::string> paths;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string path = entry->path().string();
        const std::string_view extension = PathExtension(path);
        const bool wanted = std::any_of(extensions.begin(), extensions.end(), [&](std::string_view candidate) {
            return EqualsIgnoreCase(candidate, extension);
        });
        if (wanted && !BaseName(path).starts_with('.')) paths.push_back(path);
    }
    std::sort(paths.begin(), paths.end());
    std::vector<ConfigFile> files;
    for (std::string& path : paths) {
        struct stat status {};
        if (files.size() == kMaxConfigFiles || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        files.push_back(
            {std::move(path), status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ino});
    }
    return files;
}

}  // namespace MediaServer
