#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MediaServer {

/// What the front needs to know of a device's services.
struct ServiceDescription {
    std::string type, id;
    std::string control_path, event_path;  ///< absolute paths; empty for a service without
    std::string udn;                       ///< of the device that the service belongs to
};

/// Reads the services of a device description, those of embedded devices too.
/// @param base_path  path of the URL where the description is found; relative URLs start from it (RFC 3986, 5.2).
/// @return nothing when the document is not well formed or has no UDN.
std::optional<std::vector<ServiceDescription>> ReadServices(std::string_view document, std::string_view base_path);

/// Names of a device: "modelName", "friendlyName", … to the text of the first element of that name in its description;
/// absent or empty ones are missing.
using DeviceNames = std::map<std::string, std::string>;
/// Reads the wanted names. @return nothing when the document is not well formed.
std::optional<DeviceNames> ReadDeviceNames(std::string_view document, const std::vector<std::string>& wanted);

/// Path of `url` (absolute, absolute path or relative to `base_path`), without query; empty when it has none.
std::string ResolvePath(std::string_view base_path, std::string_view url);

/// Path of an http URL, empty when the text is none.
std::string PathOfUrl(std::string_view url);

}  // namespace MediaServer
