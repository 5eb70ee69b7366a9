#include "service/TextFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/system/Log.h"

namespace MediaServer {

bool WriteTextFile(const std::string& path, const std::string& text, const char* write_problem) {
    std::FILE* file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        SysLogError("%s(%d): Failed to create %s. (%s)", DMS_SOURCE_FILE, __LINE__, path.c_str(), std::strerror(errno));
        return false;
    }
    const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    // A full disk shows only when the buffer goes out.
    if (std::fclose(file) == 0 && is_written) return true;
    SysLogError("%s(%d): %s. (%s)", DMS_SOURCE_FILE, __LINE__, write_problem, std::strerror(errno));
    return false;
}

}  // namespace MediaServer
