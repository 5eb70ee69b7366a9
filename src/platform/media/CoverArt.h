#pragma once

#include <string>
#include <vector>

namespace MediaServer {

/// File names that people and programs give to the cover picture of a folder, the most usual first. File systems tell
/// case apart, so the usual spellings stand one by one. Built once; valid for ever; any thread.
const std::vector<std::string>& GetCoverList();

}  // namespace MediaServer
