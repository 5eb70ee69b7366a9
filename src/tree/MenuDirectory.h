#pragma once

#include <string>
#include <string_view>

#include "platform/media/MediaKind.h"

namespace MediaServer {

/// Directory value that stands for all indexed files of a media kind.
inline constexpr std::string_view kAllIndexFiles = ":@AllIndexFiles@";

/// Absolute path that a directory of a menu template means: ":@AllIndexFiles@" as it stands; a value that begins with
/// ":" or "/" without that character, made absolute; any other below the media kind's first shared folder.
/// Empty when there is no such folder or nothing is left of the value.
std::string ResolveMenuDirectory(MediaKind kind, std::string_view value);

}  // namespace MediaServer
