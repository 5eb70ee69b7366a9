#pragma once

#include <string>
#include <string_view>

namespace MediaServer {

/// MPEG profile name by picture size alone, for clients that only know the transport and program stream names.
/// @param extension  of the file, any case; tells a transport stream, with or without time stamps, from the rest.
/// @return empty for a size that is in none of the rows.
std::string MpegTsPsProfile(int width, int height, std::string_view extension);

}  // namespace MediaServer
