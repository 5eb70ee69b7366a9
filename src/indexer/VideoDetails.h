#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer {

/// What a video, or a show, is. Texts are UTF-8, dates "YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS"; what is not known is
/// empty or 0.
struct VideoDetails {
    LibReelhouse::_VIDEO_TABLE_TYPE_ type = LibReelhouse::kHomeVideo;
    std::string title;       ///< of an episode, its own
    std::string sort_title;  ///< empty when it is the title
    std::string tag_line;
    std::string date;     ///< when it came out or was recorded
    std::string channel;  ///< of a recording
    std::string show;     ///< of an episode, its show's title
    std::string summary;
    std::int32_t year = 0;
    std::int32_t season = -1, episode = -1;  ///< below 0 when not known; season 0 has the specials
    std::vector<std::string> actors, directors, writers, genres;
};

}  // namespace MediaServer
