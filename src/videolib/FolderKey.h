#pragma once

#include <string>
#include <string_view>

#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer {

/// The source name of these nodes in the system log.
inline constexpr const char* kFolderSource = "cdsfolder_rh";

// A folder key names a directory by a video file below it and the number of levels between them: "1234L2" is the
// directory two levels above the one that holds file 1234. It is short, has no character of a path, and holds as long
// as the file. What goes wrong is told to the system log.

/// @param directory  absolute path. @return the empty key when no video file lies below it.
std::string MakeFolderKey(LibReelhouse::VideoMetadataAPI& library, std::string_view directory);

/// The key by a video file that is known to lie below the directory.
std::string MakeFolderKey(std::string_view directory, std::string_view file_id, std::string_view file_path);

/// The directory that a key names, whether it exists or not. Empty for what is no key, and when the file is gone.
std::string ResolveFolderKey(LibReelhouse::VideoMetadataAPI& library, std::string_view key);

}  // namespace MediaServer
