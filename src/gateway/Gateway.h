#pragma once

#include "gateway/MediaFiles.h"
#include "gateway/PictureStore.h"

namespace MediaServer {

/// Answers the requests of the media endpoint. Threads: any, at once.
class Gateway {
public:
    /// @param mime  outlives this. @param port  where the endpoint is reached.
    /// @param workers  threads that call Handle.
    Gateway(const MimeTable& mime, std::uint16_t port, std::uint32_t workers)
        : pictures_(workers - workers / 4), files_(mime, port, pictures_) {}

    HttpResponse Handle(const HttpRequest& request);

private:
    HttpResponse Route(const HttpRequest& request);

    PictureStore pictures_;
    const MediaFiles files_;
};

}  // namespace MediaServer
