#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "dlna/DlnaProfiles.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Guesses the profile of one family of video codecs; holds no state.
class DLNA_VideoBase {
public:
    virtual ~DLNA_VideoBase() = default;
    /// @return a constant entry, or null when the file is not of this family or no profile fits it.
    virtual const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const = 0;
};

/// AVC (H.264).
class DLNA_VideoGetMPEG4_PART10Profile : public DLNA_VideoBase {
public:
    const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const override;
};

/// MPEG-4 part 2 and H.263.
class DLNA_VideoGetMPEG4_PART2Profile : public DLNA_VideoBase {
public:
    const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const override;
};

/// MPEG-2, told by the container alone.
class DLNA_VideoGetMPEG2Profile : public DLNA_VideoBase {
public:
    const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_VideoGetMPEG1Profile : public DLNA_VideoBase {
public:
    const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_VideoGetWMV9Profile : public DLNA_VideoBase {
public:
    const ProfileEntry* Classify(const NIMB_MEDIA_INFO& record) const override;
};

/// Container codes of NIMBDlnaContainerTypeGet.
namespace Container {
inline constexpr int kAsf = 2, k3gpp = 9, kMp4 = 10, kElementaryStream = 13, kProgramStream = 14,
                     kTransportIso = 15,  ///< 188-byte packets: names end in "_ISO"
    kTransportStamped = 16,               ///< packets with time stamps: names end in "_T"
    kTransportDlna = 17;                  ///< names without a suffix
}  // namespace Container

/// A picture size in pixels.
struct PictureSize {
    std::int32_t width, height;
};

inline bool HasSize(const NIMB_MEDIA_INFO& record, std::span<const PictureSize> sizes) {
    return std::any_of(sizes.begin(), sizes.end(), [&](const PictureSize& size) {
        return size.width == record.resolutionx && size.height == record.resolutiony;
    });
}

inline bool HasExactRate(const NIMB_MEDIA_INFO& record, std::int32_t numerator, std::int32_t denominator) {
    return record.frame_rate_num == numerator && record.frame_rate_den == denominator;
}

/// Bits per second of the video alone: the stream's own, else what the audio leaves of the whole. An audio rate above
/// the whole wraps to a rate beyond every table, so nothing is claimed for such a file.
inline std::uint32_t EffectiveVideoBitrate(const NIMB_MEDIA_INFO& record) {
    return record.video_bitrate != 0 ? record.video_bitrate : record.frame_bitrate - record.audio_bitrate;
}

/// Sizes of MPEG-2 by television system, and those of high definition (ATSC A/53).
inline constexpr PictureSize kNtscSizes[] = {{720, 480}, {704, 480}, {544, 480}, {480, 480}, {352, 480}, {352, 240}};
inline constexpr PictureSize kPalSizes[] = {{720, 576}, {704, 576}, {544, 576}, {480, 576}, {352, 576}, {352, 288}};
inline constexpr PictureSize kHdSizes[] = {{1920, 1080}, {1280, 720}, {1440, 1080}, {1280, 1080}};

/// Sizes of standard definition, shared by AVC and MPEG-4 part 2.
inline constexpr PictureSize kSdSizes[] = {
    {720, 576}, {720, 480}, {704, 576}, {704, 480}, {640, 480}, {640, 360}, {544, 576}, {544, 480}, {480, 576},
    {480, 480}, {480, 360}, {480, 270}, {352, 576}, {352, 480}, {352, 288}, {352, 240}, {320, 240}, {320, 180},
    {240, 180}, {208, 160}, {176, 144}, {176, 120}, {160, 120}, {160, 112}, {160, 90},  {128, 96}};

/// One row of a profile table: the first whose keys are all equal wins.
struct ProfileRow {
    int container, video_class, audio_class;
    ProfileEntry entry;
};

constexpr ProfileRow Mp4Row(int video_class, int audio_class, std::string_view name, std::string_view label) {
    return {Container::kMp4, video_class, audio_class, {name, "video/mp4", label}};
}

// One profile in the three forms of a transport stream: three rows of a table. Most names follow a rule.
#define TRANSPORT_ROWS(video_class, audio_class, name, label) \
    ODD_TRANSPORT_ROWS(video_class, audio_class, label, name, name "_T", name "_ISO")
#define ODD_TRANSPORT_ROWS(video_class, audio_class, label, dlna, stamped, iso)                                  \
    {Container::kTransportDlna, video_class, audio_class, {dlna, "video/vnd.dlna.mpeg-tts", label}},             \
        {Container::kTransportStamped, video_class, audio_class, {stamped, "video/vnd.dlna.mpeg-tts", label}}, { \
        Container::kTransportIso, video_class, audio_class, {                                                    \
            iso, "video/mpeg", label                                                                             \
        }                                                                                                        \
    }

/// The entry for the record's container, the video class and the class of its audio, with audio classes that the
/// tables do not tell apart taken as one; null when there is none.
const ProfileEntry* FindProfile(std::span<const ProfileRow> table, const NIMB_MEDIA_INFO& record, int video_class);

}  // namespace MediaServer
