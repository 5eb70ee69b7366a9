#include "platform/media/Subtitle.h"

#include "platform/text/Text.h"

namespace MediaServer {

std::string SubtitleBeside(std::string_view video_path) {
    constexpr std::size_t kLongest = 4094;
    if (video_path.empty()) return {};
    std::string path(DirName(video_path));
    path.append("/").append(BaseNameWithoutExtension(video_path)).append(".").append(kSubtitleExtension);
    path.resize(std::min(path.size(), kLongest));
    return path;
}

}  // namespace MediaServer
