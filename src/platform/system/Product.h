#pragma once

#include <string>

namespace MediaServer {

/// Model name that clients show, for example "Linux x86_64"; never empty.
std::string DMSGetProductModel();

/// "uuid:" and a UUID that is stable for this installation: made once, kept in the package's config folder.
std::string DMSGetProductUDN();

/// Serial number derived from the same identity.
std::string DMSGetProductSerial();

}  // namespace MediaServer
