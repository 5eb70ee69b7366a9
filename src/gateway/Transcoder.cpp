#include "gateway/Transcoder.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "dlna/DlnaProfiles.h"
#include "gateway/FfmpegProcess.h"
#include "platform/audio/NimbAudioUtils.h"
#include "platform/database/MediaDB.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/http/HttpFile.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::string_view kTransportStreamMime = "video/mpeg";
/// More than any song has; a record may say anything.
constexpr std::int32_t kMostChannels = 8, kHighestFrequency = 384000;

/// Value of a parameter of a query; empty when it is not there.
std::string_view Parameter(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        if (part.size() > name.size() && part.starts_with(name) && part[name.size()] == '=') {
            return part.substr(name.size() + 1);
        }
        query.remove_prefix(std::min(part.size() + 1, query.size()));
    }
    return {};
}

/// A place among the programs that may run, given back when the last answer that holds it goes.
class Slot {
public:
    explicit Slot(std::shared_ptr<std::counting_semaphore<>> slots)
        : slots_(std::move(slots)), taken_(slots_->try_acquire()) {}
    ~Slot() {
        if (taken_) slots_->release();
    }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    bool Taken() const { return taken_; }

private:
    std::shared_ptr<std::counting_semaphore<>> slots_;
    const bool taken_;
};

/// What players of transport streams decode goes over as it is; anything else becomes MPEG-2.
std::vector<std::string> FilmArguments(const NIMB_MEDIA_INFO& record) {
    std::vector<std::string> arguments = {"-map", "0:v:0", "-map", "0:a:0?", "-sn", "-dn"};
    if (record.video_codec == "h264" || record.video_codec == "mpeg2video") {
        arguments.insert(arguments.end(), {"-c:v", "copy"});
    } else {
        arguments.insert(arguments.end(), {"-c:v", "mpeg2video", "-q:v", "4", "-pix_fmt", "yuv420p"});
    }
    const bool is_plain = record.audio_codec == "ac3" || record.audio_codec == "mp3";
    arguments.insert(arguments.end(), {"-c:a", is_plain ? "copy" : "ac3", "-f", "mpegts"});
    return arguments;
}

/// A film on its way. The program starts with the first read, on a thread that may wait.
struct FilmStream {
    NIMB_MEDIA_INFO record;
    std::unique_ptr<FfmpegProcess> ffmpeg;

    std::ptrdiff_t Read(char* buffer, std::size_t size) {
        if (!ffmpeg) {
            ffmpeg = std::make_unique<FfmpegProcess>(FfmpegInput::File(record.path), FilmArguments(record));
        }
        const std::ptrdiff_t count = ffmpeg->Read(buffer, size, std::chrono::steady_clock::now() + kPatience);
        if (count < 0) DMSPrintf(0, "could not transcode \"%s\": ffmpeg failed or stands still", record.path.c_str());
        return count;
    }
};

/// A file of which nothing can be converted; the reason is in the log.
struct Unconvertible {};

/// A stream whose first samples or packets are there before the answer begins, so that a file which cannot be converted
/// gets a status instead of an answer that breaks off. Throws Unconvertible.
template <typename Stream>
class Begun {
public:
    explicit Begun(Stream stream) : stream_(std::move(stream)) {
        // The head of a WAV file comes without a look at the song.
        while (first_.size() <= static_cast<std::size_t>(kWavHeaderBytes)) {
            char buffer[4096];
            const std::ptrdiff_t count = stream_.Read(buffer, sizeof buffer);
            if (count <= 0) throw Unconvertible{};
            first_.append(buffer, static_cast<std::size_t>(count));
        }
    }
    std::ptrdiff_t Read(char* buffer, std::size_t size) {
        if (at_ == first_.size()) return stream_.Read(buffer, size);
        const std::size_t count = first_.copy(buffer, size, at_);
        at_ += count;
        return static_cast<std::ptrdiff_t>(count);
    }

private:
    Stream stream_;
    std::string first_;
    std::size_t at_ = 0;
};

HttpResponse Refusal(Lookup lookup) {
    return PlainResponse(lookup == Lookup::Failed ? 503 : 404);
}

}  // namespace

HttpResponse Transcoder::Serve(const HttpRequest& request, std::string_view name) const {
    constexpr std::string_view kStart = "id=";
    const std::size_t dot = name.rfind('.');
    if (!name.starts_with(kStart) || dot == std::string_view::npos) return PlainResponse(404);
    const std::string_view field = name.substr(kStart.size(), dot - kStart.size()), extension = name.substr(dot + 1);
    if (field == "radio" && extension == "wav") return ServeStation(request);
    const std::optional<std::int32_t> id = ParseRowId(field);
    if (id && extension == "wav") return ServeSong(request, *id);
    if (id && extension == "m2ts") return ServeFilm(request, *id);
    return PlainResponse(404);
}

/// @param open  gives what Read is called on, from a byte on.
HttpResponse Transcoder::Start(const Slots& slots, const HttpRequest& request, std::uint64_t size,
                               std::string_view content_type, std::string_view profile, const auto& open) const {
    std::shared_ptr<Slot> slot;
    if (request.method == "GET") slot = std::make_shared<Slot>(slots);
    if (slot && !slot->Taken()) return PlainResponse(503);
    const auto opener = [&](std::uint64_t first) -> BodyReader {
        return [stream = open(first), slot](std::uint64_t, char* buffer, std::size_t bytes) {
            return stream->Read(buffer, bytes);
        };
    };
    try {
        return ServeStream(request, size, opener, content_type, StreamingDlnaParams(profile));
    } catch (const Unconvertible&) {
        return PlainResponse(500);
    }
}

HttpResponse Transcoder::ServeSong(const HttpRequest& request, std::int32_t id) const {
    const std::string_view format = Parameter(request.query, "format");
    if (format != "WAV" && format != "PCM") return PlainResponse(404);
    NIMB_MEDIA_INFO record;
    if (const Lookup lookup = FindMediaRecord(MediaKind::Music, id, record); lookup != Lookup::Found)
        return Refusal(lookup);
    const TranscodedAudio audio = TranscodedAudioOf(record, Parameter(request.query, "downsample") == "true");
    const bool fits = audio.channels > 0 && audio.channels <= kMostChannels && audio.frequency > 0 &&
                      audio.frequency <= kHighestFrequency && audio.bytes > 0;
    if (!fits) return PlainResponse(404);
    return StartSamples(slots_, request, SampleStream::Source::File, record.path, audio,
                        format == "WAV" ? SampleStream::Form::Wav : SampleStream::Form::Bare);
}

/// Only stations of the list: this is no proxy for any address. The form without a format is WAV.
HttpResponse Transcoder::ServeStation(const HttpRequest& request) const {
    const std::string_view format = Parameter(request.query, "format");
    const std::optional<std::string> url = URLDecode(Parameter(request.query, "radio"));
    if ((!format.empty() && format != "PCM") || !url || !RadioHasStation(*url)) return PlainResponse(404);
    const bool wav = format.empty();
    const TranscodedAudio audio{kRadioChannels, kRadioFrequency, kRadioBytes - (wav ? kWavHeaderBytes : 0)};
    return StartSamples(station_slots_, request, SampleStream::Source::Station, *url, audio,
                        wav ? SampleStream::Form::Wav : SampleStream::Form::Bare);
}

HttpResponse Transcoder::StartSamples(const Slots& slots, const HttpRequest& request, SampleStream::Source source,
                                      const std::string& location, const TranscodedAudio& audio,
                                      SampleStream::Form form) const {
    const bool wav = form == SampleStream::Form::Wav;
    const auto start = [&](const auto& open) {
        return Start(slots, request, SampleStream::SizeOf(audio, form), mime_.GetMimeType(wav ? ".wav" : ".l16"),
                     wav ? "" : "LPCM", open);
    };
    const auto stream = [&](std::uint64_t first) { return SampleStream(source, location, audio, form, first); };
    // Nobody waits for a station that is slow but its listener.
    if (source == SampleStream::Source::Station) {
        return start([&](std::uint64_t first) { return std::make_shared<SampleStream>(stream(first)); });
    }
    return start([&](std::uint64_t first) { return std::make_shared<Begun<SampleStream>>(stream(first)); });
}

HttpResponse Transcoder::ServeFilm(const HttpRequest& request, std::int32_t id) const {
    if (Parameter(request.query, "format") != "m2ts") return PlainResponse(404);
    NIMB_MEDIA_INFO record;
    if (const Lookup lookup = FindMediaRecord(MediaKind::Video, id, record); lookup != Lookup::Found)
        return Refusal(lookup);
    return Start(slots_, request, HttpResponse::kUnknownLength, kTransportStreamMime, {}, [&](std::uint64_t) {
        return std::make_shared<Begun<FilmStream>>(FilmStream{record, nullptr});
    });
}

}  // namespace MediaServer
