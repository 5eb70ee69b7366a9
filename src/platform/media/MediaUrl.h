#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/media/MediaKind.h"

namespace MediaServer {

/// The DLNA profile segment of a media URL when no profile applies.
inline constexpr std::string_view kNoProfile = "NDLNA";
/// Port of the HTTP endpoint that every media URL names.
inline constexpr std::uint16_t kMediaPort = 50002;

/// Longest sides of the renditions of a photo, in pixels: the two that lie beside it, and one for large screens.
inline constexpr std::int32_t kSmallThumbnailSide = 120, kBigThumbnailSide = 640, kExtraBigSide = 1280;
/// Folder beside photos in which their thumbnails lie.
inline constexpr std::string_view kThumbnailFolder = "@eaDir";

/// A media URL taken apart: "/<prefix>/<profile>/<id>.<extension>", the profile segment being optional. Below "rh" the
/// id of a video with "s_" before it, and the extension of a subtitle, is the subtitle beside that video.
struct MediaUrl {
    std::string_view prefix;  ///< "p", "sp", "bp", "xlp", "m", "v" or "rh"
    MediaKind kind;
    std::string_view profile;  ///< empty when the URL has no profile segment
    std::int32_t id;
    std::string_view extension;  ///< without the dot
};

/// Parses the path of a media URL. The id is the last segment up to its first non-digit. Nothing for another prefix,
/// a path that ends in "/", a last segment without leading digits or an id beyond 32 bits. The views point into `path`.
std::optional<MediaUrl> ParseMediaUrl(std::string_view path);

/// Folder of a photo's thumbnails: "<dir>/@eaDir/<name>".
std::string PhotoThumbnailFolder(std::string_view photo_path);
/// What the small and the big thumbnail are called there.
inline constexpr std::string_view kThumbnailNames[] = {"NIMBPHOTO_THUMB_S.jpg", "NIMBPHOTO_THUMB_B.jpg"};
/// Path of a photo's indexed thumbnail, under its older name with a colon when it does not exist.
std::string PhotoThumbnailPath(std::string_view photo_path, bool big);

/// Size of an image scaled to fit a square of `max_side`, never enlarged, at least one pixel a side; 0x0 stays 0x0.
void DMSGetThumbnailRes(std::int32_t width, std::int32_t height, std::int32_t* out_width, std::int32_t* out_height,
                        std::int32_t max_side);

/// True for the extensions of camera raw formats, without regard to case.
bool BlNIMBIndexIsRawImage(std::string_view extension);

/// Container code of a container name that the indexer stored (2 ASF, 9 3GPP, 10 MP4, 13 to 17 MPEG kinds, 0 other).
std::int32_t NIMBDlnaContainerTypeGet(std::string_view container_name);
/// MPEG-4 audio object type that a stored codec name stands for ("aac", "aac_he", ...), 0 for another codec.
std::int32_t NIMBAacObjectTypeGet(std::string_view codec_name);

}  // namespace MediaServer
