#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace MediaServer {

/// Option ids, as every reader names them.
namespace Option {
inline constexpr unsigned kLanguage = 0, kMenuStyle = 1, kSendThumb = 2, kLogLevel = 3, kRokuSearch = 4, kMusicInfo = 5,
                          kAdvertisementExpiry = 6, kConformanceTest = 7, kFlacTranscoding = 8, kAacTranscoding = 9,
                          kOggTranscoding = 10, kAiffTranscoding = 11, kDownsampleAudio = 12, kFolderArt = 13,
                          kNoAgentDlna = 14, kFakeChildCount = 15, kLocalServer = 16, kLocalMenu = 17, kRadio = 18,
                          kEmbeddedVideoInfo = 19, kReelhouse = 20, kDisableAccessRight = 21;
}

/// Bits of the option flag word that the serializers read.
namespace OptionFlag {
inline constexpr std::uint32_t kSendThumb = 0x1, kFlac = 0x2, kAac = 0x4, kOgg = 0x8, kAiff = 0x10, kFolderArt = 0x20,
                               kEmbeddedVideoInfo = 0x40, kLocalServer = 0x80, kDownsample = 0x100,
                               kConformanceTest = 0x200;
}

/// The option table: built-in defaults, then the option file, then the command line.
/// Threads: Read may run while others call Get; a reader sees the table before or after a Read, never between.
class ServiceOptions {
public:
    /// Defaults only. `option_file` is read by Read.
    explicit ServiceOptions(std::string option_file);

    /// Reads the file and, when both are non-zero, the command line. Keys absent from the file keep their value.
    void Read(int argc, char** argv);
    /// Value, or the empty string for an absent option.
    std::string Get(unsigned id) const;
    std::uint32_t OptionFlags() const;

private:
    using Table = std::map<unsigned, std::string>;
    std::shared_ptr<const Table> Snapshot() const;

    const std::string option_file_;
    mutable std::mutex mutex_;
    std::shared_ptr<const Table> table_;  // guarded by mutex_; replaced whole, never changed in place
};

}  // namespace MediaServer
