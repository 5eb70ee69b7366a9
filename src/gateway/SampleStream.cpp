#include "gateway/SampleStream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr std::chrono::seconds kPatience{30}, kStationPatience{15};
constexpr std::uint32_t kBytesPerSample = 2;

void AppendNumber(std::string& text, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) text.push_back(static_cast<char>(value >> (8 * i)));
}

/// RIFF, the format of PCM, the head of the data (Multimedia Programming Interface and Data Specifications 1.0).
std::string WavHeader(const TranscodedAudio& audio) {
    constexpr std::uint64_t kLargest = 0xFFFFFFFF, kFormatBytes = 16, kPcm = 1;
    const auto bytes = static_cast<std::uint64_t>(audio.bytes);
    const auto frequency = static_cast<std::uint32_t>(audio.frequency);
    const std::uint32_t frame_bytes = static_cast<std::uint32_t>(audio.channels) * kBytesPerSample;
    std::string header = "RIFF";
    AppendNumber(header, std::min(bytes + kWavHeaderBytes - 8, kLargest), 4);
    header += "WAVEfmt ";
    AppendNumber(header, kFormatBytes, 4);
    AppendNumber(header, kPcm, 2);
    AppendNumber(header, static_cast<std::uint64_t>(audio.channels), 2);
    AppendNumber(header, frequency, 4);
    AppendNumber(header, std::uint64_t{frequency} * frame_bytes, 4);
    AppendNumber(header, frame_bytes, 2);
    AppendNumber(header, kBytesPerSample * 8, 2);
    header += "data";
    AppendNumber(header, std::min(bytes, kLargest), 4);
    return header;
}

}  // namespace

SampleStream::SampleStream(Source source, std::string location, const TranscodedAudio& audio, Form form,
                           std::uint64_t first)
    : source_(source),
      location_(std::move(location)),
      audio_(audio),
      form_(form),
      header_(form == Form::Wav ? WavHeader(audio) : std::string()),
      position_(first) {}

std::uint64_t SampleStream::SizeOf(const TranscodedAudio& audio, Form form) {
    return static_cast<std::uint64_t>(audio.bytes + (form == Form::Wav ? kWavHeaderBytes : 0));
}

std::ptrdiff_t SampleStream::Read(char* buffer, std::size_t size) {
    std::ptrdiff_t count = 0;
    if (position_ < header_.size()) {
        count = static_cast<std::ptrdiff_t>(header_.copy(buffer, size, position_));
    } else {
        count = ReadSamples(buffer, size);
    }
    if (count > 0) position_ += static_cast<std::uint64_t>(count);
    return count;
}

std::ptrdiff_t SampleStream::ReadSamples(char* buffer, std::size_t size) {
    if (!ffmpeg_ && !Start()) return -1;
    if (!ended_) {
        const bool is_song = source_ == Source::File;
        const auto patience = is_song ? kPatience : kStationPatience;
        const std::ptrdiff_t count = ffmpeg_->Read(buffer, size, std::chrono::steady_clock::now() + patience);
        if (count > 0) return count;
        ended_ = is_song && count == 0;
        if (!ended_) {
            DMSPrintf(is_song ? 0 : 1, "could not transcode \"%s\": ffmpeg failed or stands still", location_.c_str());
            return -1;
        }
    }
    std::memset(buffer, 0, size);
    return static_cast<std::ptrdiff_t>(size);
}

/// Decoding begins a second early, at a whole one: what a decoder or resampler carries over from the frames before is
/// then as it is in the whole song. Only the noise that AAC leaves to the decoder to make up is another each time.
bool SampleStream::Start() {
    const std::uint64_t frame_bytes = static_cast<std::uint64_t>(audio_.channels) * kBytesPerSample;
    const std::uint64_t second_bytes = frame_bytes * static_cast<std::uint64_t>(audio_.frequency);
    const std::uint64_t wanted = position_ - header_.size();
    const bool is_song = source_ == Source::File;
    const std::uint64_t begin = is_song ? std::max<std::uint64_t>(wanted / second_bytes, 1) - 1 : 0;
    ffmpeg_ = std::make_unique<FfmpegProcess>(
        is_song ? FfmpegInput::File(location_, begin) : FfmpegInput::Station(location_),
        std::vector<std::string>{"-map", "0:a:0", "-vn", "-sn", "-dn", "-ac", std::to_string(audio_.channels), "-ar",
                                 std::to_string(audio_.frequency), "-f", form_ == Form::Wav ? "s16le" : "s16be"});
    return Skip(is_song ? wanted - begin * second_bytes : wanted % frame_bytes);
}

bool SampleStream::Skip(std::uint64_t bytes) {
    std::array<char, 65536> unused;
    while (bytes > 0) {
        const std::ptrdiff_t count = ReadSamples(unused.data(), std::min<std::uint64_t>(unused.size(), bytes));
        if (count < 0) return false;
        bytes -= static_cast<std::uint64_t>(count);
    }
    return true;
}

}  // namespace MediaServer
