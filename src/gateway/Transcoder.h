#pragma once

#include <cstddef>
#include <memory>
#include <semaphore>
#include <string>
#include <string_view>

#include "gateway/SampleStream.h"
#include "model/MimeTable.h"
#include "platform/http/HttpServer.h"

namespace MediaServer {

/// Songs as 16-bit samples and films as transport streams, made while they are sent, for players that do not take what
/// is there.
/// Threads: any, at once.
class Transcoder {
public:
    /// @param mime  outlives this. @param most  programs that run at once; beyond, 503.
    /// @param most_stations  the same for stations, which wait for others most of the time: a count of their own.
    Transcoder(const MimeTable& mime, std::ptrdiff_t most, std::ptrdiff_t most_stations)
        : mime_(mime),
          slots_(std::make_shared<std::counting_semaphore<>>(most)),
          station_slots_(std::make_shared<std::counting_semaphore<>>(most_stations)) {}

    /// Answers for "id=<row id>.wav?format=WAV|PCM&downsample=true|false", with the size that was announced and byte
    /// ranges, for "id=<row id>.m2ts?format=m2ts&type=video", and for "id=radio.wav?radio=<address>[&format=PCM]" with
    /// the encoded address of a station of the radio list. 404 for anything else.
    /// @param name  what follows "/transcoder/genericoder.cgi/".
    HttpResponse Serve(const HttpRequest& request, std::string_view name) const;

private:
    using Slots = std::shared_ptr<std::counting_semaphore<>>;

    HttpResponse ServeSong(const HttpRequest& request, std::int32_t id) const;
    HttpResponse ServeStation(const HttpRequest& request) const;
    HttpResponse ServeFilm(const HttpRequest& request, std::int32_t id) const;
    HttpResponse StartSamples(const Slots& slots, const HttpRequest& request, SampleStream::Source source,
                              const std::string& location, const TranscodedAudio& audio, SampleStream::Form form) const;
    HttpResponse Start(const Slots& slots, const HttpRequest& request, std::uint64_t size,
                       std::string_view content_type, std::string_view profile, const auto& open) const;

    const MimeTable& mime_;
    const Slots slots_, station_slots_;  // shared with the answers, which may outlive this
};

}  // namespace MediaServer
