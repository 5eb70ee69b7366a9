#include "model/MimeTypes.h"

#include <array>
#include <optional>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

constexpr std::size_t kMaxListBytes = 1024 * 1024;

// Value of a key of the option file, cut at 1023 bytes; empty when it is absent.
std::string OptionFileValue(const char* key) {
    std::array<char, 1024> value{};
    if (NLIBCFileGetKeyValue(SystemPath(kOptionFile).c_str(), key, value.data(), value.size(), 0) <= 0) return {};
    return value.data();
}

}  // namespace

void LoadMimeTypes(MimeTable& table) {
    const std::string path = SystemPath(kMimeTypesFile);
    const std::optional<std::string> pairs = ReadWholeFile(path, kMaxListBytes);
    if (!pairs) {
        DMSPrintf(0, "Failed to load %s", path.c_str());
        return;
    }
    table.AddPairs(*pairs);
    if (EqualsIgnoreCase(OptionFileValue("cmzmimetype_mediaservice"), "yes")) {
        table.AddCustom(OptionFileValue("mimetype_mediaservice"));
    }
}

}  // namespace MediaServer
