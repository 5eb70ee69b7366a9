#pragma once

#include <string>

namespace MediaServer {

/// A frame from near the start of a video as a JPEG, made by the ffmpeg program, so that a hostile file's damage stays
/// in a process of its own. Takes some tenths of a second, ten seconds at most; empty when there is no frame.
/// Threads: any, at once; the caller bounds how many.
std::string VideoFrame(const std::string& path);

}  // namespace MediaServer
