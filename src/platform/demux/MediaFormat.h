#pragma once

#include <chrono>
#include <memory>
#include <string>

struct AVFormatContext;

namespace MediaServer {

/// Formats that hold their own content, as FFmpeg names them. Playlists and the like, under whatever name, would make
/// us open what a stranger wrote into the file.
inline constexpr char kMediaFormats[] =
    "aac,ac3,aiff,amr,ape,asf,avi,caf,dsf,dts,eac3,flac,flv,iff,matroska,mov,mp3,mpc,mpc8,mpeg,mpegts,mpegtsraw,"
    "mpegvideo,mxf,ogg,rm,tta,wav,w64,wtv,wv";

struct MediaFormatCloser {
    void operator()(AVFormatContext* context) const noexcept;
};
using MediaFormat = std::unique_ptr<AVFormatContext, MediaFormatCloser>;

/// Opens a file of one of these formats, without a look at its packets.
/// @param deadline  when reading it ends, then and in later calls; outlives the result.
/// @return null with `reason` set when it is none, is broken, or takes too long. Threads: any, at once.
MediaFormat OpenMedia(const std::string& path, std::chrono::steady_clock::time_point& deadline, std::string& reason);

/// What an error number of the libraries means, as a part of a sentence.
std::string MediaErrorText(int error);

}  // namespace MediaServer
