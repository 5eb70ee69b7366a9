#pragma once

#include <cstdint>
#include <string>

namespace MediaServer {

/// An internet radio station.
struct RadioStation {
    std::string title;
    std::string url;
    std::string album;
    std::int32_t bitrate = 0;  ///< bits per second; 0 when unknown
    std::int32_t number = 0;   ///< place within its genre
};

}  // namespace MediaServer
