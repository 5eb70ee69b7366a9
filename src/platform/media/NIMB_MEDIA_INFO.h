#pragma once

#include <cstdint>
#include <string>

namespace MediaServer {

/// The media record of one file, as the indexer stored it. Absent numbers are 0, absent texts empty. A listing fills
/// one record again and again, so its strings keep their storage from row to row.
struct NIMB_MEDIA_INFO {
    std::int32_t id = 0;
    std::string path;  ///< absolute path of the file
    std::string title;
    std::string album;
    std::string artist;
    std::string album_artist;
    std::string genre;
    std::string composer;
    std::int32_t track = 0;
    std::int32_t disc = 0;
    std::int32_t year = 0;
    std::string date;       ///< "YYYY-MM-DD HH:MM:SS" of the file
    std::string timetaken;  ///< photos: the same form; "1970-01-01 00:00:00" when unknown
    float duration = 0;     ///< seconds
    std::string container_type;
    std::string video_codec;
    std::string audio_codec;
    std::uint32_t video_bitrate = 0;  ///< bits per second
    std::uint32_t frame_bitrate = 0;  ///< bits per second of the whole file
    std::uint32_t audio_bitrate = 0;  ///< bits per second
    std::int32_t frame_rate_num = 0;
    std::int32_t frame_rate_den = 0;
    std::int32_t frequency = 0;  ///< Hz
    std::int32_t channel = 0;
    std::int32_t resolutionx = 0;  ///< pixels
    std::int32_t resolutiony = 0;
    std::int64_t filesize = 0;      ///< bytes
    std::int32_t embedded_art = 0;  ///< non-zero when the file carries cover art
};

}  // namespace MediaServer
