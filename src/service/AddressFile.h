#pragma once

#include <string>

namespace MediaServer {

/// Writes the file that tells other programs of this machine where the server listens. Failures go to the system log
/// and are no reason to stop.
bool WriteAddressFile(const std::string& address);

}  // namespace MediaServer
