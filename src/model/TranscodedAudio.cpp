#include "model/TranscodedAudio.h"

namespace MediaServer {
namespace {

constexpr std::int32_t kDownsampledChannels = 2, kDownsampledFrequency = 44100;
constexpr std::int64_t kSampleBytes = 2;

/// The product, or 0 when it does not fit.
std::int64_t Product(std::int64_t a, std::int64_t b, std::int64_t c) {
    std::int64_t result = 0;
    if (__builtin_mul_overflow(a, b, &result) || __builtin_mul_overflow(result, c, &result)) return 0;
    return result;
}

}  // namespace

std::int64_t WholeSeconds(double seconds) {
    constexpr double kLongest = 2147483647.0;
    if (!(seconds > 0)) return 0;  // also what is not a number
    return static_cast<std::int64_t>(seconds < kLongest ? seconds : kLongest);
}

TranscodedAudio TranscodedAudioOf(const NIMB_MEDIA_INFO& record, bool downsample) {
    const double duration = record.duration;
    TranscodedAudio audio{record.channel, record.frequency, 0};
    if (downsample) audio = {kDownsampledChannels, kDownsampledFrequency, 0};
    const std::int64_t seconds = WholeSeconds(downsample ? duration : duration + 1.0);
    audio.bytes = Product(seconds, audio.channels, kSampleBytes * audio.frequency);
    return audio;
}

}  // namespace MediaServer
