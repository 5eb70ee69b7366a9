// The header fields of SUBSCRIBE and UNSUBSCRIBE. First line: the method; then header fields as they are sent.
#include <memory>

#include <arpa/inet.h>
#include <curl/curl.h>

#include "Fields.h"
#include "Target.h"
#include "platform/http/HttpServer.h"
#include "platform/upnp/GenaRequest.h"
#include "platform/upnp/UpnpLimits.h"

using namespace MediaServer;

namespace {

constexpr const char* kSubscriber = "192.168.1.7";
const Subnet kSubnet{0xC0A80100, 0xFFFFFF00};  // 192.168.1.0/24

/// Part of a URL by a parser that others wrote.
std::string PartOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, 0) != CURLUE_OK) return {};
    std::string copy(text);
    curl_free(text);
    return copy;
}

void TryUrl(const std::string& text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    Require(curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK, "a relayed URL is a URL");
    Require(PartOf(url.get(), CURLUPART_SCHEME) == "http", "events go out over plain HTTP");
    Require(PartOf(url.get(), CURLUPART_USER).empty(), "no URL carries a user");
    Require(PartOf(url.get(), CURLUPART_PATH).starts_with('/'), "every URL has a path");
    const std::string host = PartOf(url.get(), CURLUPART_HOST);
    in_addr address{};
    Require(
        inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) & kSubnet.mask) == kSubnet.address,
        "events stay on the subscriber's network");
}

void TryCallback(std::string_view header) {
    const auto checked = CheckCallback(header, kSubscriber, kSubnet);
    if (!checked) return;
    Require(checked->find_first_of(std::string_view("\r\n\0 ", 4)) == std::string::npos, "a relayed field is one word");
    Require(checked->size() > UpnpLimits::kCallbackBytes || CheckCallback(*checked, kSubscriber, kSubnet) == checked,
            "what was checked passes the check unchanged");
    std::size_t urls = 0;
    for (std::string_view rest = *checked; !rest.empty(); ++urls) {
        const std::size_t end = rest.find('>');
        Require(rest.front() == '<' && end != std::string_view::npos &&
                    rest.substr(1, end).find('<') == std::string_view::npos,
                "each URL stands in its own angle brackets");
        TryUrl(std::string(rest.substr(1, end - 1)));
        rest.remove_prefix(end + 1);
    }
    Require(urls > 0 && urls <= UpnpLimits::kCallbackUrls, "the URLs are few");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    HttpRequest request;
    request.method = TakeLine(text);
    request.headers = FieldsOf(text);
    TryCallback(request.Header("callback"));
    const int seconds = SubscriptionSeconds(request.Header("timeout"));
    Require(seconds >= UpnpLimits::kShortestSubscriptionSeconds && seconds <= UpnpLimits::kLongestSubscriptionSeconds,
            "a subscription ends");

    GenaKind kind = GenaKind::Subscribe;
    if (ClassifyGenaRequest(request, kind) != 0) return 0;
    const std::string& sid = request.Header("sid");
    Require((kind == GenaKind::Subscribe) == sid.empty(), "only a new subscription has no id");
    Require(kind == GenaKind::Unsubscribe || request.method == "SUBSCRIBE", "the method tells what is wanted");
    Require(sid.find_first_of(std::string_view("\r\n\0 ", 4)) == std::string::npos, "a relayed id is one word");
    return 0;
}
