#pragma once

#include <memory>
#include <string>

#include <microhttpd.h>

#include "platform/http/HttpServer.h"
#include "platform/http/WorkerPool.h"

namespace MediaServer {

struct MhdResponseDeleter {
    void operator()(MHD_Response* response) const noexcept { MHD_destroy_response(response); }
};
using MhdResponse = std::unique_ptr<MHD_Response, MhdResponseDeleter>;

/// The server library's response for the body of `answer`, which is moved out of it; null when out of memory.
/// @param client   address of who gets it.
/// @param streams  reads the body of a stream; outlives the connection.
MhdResponse MakeResponse(HttpResponse& answer, const std::string& client, MHD_Connection* connection,
                         WorkerPool& streams);

}  // namespace MediaServer
