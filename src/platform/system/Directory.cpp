#include "platform/system/Directory.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace MediaServer {

std::optional<std::vector<std::string>> NamesIn(DIR* directory) {
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = readdir(directory)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    if (errno != 0) return std::nullopt;
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::vector<std::string>> NamesIn(const std::string& path) {
    const UniqueDirectory directory(opendir(path.c_str()));
    return directory ? NamesIn(directory.get()) : std::nullopt;
}

}  // namespace MediaServer
