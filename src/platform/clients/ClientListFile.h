#pragma once

#include <cstddef>
#include <string>

#include <json/json.h>

namespace MediaServer {

/// Names of members of the document; see DMSClientList for its form.
inline constexpr const char* kListMember = "ClientList";
inline constexpr const char* kAddressMember = "ip";
inline constexpr const char* kAccessMember = "isAccess";

/// Largest list that is read, and so the largest that may be written.
inline constexpr std::size_t kMaxClientListBytes = 8 * 1024 * 1024;

/// Reads a client list and nothing else: the file stays as it is, whatever is in it. Hardware addresses come out in
/// lower case. @return the reason why the file is no client list, empty when it is one.
std::string ReadClientList(const std::string& path, Json::Value& root);

/// The document as it is written.
std::string SerializeClientList(const Json::Value& root);

/// A member as text, empty when there is none. A hand may write false instead of "false"; both mean the same.
std::string MemberText(const Json::Value& object, const std::string& member);

}  // namespace MediaServer
