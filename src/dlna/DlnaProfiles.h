#pragma once

#include <string>
#include <string_view>

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// DLNA.ORG_FLAGS of streamed media and of images (DLNA guidelines, 7.3.37: eight flag digits, 24 reserved zeros).
inline constexpr std::string_view kStreamingFlags = "01700000000000000000000000000000";
inline constexpr std::string_view kInteractiveFlags = "00f00000000000000000000000000000";

/// One profile: its name, MIME type and resolution label.
struct ProfileEntry {
    std::string_view name, mime, label;
};

/// Class of a record's audio stream, a value of AudioClass.
int ClassifyAudio(const NIMB_MEDIA_INFO& record);
/// Profile of a video by its container and codec parameters; null when no profile fits. The entry lives for ever.
const ProfileEntry* DetectVideoProfile(const NIMB_MEDIA_INFO& record);
/// JPEG profile of a picture size; empty above 4096 a side.
std::string_view JpegProfileFor(int width, int height);
/// Fourth protocolInfo field of streamed media: with DLNA.ORG_PN unless the profile is empty or "NDLNA".
std::string StreamingDlnaParams(std::string_view profile);

/// What a picture resource is: a photo's file or a conversion of the whole photo; a smaller rendition beside it, which
/// is marked as converted; a cover, which has no byte ranges.
enum class PictureKind { Photo, Rendition, Cover };
/// Fourth protocolInfo field of a picture: with DLNA.ORG_PN unless the profile is empty or "NDLNA".
std::string PictureDlnaParams(PictureKind kind, std::string_view profile);

/// MIME type of transport streams with time stamps, whatever the file's extension says.
inline constexpr std::string_view kTimeStampedMime = "video/vnd.dlna.mpeg-tts";
/// True for the MPEG-2 profiles that are announced under kTimeStampedMime.
bool IsTimeStampedProfile(std::string_view profile);

}  // namespace MediaServer
