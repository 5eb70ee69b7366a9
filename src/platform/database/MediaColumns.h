#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// A column of the media tables and the member of the record that holds it. No table has all of them.
struct MediaColumn {
    const char* name;
    std::variant<std::string NIMB_MEDIA_INFO::*, std::int32_t NIMB_MEDIA_INFO::*, std::uint32_t NIMB_MEDIA_INFO::*,
                 std::int64_t NIMB_MEDIA_INFO::*, float NIMB_MEDIA_INFO::*>
        member;
};

inline constexpr MediaColumn kMediaColumns[] = {
    {"id", &NIMB_MEDIA_INFO::id},
    {"path", &NIMB_MEDIA_INFO::path},
    {"title", &NIMB_MEDIA_INFO::title},
    {"album", &NIMB_MEDIA_INFO::album},
    {"artist", &NIMB_MEDIA_INFO::artist},
    {"album_artist", &NIMB_MEDIA_INFO::album_artist},
    {"genre", &NIMB_MEDIA_INFO::genre},
    {"composer", &NIMB_MEDIA_INFO::composer},
    {"track", &NIMB_MEDIA_INFO::track},
    {"disc", &NIMB_MEDIA_INFO::disc},
    {"year", &NIMB_MEDIA_INFO::year},
    {"date", &NIMB_MEDIA_INFO::date},
    {"timetaken", &NIMB_MEDIA_INFO::timetaken},
    {"duration", &NIMB_MEDIA_INFO::duration},
    {"container_type", &NIMB_MEDIA_INFO::container_type},
    {"video_codec", &NIMB_MEDIA_INFO::video_codec},
    {"audio_codec", &NIMB_MEDIA_INFO::audio_codec},
    {"video_bitrate", &NIMB_MEDIA_INFO::video_bitrate},
    {"frame_bitrate", &NIMB_MEDIA_INFO::frame_bitrate},
    {"audio_bitrate", &NIMB_MEDIA_INFO::audio_bitrate},
    {"frame_rate_num", &NIMB_MEDIA_INFO::frame_rate_num},
    {"frame_rate_den", &NIMB_MEDIA_INFO::frame_rate_den},
    {"frequency", &NIMB_MEDIA_INFO::frequency},
    {"channel", &NIMB_MEDIA_INFO::channel},
    {"resolutionx", &NIMB_MEDIA_INFO::resolutionx},
    {"resolutiony", &NIMB_MEDIA_INFO::resolutiony},
    {"filesize", &NIMB_MEDIA_INFO::filesize},
    {"embedded_art", &NIMB_MEDIA_INFO::embedded_art},
};

}  // namespace MediaServer
