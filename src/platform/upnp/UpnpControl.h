#pragma once

#include <upnp.h>

#include "platform/http/HttpServer.h"
#include "platform/upnp/DeviceDescription.h"

namespace MediaServer {

/// Answers a POST to a service's control URL: reads the SOAP body, calls the device's callback with the library's own
/// event for an action (ActionRequestEvent) or a state-variable query, and writes what it left there as SOAP.
/// Threads: any, at once.
HttpResponse AnswerControl(const HttpRequest& request, const ServiceDescription& service, Upnp_FunPtr callback,
                           void* cookie);

}  // namespace MediaServer
