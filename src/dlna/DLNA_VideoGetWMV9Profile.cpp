#include "dlna/DLNA_Audio.h"
#include "dlna/DLNA_Video.h"
#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

constexpr int kNoClass = 0, kSimpleLow = 1, kSimpleMain = 2, kMain = 3, kHigh = 4;

/// What a class holds at most; the frame rate must be equal as a fraction.
struct WmvLimits {
    int video_class;
    std::int32_t max_width, max_height, rate_numerator, rate_denominator;
    std::uint32_t max_bitrate;
};

/// Smallest class first.
constexpr WmvLimits kLimits[] = {
    {kSimpleLow, 176, 144, 15, 1, 96000},         {kSimpleMain, 240, 176, 30, 1, 384000},
    {kSimpleMain, 240, 176, 30000, 1001, 384000}, {kSimpleMain, 352, 288, 15, 1, 384000},
    {kMain, 720, 480, 30, 1, 10000000},           {kMain, 720, 480, 30000, 1001, 10000000},
    {kMain, 720, 480, 24000, 1001, 10000000},     {kMain, 720, 576, 25, 1, 10000000},
    {kHigh, 1920, 1080, 30, 1, 20000000},         {kHigh, 1920, 1080, 24, 1, 20000000},
    {kHigh, 1920, 1080, 30000, 1001, 20000000},   {kHigh, 1920, 1080, 24000, 1001, 20000000},
};

struct WmvRow {
    int video_class, audio_class;
    ProfileEntry entry;
};

constexpr WmvRow kProfiles[] = {
    {kMain, AudioClass::kWmaBase, {"WMVMED_BASE", "video/x-ms-wmv", "SD"}},
    {kMain, AudioClass::kWmaFull, {"WMVMED_FULL", "video/x-ms-wmv", "SD"}},
    {kMain, AudioClass::kWmaPro, {"WMVMED_PRO", "video/x-ms-wmv", "SD"}},
    {kHigh, AudioClass::kWmaFull, {"WMVHIGH_FULL", "video/x-ms-wmv", "HD"}},
    {kHigh, AudioClass::kWmaPro, {"WMVHIGH_PRO", "video/x-ms-wmv", "HD"}},
    {kSimpleLow, AudioClass::kWmaBase, {"WMVSPLL_BASE", "video/x-ms-wmv", "QCIF15"}},
    {kSimpleMain, AudioClass::kWmaBase, {"WMVSPML_BASE", "video/x-ms-wmv", "CIF15"}},
    {kSimpleMain, AudioClass::kMpeg1Layer3, {"WMVSPML_MP3", "video/x-ms-wmv", "CIF15"}},
};

int VideoClass(const NIMB_MEDIA_INFO& record) {
    for (const WmvLimits& row : kLimits) {
        if (record.resolutionx <= row.max_width && record.resolutiony <= row.max_height &&
            HasExactRate(record, row.rate_numerator, row.rate_denominator) && record.video_bitrate <= row.max_bitrate) {
            return row.video_class;
        }
    }
    return kNoClass;
}

}  // namespace

const ProfileEntry* DLNA_VideoGetWMV9Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.video_codec != "wmv3" || NIMBDlnaContainerTypeGet(record.container_type) != Container::kAsf) {
        return nullptr;
    }
    const int video_class = VideoClass(record);
    const int audio_class = ClassifyAudio(record);
    for (const WmvRow& row : kProfiles) {
        if (row.video_class == video_class && row.audio_class == audio_class) return &row.entry;
    }
    return nullptr;
}

}  // namespace MediaServer
