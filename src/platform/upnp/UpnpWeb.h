#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/http/HttpServer.h"
#include "platform/upnp/UpnpLibrary.h"

namespace MediaServer {

/// Answers GET and HEAD through the callbacks of a virtual directory: get-info, then open, then close when the answer
/// has been sent or its connection has ended (at once for a handle that tells its descriptor, of which a duplicate goes
/// out).
HttpResponse ServeVirtualFile(const HttpRequest& request, const VirtualDirCallbacks& callbacks);

/// Answers with a file that lies directly in the web server root. Only the registered description, those of
/// the services and the icons are anybody's business there; everything else is "not found".
HttpResponse ServeRootFile(const HttpRequest& request, const std::string& root);

}  // namespace MediaServer
