#pragma once

#include <cstdint>

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Bytes of the header of a WAV file: RIFF, one format chunk, the head of the data.
inline constexpr std::int64_t kWavHeaderBytes = 44;

/// What a song is when it is sent as 16-bit samples. Who announces it and who makes it go by the same numbers.
struct TranscodedAudio {
    std::int32_t channels, frequency;  ///< frequency in Hz
    std::int64_t bytes;                ///< of all samples, without a header; 0 when unknown or out of bounds
};
/// @param downsample  to stereo at 44.1 kHz.
TranscodedAudio TranscodedAudioOf(const NIMB_MEDIA_INFO& record, bool downsample);

/// A station never ends; clients want a size, so they are told that of a little over eight hours, with a header or not.
inline constexpr std::int64_t kRadioBytes = 5286708000;
inline constexpr std::int32_t kRadioChannels = 2, kRadioFrequency = 44100;

/// Seconds without their fraction; 0 for what is no duration, bounded so that sizes made from it stay in 64 bits.
std::int64_t WholeSeconds(double seconds);

}  // namespace MediaServer
