#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

/// File names that people and programs give to the cover picture of a folder, the most usual first. File systems tell
/// case apart, so the usual spellings stand one by one. Built once; valid for ever; any thread.
const std::vector<std::string>& GetCoverList();

/// Path of the cover in the folder of a song: the first name of the list that is a regular file; empty without one.
std::string FindFolderCover(std::string_view song_path);
/// Path of a video's cover: a picture with the video's own name, else the folder's; empty without one. Its kind is
/// announced, so nothing else may be looked for.
std::string FindVideoCover(std::string_view video_path);
/// The same for the video library, which announces JPEG whatever is found: also "<name>-poster.jpg" or ".png".
std::string FindVideoPoster(std::string_view video_path);

}  // namespace MediaServer
