#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/http/HttpServer.h"
#include "platform/upnp/Subnet.h"

namespace MediaServer {

/// Rebuilds a CALLBACK header (one or more URLs in angle brackets) from parts that were checked: http, an IPv4 literal
/// that is the subscriber's own address or a host of `subnet`, a port, and a path. Events must not be turned against
/// third parties, and the library ends the process over a URL without a path.
/// @return nothing when one of the URLs is anything else.
std::optional<std::string> CheckCallback(std::string_view header, const std::string& subscriber, const Subnet& subnet);

/// Seconds that a subscription gets for a TIMEOUT header ("Second-300", "infinite" or none), within the bounds.
int SubscriptionSeconds(std::string_view header);

/// True for "uuid:" and what the library's subscription ids are made of.
bool IsSubscriptionId(std::string_view sid);

enum class GenaKind { Subscribe, Renew, Unsubscribe };
/// What a request wants. @return 0 and `kind`, or the status that refuses it (UPnP Device Architecture 1.0, 4.1).
int ClassifyGenaRequest(const HttpRequest& request, GenaKind& kind);

}  // namespace MediaServer
