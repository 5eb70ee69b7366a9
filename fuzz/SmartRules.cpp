// Rule files of smart playlists: the owner writes them, or gets them from somewhere.
#include "platform/audio/SmartRules.h"

#include "Sql.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string reason;
    const auto playlist = ParseSmartPlaylist(AsText(data, size), "name", reason);
    if (!playlist) {
        Require(!reason.empty(), "what is refused has a reason");
        return 0;
    }
    RequireOneExpression(playlist->condition);
    RequireOneExpression(playlist->order);
    Require(!playlist->order.empty() && playlist->limit >= 0, "order and limit can be used");
    return 0;
}
