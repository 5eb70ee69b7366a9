#pragma once

#include <cstddef>
#include <cstdint>

#include "model/PropertyFilter.h"

namespace MediaServer {

/// The properties that bring a res element into an item with a picture: every res bit.
inline constexpr std::uint32_t kAnyVideoRes = Property::kRes | Property::kResResolution | Property::kResProtocolInfo |
                                              Property::kResSize | Property::kResDuration | Property::kResBitrate |
                                              Property::kResSampleFrequency | Property::kResBitsPerSample |
                                              Property::kResNrAudioChannels;

/// Where a video's id belongs, which shows in its URLs.
struct VideoOrigin {
    const char* path_word;
    const char* transcoder_type;
    const char* art_kind;
    std::size_t url_field;  ///< bytes of its URLs with the final NUL
};
inline constexpr VideoOrigin kMediaLibrary{"v", "video", "vfolderart", 256};
inline constexpr VideoOrigin kVideoLibrary{"rh", "Reelhouse", "rhcover", 1024};

/// Where a video's cover can be had and what it is.
struct VideoCover {
    const VideoOrigin& origin;
    bool png;
    const char* Extension() const { return png ? "png" : "jpg"; }
    const char* Profile() const { return png ? "PNG_TN" : "JPEG_TN"; }
    const char* Mime() const { return png ? "image/png" : "image/jpeg"; }
};

}  // namespace MediaServer
