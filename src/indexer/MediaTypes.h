#pragma once

#include <optional>
#include <string_view>

#include "platform/media/MediaKind.h"

namespace MediaServer {

/// The kind that a file's name stands for, by its extension without regard to case. Nothing for files that are no
/// media.
std::optional<MediaKind> FindMediaKind(std::string_view file_name);

}  // namespace MediaServer
