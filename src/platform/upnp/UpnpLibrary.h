#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <upnp.h>

#include "platform/http/HttpServer.h"
#include "platform/text/TextBuffer.h"
#include "platform/upnp/DeviceDescription.h"
#include "platform/upnp/Subnet.h"

namespace MediaServer {

/// An action request as DeviceCallback gets it (event UPNP_CONTROL_ACTION_REQUEST): the library's own record, and what
/// the front knows about the HTTP request that carried it.
struct ActionRequestEvent {
    UpnpActionRequest* request;
    std::map<std::string, std::string> headers;  ///< lower-cased names
    std::string client_address;                  ///< dotted IPv4
    /// Written by the callback: text of the output argument "Result" when it stands empty in the response document.
    TextBuffer result;
};

/// What a virtual-directory callback learns about the requester.
struct WebRequest {
    std::map<std::string, std::string> headers;
    std::string client_address;
};

struct WebFileInfo {
    std::uint64_t length = 0;
    std::int64_t last_modified = 0;  ///< seconds since 1970
    bool is_directory = false;
    bool is_readable = true;
    bool is_busy = false;  ///< not now, perhaps in a moment (503), whatever get-info returns
    std::string content_type;
};

/// The callbacks of the virtual directories (GET and HEAD under the registered prefixes). `open` returns null on
/// failure; `close` frees the handle; `descriptor` tells the file descriptor behind a handle, so that a file goes out
/// with sendfile and the handle is closed at once (-1: use read and seek until the transfer ends, then close). Called
/// on worker threads, several at once.
struct VirtualDirCallbacks {
    std::function<bool(const WebRequest&, const std::string& name, WebFileInfo& info)> get_info;
    std::function<void*(const WebRequest&, const std::string& name, bool write)> open;
    std::function<int(void* handle, char* buffer, std::size_t length)> read;
    std::function<int(void* handle, std::int64_t offset, int origin)> seek;
    std::function<int(void* handle)> close;
    std::function<int(void* handle)> descriptor;
};

/// This system's build of the UPnP library: libupnp for SSDP, GENA and the device registry on a private loopback
/// listener, and a bounded HTTP front of our own on the public address for descriptions, virtual directories, SOAP
/// and subscriptions. Operations keep the names and the error codes (UPNP_E_…) of the library.
///
/// Action requests reach the callback as ActionRequestEvent, all other events with the library's own records.
/// Lifetime: one per process. Threads: set-up calls from one thread; the callback runs on many.
class UpnpLibrary {
public:
    UpnpLibrary();
    ~UpnpLibrary();

    /// Host names besides IP literals that requests may name in Host. Before UpnpInit.
    void SetHostNames(std::vector<std::string> names);

    /// Starts the library on the private listener and the front on `address`:`port` (empty address: the first
    /// interface's). Refuses (UPNP_E_SOCKET_BIND) when the port is taken, and (UPNP_E_SOCKET_ERROR, with a log line)
    /// when the socket list shows a listener of the library outside loopback.
    int UpnpInit(const std::string& address, std::uint16_t port);
    void UpnpFinish();
    std::uint16_t UpnpGetServerPort() const;     ///< the public port
    std::string UpnpGetServerIpAddress() const;  ///< the public address
    int UpnpSetMaxContentLength(std::size_t bytes);
    int UpnpSetWebServerRootDir(const std::string& directory);
    int UpnpSetVirtualDirCallbacks(VirtualDirCallbacks callbacks);
    int UpnpAddVirtualDir(const std::string& prefix);
    /// Takes the description at `description_url` from the web server root, by its last path element, and checks it.
    /// The network learns of the device when its location is known: with UpnpSetDescURL, or else the first
    /// advertisement.
    /// @return UPNP_E_FILE_NOT_FOUND or UPNP_E_INVALID_DESC after the reason was logged.
    int UpnpRegisterRootDevice(const std::string& description_url, Upnp_FunPtr callback, void* cookie,
                               UpnpDevice_Handle* handle);
    /// Location announced for the device (SSDP NOTIFY, M-SEARCH answers); relative URLs of the description start from
    /// it. Once per device. Actions, queries and subscriptions are answered from here on.
    int UpnpSetDescURL(UpnpDevice_Handle handle, const std::string& url);
    int UpnpRegisterClient(Upnp_FunPtr callback, void* cookie, UpnpClient_Handle* handle);
    int UpnpSearchAsync(UpnpClient_Handle handle, int seconds, const std::string& target, void* cookie);
    int UpnpSendAdvertisement(UpnpDevice_Handle handle, int expiry_seconds);
    int UpnpAcceptSubscription(UpnpDevice_Handle handle, const std::string& udn, const std::string& service_id,
                               const std::vector<std::pair<std::string, std::string>>& variables,
                               const UpnpSubscriptionRequest* request);
    int UpnpNotify(UpnpDevice_Handle handle, const std::string& udn, const std::string& service_id,
                   const std::vector<std::pair<std::string, std::string>>& variables);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Downloads a description (at most 256 KiB, 5 s, http only, no redirects, only from who announced it or a host of
/// `subnets`, by an IPv4 literal) and reads the wanted element texts. Nothing on failure. Bytes from the network never
/// reach the DOM parser.
std::optional<DeviceNames> UpnpDownloadXmlDoc(const std::string& url, const std::string& sender,
                                              const std::vector<Subnet>& subnets,
                                              const std::vector<std::string>& wanted);

}  // namespace MediaServer
