#include "platform/media/Subtitle.h"

#include <algorithm>
#include <iterator>

#include "platform/text/Text.h"

namespace MediaServer {
namespace {
constexpr std::string_view kSubtitles[] = {kSubtitleExtension, "smi", "ssa", "ass"};
}

bool IsSubtitle(std::string_view file_name) {
    return std::any_of(std::begin(kSubtitles), std::end(kSubtitles), [&](std::string_view extension) {
        return EqualsIgnoreCase(PathExtension(file_name), extension);
    });
}

std::string SubtitleBeside(std::string_view video_path) {
    constexpr std::size_t kLongest = 4094;
    if (video_path.empty()) return {};
    std::string path(DirName(video_path));
    path.append("/").append(BaseNameWithoutExtension(video_path)).append(".").append(kSubtitleExtension);
    path.resize(std::min(path.size(), kLongest));
    return path;
}

}  // namespace MediaServer
