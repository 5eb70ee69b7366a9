#pragma once

#include <optional>
#include <string>

namespace MediaServer {

/// What a camera shows on its screen of a photo that it stores as raw samples.
struct RawPreview {
    std::string jpeg;           ///< carries the orientation of the photo
    int width = 0, height = 0;  ///< pixels, of the upright picture
};

/// Whether a photo with that orientation is shown turned by a quarter (EXIF 2.3, 4.6.4.A, tag 274).
constexpr bool IsQuarterTurn(long orientation) {
    return orientation >= 5 && orientation <= 8;
}

/// The largest JPEG inside a camera raw file; nothing when there is none or the file cannot be read.
/// Threads: any, at once.
std::optional<RawPreview> ReadRawPreview(const std::string& path);

/// Bytes of the picture that a photo shows: those of the file, or of its preview when it is a camera's raw one.
/// @param[out] flaw  the reason when nothing comes back.
std::optional<std::string> ReadPhotoPicture(const std::string& path, std::string& flaw);

/// Gets exiv2 ready; call it before any other use, as often as you like. Threads: any, at once.
void StartExiv2();

}  // namespace MediaServer
