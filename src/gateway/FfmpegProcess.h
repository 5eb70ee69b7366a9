#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/system/Files.h"

namespace MediaServer {

/// The ffmpeg program at work on one media file, in a process of its own, so that a hostile file's damage stays there.
/// Its memory and processor time are bounded; killed with all that it started, and collected, when this goes.
/// Threads: one at a time.
class FfmpegProcess {
public:
    /// @param before  arguments before the input, @param after  those after it; the output is the pipe "-".
    /// Only formats that hold their own content are read, and only from files: anything may be written in one.
    FfmpegProcess(const std::vector<std::string>& before, const std::string& path,
                  const std::vector<std::string>& after);
    ~FfmpegProcess();
    FfmpegProcess(const FfmpegProcess&) = delete;
    FfmpegProcess& operator=(const FfmpegProcess&) = delete;

    /// Waits for output until `deadline`.
    /// @return bytes read; 0 at the end of what a program that did not fail wrote; -1 on failure or when it is late.
    std::ptrdiff_t Read(char* buffer, std::size_t size, std::chrono::steady_clock::time_point deadline);

private:
    bool HasSucceeded(std::chrono::steady_clock::time_point deadline);

    UniqueFd output_;
    pid_t pid_ = -1;  // also of its process group; -1 when it did not start or has been collected
};

}  // namespace MediaServer
