#pragma once

#include <string>

namespace MediaServer {

/// Writes a small file of the system's run directory (truncating). Failures go to the system log and are no reason to
/// stop. @param write_problem  how the log names a failed write, e.g. "fprintf pid failed".
bool WriteTextFile(const std::string& path, const std::string& text, const char* write_problem);

}  // namespace MediaServer
