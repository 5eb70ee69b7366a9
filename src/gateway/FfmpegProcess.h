#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/system/Files.h"

namespace MediaServer {

/// What a program reads, and what it may touch for it.
struct FfmpegInput {
    std::vector<std::string> options;
    std::string url;

    /// A media file, and no other. @param first_second  where it begins.
    static FfmpegInput File(const std::string& path, std::uint64_t first_second = 0);
    /// What a station of the internet radio sends, wherever on the web it says that this is.
    static FfmpegInput Station(const std::string& url);
};

/// The ffmpeg program at work on one input, in a process of its own, so that a hostile file's damage stays there.
/// Its memory and processor time are bounded; killed with all that it started, and collected, when this goes.
/// Threads: one at a time.
class FfmpegProcess {
public:
    /// @param output  arguments for what is written to the pipe.
    /// Only formats that hold their own content are read: anything may be written in a file.
    FfmpegProcess(const FfmpegInput& input, const std::vector<std::string>& output);
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
