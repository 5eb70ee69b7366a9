#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "platform/clients/DMSClientList.h"
#include "platform/system/Files.h"
#include "platform/upnp/UpnpLibrary.h"
#include "tree/ContentDirectoryService.h"
#include "web/PageTable.h"

namespace MediaServer {

/// What the virtual directories work with. The references outlive them.
struct WebContext {
    ContentDirectoryService& directory;
    DMSClientList& clients;
    /// Path of the description variant for a user agent (empty for a client that sent none).
    std::function<std::string(const std::string& agent)> select_description;
    /// MAC address of a client as the network has it, kUnknownMAC when it does not know.
    std::function<std::string(const std::string& address)> mac_of_client;
};

/// The URL space that the daemon itself serves: the device description per client, the icons, the browse pages, and
/// media files and photo thumbnails by id.
///
/// Each request is two calls, get-info and then open; a page is rendered by the first and handed out by the second.
/// Threads: registered once at start-up; the callbacks then run on many threads at once.
class VirtualDirs {
public:
    explicit VirtualDirs(WebContext context);

    /// Installs the callbacks and adds the directories. The library must not call back after this object is gone.
    /// @return 1; a directory that the library refused is logged at level 0.
    int RegisterVirtualDirs(UpnpLibrary& library);

    /// The callbacks, as the library gets them. A handle is freed by its close.
    VirtualDirCallbacks Callbacks();

private:
    struct OpenFile;

    bool GetInfo(const WebRequest& request, const std::string& name, WebFileInfo& info);
    OpenFile* Open(const WebRequest& request, const std::string& name, bool write);
    void Close(OpenFile* file);

    bool RenderPage(const WebRequest& request, const std::string& name, WebFileInfo& info);
    void RecordClient(const WebRequest& request, const std::string& mac, const std::string& name);
    bool IsRefused(const std::string& mac) const;
    /// MAC address of a client, kUnknownMAC when nobody knows it.
    std::string FindMac(const std::string& address) const;
    /// The same for who must be known; nothing, after a log line, for somebody else.
    std::optional<std::string> FindKnownMac(const std::string& address) const;

    /// A page may list a whole library: those being rendered leave workers and database to the players.
    static constexpr int kMostRenderings = 2;

    const WebContext context_;
    std::atomic<int> renderings_{0};
    PageTable pages_;
};

/// Path of the file that a media URL ("/m/", "/v/", "/p/", "/sp/", "/bp/") names by its id.
/// @return false when the URL is none of these, no row has the id, or the database did not answer (then logged).
bool ResolveMediaPath(const std::string& url, std::string* file_path);

}  // namespace MediaServer
