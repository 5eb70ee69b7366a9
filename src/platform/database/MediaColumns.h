#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>

#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

inline const char* TableName(MediaKind kind) {
    constexpr std::array<const char*, 5> kNames = {"music", "video", "photo", "playlist", "directory"};
    return kNames.at(static_cast<std::size_t>(kind));
}

/// The tables that have a column: one bit for each MediaKind.
inline constexpr unsigned kInMusic = 1, kInVideo = 2, kInPhoto = 4, kInPlaylist = 8, kInDirectory = 16;
inline constexpr unsigned kInFiles = kInMusic | kInVideo | kInPhoto | kInPlaylist, kInAll = kInFiles | kInDirectory;

/// A column of the media tables and the member of the record that holds it.
struct MediaColumn {
    const char* name;
    unsigned tables;  ///< that have it
    std::variant<std::string NIMB_MEDIA_INFO::*, std::int32_t NIMB_MEDIA_INFO::*, std::uint32_t NIMB_MEDIA_INFO::*,
                 std::int64_t NIMB_MEDIA_INFO::*, float NIMB_MEDIA_INFO::*>
        member;

    bool IsIn(MediaKind kind) const { return (tables >> static_cast<unsigned>(kind) & 1) != 0; }
};

inline constexpr MediaColumn kMediaColumns[] = {
    {"id", kInAll, &NIMB_MEDIA_INFO::id},
    {"path", kInAll, &NIMB_MEDIA_INFO::path},
    {"title", kInAll, &NIMB_MEDIA_INFO::title},
    {"album", kInMusic | kInVideo | kInPhoto, &NIMB_MEDIA_INFO::album},
    {"artist", kInMusic, &NIMB_MEDIA_INFO::artist},
    {"album_artist", kInMusic, &NIMB_MEDIA_INFO::album_artist},
    {"genre", kInMusic | kInVideo, &NIMB_MEDIA_INFO::genre},
    {"composer", kInMusic, &NIMB_MEDIA_INFO::composer},
    {"track", kInMusic, &NIMB_MEDIA_INFO::track},
    {"disc", kInMusic, &NIMB_MEDIA_INFO::disc},
    {"year", kInMusic | kInVideo, &NIMB_MEDIA_INFO::year},
    {"date", kInAll, &NIMB_MEDIA_INFO::date},
    {"timetaken", kInPhoto, &NIMB_MEDIA_INFO::timetaken},
    {"duration", kInMusic | kInVideo, &NIMB_MEDIA_INFO::duration},
    {"container_type", kInMusic | kInVideo | kInPhoto, &NIMB_MEDIA_INFO::container_type},
    {"video_codec", kInVideo, &NIMB_MEDIA_INFO::video_codec},
    {"audio_codec", kInMusic | kInVideo, &NIMB_MEDIA_INFO::audio_codec},
    {"video_bitrate", kInVideo, &NIMB_MEDIA_INFO::video_bitrate},
    {"frame_bitrate", kInMusic | kInVideo, &NIMB_MEDIA_INFO::frame_bitrate},
    {"audio_bitrate", kInMusic | kInVideo, &NIMB_MEDIA_INFO::audio_bitrate},
    {"frame_rate_num", kInVideo, &NIMB_MEDIA_INFO::frame_rate_num},
    {"frame_rate_den", kInVideo, &NIMB_MEDIA_INFO::frame_rate_den},
    {"frequency", kInMusic | kInVideo, &NIMB_MEDIA_INFO::frequency},
    {"channel", kInMusic | kInVideo, &NIMB_MEDIA_INFO::channel},
    {"resolutionx", kInVideo | kInPhoto, &NIMB_MEDIA_INFO::resolutionx},
    {"resolutiony", kInVideo | kInPhoto, &NIMB_MEDIA_INFO::resolutiony},
    {"filesize", kInFiles, &NIMB_MEDIA_INFO::filesize},
    {"embedded_art", kInMusic | kInVideo, &NIMB_MEDIA_INFO::embedded_art},
};

}  // namespace MediaServer
