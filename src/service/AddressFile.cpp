#include "service/AddressFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/system/Log.h"
#include "platform/system/Paths.h"

namespace MediaServer {

bool WriteAddressFile(const std::string& address) {
    const std::string path = SystemPath(kAddressFile);
    std::FILE* file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        SysLogError("%s(%d): Failed to create %s. (%s)", DMS_SOURCE_FILE, __LINE__, path.c_str(), std::strerror(errno));
        return false;
    }
    const bool is_written = std::fwrite(address.data(), 1, address.size(), file) == address.size();
    // A full disk shows only when the buffer goes out.
    if (std::fclose(file) == 0 && is_written) return true;
    SysLogError("%s(%d): fprintf ip address failed. (%s)", DMS_SOURCE_FILE, __LINE__, std::strerror(errno));
    return false;
}

}  // namespace MediaServer
