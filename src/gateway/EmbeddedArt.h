#pragma once

#include <string>

namespace MediaServer {

/// The cover picture inside a music file as it is stored: the front cover, else the first picture; by TagLib, and by
/// FFmpeg for the kinds that TagLib does not read. Empty when there is none, it is larger than kMaxPictureBytes, or the
/// file cannot be read. Threads: any, at once.
std::string EmbeddedArt(const std::string& path);

}  // namespace MediaServer
