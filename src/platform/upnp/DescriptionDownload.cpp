#include <memory>
#include <new>
#include <optional>

#include <curl/curl.h>

#include "platform/system/Log.h"
#include "platform/upnp/UpnpLibrary.h"
#include "platform/upnp/UpnpLimits.h"

namespace MediaServer {

namespace {

struct CurlDeleter {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
    void operator()(char* text) const noexcept { curl_free(text); }
};

/// True for an http URL whose host is that very address or a neighbour's: a device of several addresses may announce
/// itself from another than it serves at, but an announcement must not make us fetch from a stranger.
bool IsNearbyUrl(const std::string& url, const std::string& address, const std::vector<Subnet>& subnets) {
    const std::unique_ptr<CURLU, CurlDeleter> parts(curl_url());
    if (!parts || curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) return false;
    char *scheme = nullptr, *host = nullptr;
    curl_url_get(parts.get(), CURLUPART_SCHEME, &scheme, 0);
    curl_url_get(parts.get(), CURLUPART_HOST, &host, 0);
    const std::unique_ptr<char, CurlDeleter> scheme_owner(scheme), host_owner(host);
    return scheme && host && std::string_view(scheme) == "http" && IsNearby(host, address, subnets);
}

/// Called from C, which no exception may pass. @return less than `size` to end the download.
std::size_t Collect(char* data, std::size_t, std::size_t size, void* cls) noexcept {
    auto& document = *static_cast<std::string*>(cls);
    if (document.size() + size > UpnpLimits::kDescriptionBytes) return 0;
    try {
        document.append(data, size);
        return size;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

}  // namespace

std::optional<DeviceNames> UpnpDownloadXmlDoc(const std::string& url, const std::string& sender,
                                              const std::vector<Subnet>& subnets,
                                              const std::vector<std::string>& wanted) {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (ready != CURLE_OK) return std::nullopt;
    if (!IsNearbyUrl(url, sender, subnets)) {
        DMSPrintf(2, "did not download renderer description \"%s\" of %s: not at an address of this network",
                  url.c_str(), sender.c_str());
        return std::nullopt;
    }
    const std::unique_ptr<CURL, CurlDeleter> handle(curl_easy_init());
    if (!handle) return std::nullopt;
    std::string document;
    CURL* curl = handle.get();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(UpnpLimits::kDownloadTime.count()));
    curl_easy_setopt(curl, CURLOPT_MAXFILESIZE, static_cast<long>(UpnpLimits::kDescriptionBytes));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &document);
    if (curl_easy_perform(curl) != CURLE_OK) return std::nullopt;
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    return status == 200 ? ReadDeviceNames(document, wanted) : std::nullopt;
}

}  // namespace MediaServer
