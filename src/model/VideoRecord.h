#pragma once

#include <string>

#include <json/value.h>

namespace MediaServer {

// Readers of the video library's records. The records come from another program, so nothing about them is taken for
// granted: what is missing, or is something else than expected, reads as empty.

/// A member as text, whatever its JSON type.
std::string MemberText(const Json::Value& object, const char* key);
/// A member; null when there is none.
const Json::Value& Member(const Json::Value& object, const char* key);
/// "files" of "additional"; null unless it is an array.
const Json::Value& FilesOf(const Json::Value& record);
/// File number `index` of a record; null when it has no such file.
const Json::Value& FileOf(const Json::Value& record, Json::ArrayIndex index);

}  // namespace MediaServer
