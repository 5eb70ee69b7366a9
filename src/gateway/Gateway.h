#pragma once

#include "gateway/CoverPictures.h"
#include "gateway/MediaFiles.h"

namespace MediaServer {

/// Answers the requests of the media endpoint. Threads: any, at once.
class Gateway {
public:
    /// @param mime  outlives this. @param port  where the endpoint is reached.
    Gateway(const MimeTable& mime, std::uint16_t port) : files_(mime, port) {}

    HttpResponse Handle(const HttpRequest& request);

private:
    HttpResponse Route(const HttpRequest& request);

    const MediaFiles files_;
    CoverPictures covers_;
};

}  // namespace MediaServer
