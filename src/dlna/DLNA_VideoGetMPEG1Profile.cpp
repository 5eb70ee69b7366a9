#include "dlna/DLNA_Video.h"

namespace MediaServer {
namespace {

constexpr ProfileEntry kMpeg1 = {"MPEG1", "video/mpeg", "CIF30"};

/// The stream of a Video CD and nothing else.
constexpr std::uint32_t kVideoBitrate = 1150000, kAudioBitrate = 224000;

bool IsVideoCdPicture(const NIMB_MEDIA_INFO& record) {
    if (record.resolutionx != 352) return false;
    if (record.resolutiony == 288) return record.frame_rate_num == 25 || record.frame_rate_den == 1;
    return record.resolutiony == 240 && record.frame_rate_den == 1001;
}

}  // namespace

const ProfileEntry* DLNA_VideoGetMPEG1Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    const bool video =
        record.video_codec == "mpeg1video" && record.video_bitrate == kVideoBitrate && IsVideoCdPicture(record);
    const bool audio = record.audio_codec == "mp2" && record.channel == 2 && record.frequency == 44100 &&
                       record.audio_bitrate == kAudioBitrate;
    return video && audio ? &kMpeg1 : nullptr;
}

}  // namespace MediaServer
