#pragma once

#include <cstddef>
#include <memory>
#include <semaphore>
#include <string_view>

#include "model/MimeTable.h"
#include "platform/http/HttpServer.h"

namespace MediaServer {

/// Songs as 16-bit samples and films as transport streams, made while they are sent, for players that do not take what
/// is there.
/// Threads: any, at once.
class Transcoder {
public:
    /// @param mime  outlives this. @param most  programs that run at once; beyond, 503.
    Transcoder(const MimeTable& mime, std::ptrdiff_t most)
        : mime_(mime), slots_(std::make_shared<std::counting_semaphore<>>(most)) {}

    /// Answers for "id=<row id>.wav?format=WAV|PCM&downsample=true|false", with the size that was announced and byte
    /// ranges, and for "id=<row id>.m2ts?format=m2ts&type=video". 404 for anything else: stations of the network are
    /// fetched for nobody while there is no list of them.
    /// @param name  what follows "/transcoder/genericoder.cgi/".
    HttpResponse Serve(const HttpRequest& request, std::string_view name) const;

private:
    HttpResponse ServeSong(const HttpRequest& request, std::int32_t id) const;
    HttpResponse ServeFilm(const HttpRequest& request, std::int32_t id) const;
    HttpResponse Start(const HttpRequest& request, std::uint64_t size, std::string_view content_type,
                       std::string_view profile, const auto& open) const;

    const MimeTable& mime_;
    std::shared_ptr<std::counting_semaphore<>> slots_;  // shared with the answers, which may outlive this
};

}  // namespace MediaServer
