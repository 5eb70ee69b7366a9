#pragma once

#include <string>
#include <string_view>

namespace MediaServer {

/// Extension of the subtitle files that are announced.
inline constexpr std::string_view kSubtitleExtension = "srt";
/// The video library lists subtitles as files of their own: this and the id of the video.
inline constexpr std::string_view kSubtitleMark = "s_";

/// True for the text files that hold the subtitles of a video, which are listed with the videos.
bool IsSubtitle(std::string_view file_name);

/// Where the subtitle of a video lies when it has one: "<folder>/<name of the video>.srt", at most 4094 bytes. Empty
/// for the empty path. Whether the file is there is not looked up.
std::string SubtitleBeside(std::string_view video_path);

}  // namespace MediaServer
