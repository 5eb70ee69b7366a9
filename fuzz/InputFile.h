#pragma once

#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

#include "Target.h"
#include "platform/system/Files.h"

namespace MediaServer {

/// An input as a file in memory, for what reads files. Gone with the object.
class InputFile {
public:
    explicit InputFile(std::string_view content) : fd_(memfd_create("input", MFD_CLOEXEC)) {
        Require(fd_ && write(fd_.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "the input can be stored");
    }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }

private:
    const UniqueFd fd_;
};

}  // namespace MediaServer
