#include "gateway/VideoFrame.h"

#include <chrono>
#include <cstddef>

#include "gateway/FfmpegProcess.h"
#include "platform/picture/PictureScaler.h"

namespace MediaServer {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{10};

/// All that it writes; empty when that is more than `limit` bytes, it fails, or has not ended by the deadline.
std::string ReadAll(FfmpegProcess& ffmpeg, std::size_t limit, Clock::time_point deadline) {
    std::string text;
    char buffer[65536];
    while (text.size() <= limit) {
        const std::ptrdiff_t count = ffmpeg.Read(buffer, sizeof buffer, deadline);
        if (count == 0) return text;
        if (count < 0) return {};
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return {};
}

}  // namespace

std::string VideoFrame(const std::string& path) {
    const auto deadline = Clock::now() + kPatience;
    // Past the black of the first seconds, unless the video is shorter.
    for (const std::uint64_t second : {20, 0}) {
        FfmpegProcess ffmpeg(FfmpegInput::File(path, second),
                             {"-an", "-sn", "-frames:v", "1", "-f", "image2pipe", "-c:v", "mjpeg"});
        if (std::string frame = ReadAll(ffmpeg, kMaxPictureBytes, deadline); !frame.empty()) return frame;
    }
    return {};
}

}  // namespace MediaServer
