// Paths of media URLs, as any machine on the network may ask for them.
#include "platform/media/MediaUrl.h"

#include "Target.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path(AsText(data, size));
    const auto url = ParseMediaUrl(path);
    if (!url) return 0;
    Require(url->id >= 0, "a row id is not negative");
    Require(path.starts_with("/" + std::string(url->prefix) + "/"), "the prefix is the first segment");
    Require(!path.ends_with('/'), "a directory is no media file");
    Require(url->extension.find('/') == std::string_view::npos, "the extension is part of the last segment");
    const std::string_view last = std::string_view(path).substr(path.rfind('/') + 1);
    Require(std::stoll(std::string(last)) == url->id, "the id is the number that the last segment begins with");
    Require(last.ends_with(url->extension), "the extension ends the path");
    return 0;
}
