#pragma once

#include <functional>
#include <string_view>

#include "tree/ContentDirectoryService.h"

namespace MediaServer {

inline constexpr std::string_view kPagePrefix = "/cds/";

/// Takes the next piece of a page. @return false when it cannot be kept; the rendering then stops.
using PageSink = std::function<bool(std::string_view)>;

/// Writes the HTML page that lists the children of one object, with a link to its parent.
///
/// The children come in portions, so memory does not grow with their number. An object that is not there gives an
/// empty page.
/// @param request  who asks, for the menu that this client sees.
/// @param url      "/cds/" for the root, else "/cds/" and an object identifier; anything may stand there.
/// @return false when the sink refused.
bool RenderBrowsePage(ContentDirectoryService& directory, const ClientRequest& request, std::string_view url,
                      const PageSink& sink);

}  // namespace MediaServer
