#pragma once

#include <string>
#include <string_view>

namespace MediaServer {

/// Puts the value of the environment variable DMS_SYSROOT (empty by default) in front of an absolute path of the
/// system ("/var/log/dms.log"), so that several instances live beside each other. Paths of media files are never
/// prefixed.
std::string SystemPath(std::string_view absolute_path);

// The places of the package, before SystemPath().
inline constexpr std::string_view kOptionFile = "/var/packages/MediaServer/etc/dmsinfo.conf";
inline constexpr std::string_view kClientListFile = "/var/packages/MediaServer/etc/client_list.json";
inline constexpr std::string_view kFoldersFile = "/var/packages/MediaServer/etc/media_folders.conf";
inline constexpr std::string_view kPackageConfigDir = "/var/packages/MediaServer/etc";
inline constexpr std::string_view kPackageDataDir = "/var/packages/MediaServer/target/etc";
inline constexpr std::string_view kProfileFile = "/var/packages/MediaServer/target/etc/agent.conf";
inline constexpr std::string_view kStringsDir = "/var/packages/MediaServer/target/etc/strings";
inline constexpr std::string_view kMimeTypesFile = "/usr/nimb/etc.defaults/mimetypes.txt";
inline constexpr std::string_view kTempDir = "/tmp/dms";
inline constexpr std::string_view kLogFile = "/var/log/dms.log";
inline constexpr std::string_view kAddressFile = "/var/run/dms.ip";
inline constexpr std::string_view kPidFileOfDaemon = "/var/run/dms.pid";

}  // namespace MediaServer
