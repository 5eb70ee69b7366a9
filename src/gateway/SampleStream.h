#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "gateway/FfmpegProcess.h"
#include "model/TranscodedAudio.h"

namespace MediaServer {

/// The samples of a song from any byte on, behind the header of a WAV file or bare in network byte order. The length is
/// that of `audio`: what the song lacks is silence, what it has beyond is cut. A station has no past: from whatever
/// byte, its samples are those of now.
/// Threads: one at a time.
class SampleStream {
public:
    enum class Form { Wav, Bare };

    enum class Source { File, Station };

    /// @param location  path or address.
    SampleStream(Source source, std::string location, const TranscodedAudio& audio, Form form, std::uint64_t first);

    static std::uint64_t SizeOf(const TranscodedAudio& audio, Form form);

    /// Bytes from where the last call ended. @return as BodyReader.
    std::ptrdiff_t Read(char* buffer, std::size_t size);

private:
    bool Start();
    bool Skip(std::uint64_t bytes);
    std::ptrdiff_t ReadSamples(char* buffer, std::size_t size);

    const Source source_;
    const std::string location_;
    const TranscodedAudio audio_;
    const Form form_;
    const std::string header_;
    std::uint64_t position_;
    std::unique_ptr<FfmpegProcess> ffmpeg_;
    bool ended_ = false;
};

}  // namespace MediaServer
