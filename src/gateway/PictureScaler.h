#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MediaServer {

enum class PictureFormat { Jpeg, Png };

/// Format by the first bytes; nothing for another or too few bytes (12 are enough).
std::optional<PictureFormat> PictureFormatOf(std::string_view bytes);

/// Largest picture that is decoded, what a telephone takes: a few hundred bytes can claim to be gigabytes of pixels.
inline constexpr std::int64_t kMaxPicturePixels = 50'000'000;

/// Decodes a JPEG, PNG, WebP or GIF (its first frame), turns it upright and fits it into `max_side` by `max_side`
/// without enlarging, and encodes it: baseline JPEG in sRGB on white, or PNG in sRGB. A `max_side` of 0 leaves the
/// pixels as they lie.
/// @param[out] error  the reason when nothing comes back.
/// Threads: any, at once; the memory of each is bounded by kMaxPicturePixels.
std::optional<std::string> RenderPicture(std::string_view picture, PictureFormat format, int max_side,
                                         std::string& error);

}  // namespace MediaServer
