// The description of a renderer, which any machine that announces itself can write.
#include <algorithm>

#include "Target.h"
#include "Xml.h"
#include "platform/text/Text.h"
#include "platform/upnp/UpnpLibrary.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view document = AsText(data, size);
    const std::vector<std::string> wanted{"modelName", "modelDescription", "friendlyName", "manufacturer"};
    const auto names = ReadDeviceNames(document, wanted);
    if (!names) return 0;
    for (const auto& [name, value] : *names) {
        Require(std::find(wanted.begin(), wanted.end(), name) != wanted.end(), "only what was asked for is read");
        Require(!value.empty() && value.find('\0') == std::string::npos, "a name is text");
        Require(value.size() <= document.size() * 4, "a name does not grow beyond what was sent");
        Require(IsWellFormed("<a>" + XMLEscape(value) + "</a>"), "a name can be written as XML");
    }
    const auto one = ReadDeviceNames(document, {"friendlyName"});
    Require(one && one->size() == names->count("friendlyName"), "a name does not depend on what else is wanted");
    return 0;
}
