#pragma once

#include <string_view>

namespace MediaServer {

/// True for a day of the calendar after Christ, "YYYY-MM-DD".
bool IsDate(std::string_view text);

}  // namespace MediaServer
