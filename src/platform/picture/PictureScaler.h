#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MediaServer {

enum class PictureFormat { Jpeg, Png };

/// Format by the first bytes; nothing for another or too few bytes (12 are enough).
std::optional<PictureFormat> PictureFormatOf(std::string_view bytes);

/// Largest file that is taken for a picture.
inline constexpr std::size_t kMaxPictureBytes = 32 * 1024 * 1024;
/// Largest picture that is decoded, some more than what full-frame cameras take: a few hundred bytes can claim to be
/// gigabytes of pixels.
inline constexpr std::int64_t kMaxPicturePixels = 70'000'000;

/// Decodes a JPEG, PNG, WebP, GIF (its first frame), BMP, TIFF (its first page), HEIC or AVIF, turns it upright, scales
/// it to the size that DMSGetThumbnailRes gives for `max_side`, and encodes it: baseline JPEG in sRGB on white, or PNG
/// in sRGB. A `max_side` of 0 leaves the pixels as they lie.
/// @param[out] flaw  the reason when nothing comes back; of a damaged picture, of which the readable part comes back,
///                   what is wrong with it; else untouched.
/// Threads: any, at once; the memory of each is bounded by kMaxPicturePixels.
std::optional<std::string> RenderPicture(std::string_view picture, PictureFormat format, int max_side,
                                         std::string& flaw);

/// A photo in the two sizes that lie beside it, as JPEG.
struct Thumbnails {
    std::string small, big;
};
/// Both from one decoding; otherwise as RenderPicture.
std::optional<Thumbnails> RenderThumbnails(std::string_view picture, std::string& flaw);

}  // namespace MediaServer
