#pragma once

#include <thread>

#include "gateway/MediaFiles.h"
#include "gateway/PictureStore.h"
#include "gateway/Transcoder.h"
#include "platform/clients/AccessRights.h"
#include "platform/http/RefusalLog.h"

namespace MediaServer {

/// Answers the requests of the media endpoint. Threads: any, at once.
class Gateway {
public:
    /// Stations of the internet radio that are listened to at once. Each keeps a reader of streams waiting.
    static constexpr std::uint32_t kStationsAtOnce = 8;

    /// @param mime, options  outlive this; options may be read again meanwhile. @param port  where the endpoint is
    /// reached. @param workers  threads that call Handle. @param access  outlives this; null: nobody is refused.
    Gateway(const MimeTable& mime, std::uint16_t port, std::uint32_t workers, const ServiceOptions& options,
            AccessRights* access = nullptr)
        : pictures_(workers - workers / 4),
          files_(mime, port, options, pictures_),
          transcoder_(mime, std::thread::hardware_concurrency() + 2, kStationsAtOnce),
          access_(access) {}

    HttpResponse Handle(const HttpRequest& request);
    /// Whether Handle waits neither for the database nor for anything to be made.
    bool IsQuick(const HttpRequest& request) const;

private:
    HttpResponse Route(const HttpRequest& request);

    RefusalLog refusals_;
    PictureStore pictures_;
    const MediaFiles files_;
    const Transcoder transcoder_;
    AccessRights* const access_;
};

}  // namespace MediaServer
