#include "gateway/SampleStream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr std::chrono::seconds kPatience{30};
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

SampleStream::SampleStream(std::string path, const TranscodedAudio& audio, Form form, std::uint64_t first)
    : path_(std::move(path)),
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
        const std::ptrdiff_t count = ffmpeg_->Read(buffer, size, std::chrono::steady_clock::now() + kPatience);
        if (count < 0) DMSPrintf(0, "could not transcode \"%s\": ffmpeg failed or stands still", path_.c_str());
        if (count != 0) return count;
        ended_ = true;
    }
    std::memset(buffer, 0, size);
    return static_cast<std::ptrdiff_t>(size);
}

/// Decoding begins a second early, at a whole one: what a decoder or resampler carries over from the frames before is
/// then as it is in the whole song. Only the noise that AAC leaves to the decoder to make up is another each time.
bool SampleStream::Start() {
    const std::uint64_t second_bytes =
        static_cast<std::uint64_t>(audio_.channels) * kBytesPerSample * static_cast<std::uint64_t>(audio_.frequency);
    const std::uint64_t wanted = position_ - header_.size();
    const std::uint64_t begin = std::max<std::uint64_t>(wanted / second_bytes, 1) - 1;
    std::vector<std::string> before;
    if (begin > 0) before = {"-ss", std::to_string(begin)};
    ffmpeg_ = std::make_unique<FfmpegProcess>(
        before, path_,
        std::vector<std::string>{"-map", "0:a:0", "-vn", "-sn", "-dn", "-ac", std::to_string(audio_.channels), "-ar",
                                 std::to_string(audio_.frequency), "-f", form_ == Form::Wav ? "s16le" : "s16be"});
    return Skip(wanted - begin * second_bytes);
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
