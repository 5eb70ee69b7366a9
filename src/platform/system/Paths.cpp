#include "platform/system/Paths.h"

#include <cstdlib>

namespace MediaServer {

std::string SystemPath(std::string_view absolute_path) {
    const char* root = std::getenv("DMS_SYSROOT");
    std::string path = root != nullptr ? root : "";
    while (path.ends_with('/')) path.pop_back();
    return path.append(absolute_path);
}

}  // namespace MediaServer
