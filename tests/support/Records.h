#pragma once

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Sound, as the indexer stores what it found.
struct SoundFacts {
    const char* codec;
    std::uint32_t bitrate;
    std::int32_t rate, channels;
};

/// Pictures, and the sound that goes with them.
struct FilmFacts {
    const char *container, *codec;
    std::int32_t width, height, rate_num, rate_den;
    std::uint32_t video_bitrate, frame_bitrate;
    SoundFacts sound;
};

inline NIMB_MEDIA_INFO RecordOf(const SoundFacts& sound) {
    NIMB_MEDIA_INFO record;
    record.audio_codec = sound.codec;
    record.audio_bitrate = sound.bitrate;
    record.frequency = sound.rate;
    record.channel = sound.channels;
    return record;
}

inline NIMB_MEDIA_INFO RecordOf(const FilmFacts& film) {
    NIMB_MEDIA_INFO record = RecordOf(film.sound);
    record.container_type = film.container;
    record.video_codec = film.codec;
    record.resolutionx = film.width;
    record.resolutiony = film.height;
    record.frame_rate_num = film.rate_num;
    record.frame_rate_den = film.rate_den;
    record.video_bitrate = film.video_bitrate;
    record.frame_bitrate = film.frame_bitrate;
    return record;
}

}  // namespace MediaServer
