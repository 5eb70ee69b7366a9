#include <algorithm>

#include "dlna/DLNA_Audio.h"
#include "dlna/DLNA_Video.h"

namespace MediaServer {
namespace {

/// Video classes of MPEG-4 part 2 and H.263.
constexpr int kNoClass = 0, kH263 = 1, kLevel0b = 2, kLevel2 = 3, kSimple = 4, kVga = 5, kAdvancedL4 = 6, kAdvanced = 7;

/// Names as the decoders are called.
constexpr std::string_view kH263Codecs[] = {"h263", "h263i", "h263p"};
constexpr std::string_view kMpeg4Codecs[] = {"mpeg4", "msmpeg4v1", "msmpeg4v2", "msmpeg4v3"};

/// A size, and the highest whole frame rate at which it counts.
struct SizeRate {
    std::int32_t width, height, max_rate;
};

constexpr SizeRate kQcif15[] = {{176, 144, 15}, {128, 96, 15}};
constexpr SizeRate kCif15[] = {{352, 288, 15}, {320, 240, 15}, {320, 180, 15}, {176, 144, 30}, {128, 96, 30}};
constexpr SizeRate kCif30[] = {{352, 288, 30}, {352, 240, 30}, {320, 240, 30}, {320, 180, 30},
                               {240, 180, 30}, {208, 160, 30}, {176, 144, 30}, {176, 120, 30},
                               {160, 120, 30}, {160, 112, 30}, {160, 90, 30},  {128, 96, 30}};
constexpr SizeRate kHalfD1[] = {{352, 576, 30}, {352, 480, 30}};
constexpr SizeRate kVga30[] = {{640, 480, 30}, {640, 360, 30}};

using namespace AudioClass;

constexpr ProfileRow Asf(int video_class, std::string_view name, std::string_view label) {
    return {Container::kAsf, video_class, kG726, {name, "video/x-ms-asf", label}};
}

constexpr ProfileRow ThreeGpp(int video_class, int audio_class, std::string_view name) {
    return {Container::k3gpp, video_class, audio_class, {name, "video/3gpp", "QCIF15"}};
}

constexpr ProfileRow kProfiles[] = {
    Mp4Row(kSimple, kAac, "MPEG4_P2_MP4_SP_AAC", "CIF30"),
    Mp4Row(kSimple, kHeAac, "MPEG4_P2_MP4_SP_HEAAC", "CIF30"),
    Mp4Row(kSimple, kAtrac3, "MPEG4_P2_MP4_SP_ATRAC3plus", "CIF30"),
    Mp4Row(kLevel2, kAac, "MPEG4_P2_MP4_SP_L2_AAC", "CIF15"),
    Mp4Row(kLevel2, kAmr, "MPEG4_P2_MP4_SP_L2_AMR", "CIF15"),
    Mp4Row(kVga, kAac, "MPEG4_P2_MP4_SP_VGA_AAC", "SD"),
    Mp4Row(kVga, kHeAac, "MPEG4_P2_MP4_SP_VGA_HEAAC", "SD"),
    Mp4Row(kAdvanced, kAac, "MPEG4_P2_MP4_ASP_AAC", "SD"),
    Mp4Row(kAdvanced, kHeAac, "MPEG4_P2_MP4_ASP_HEAAC", "SD"),
    Mp4Row(kAdvanced, kHeAacMult5, "MPEG4_P2_MP4_ASP_HEAAC_MULT5", "SD"),
    Mp4Row(kAdvanced, kAtrac3, "MPEG4_P2_MP4_ASP_ATRAC3plus", "SD"),
    Mp4Row(kAdvancedL4, kAac, "MPEG4_P2_MP4_ASP_L4_SO_AAC", "CIF30"),
    Mp4Row(kAdvancedL4, kHeAac, "MPEG4_P2_MP4_ASP_L4_SO_HEAAC", "CIF30"),
    Mp4Row(kAdvancedL4, kHeAacMult5, "MPEG4_P2_MP4_ASP_L4_SO_HEAAC_MULT5", "CIF30"),
    {Container::kMp4, kH263, kAac, {"MPEG4_H263_MP4_P0_L10_AAC", "video/3gpp", "QCIF15"}},
    Asf(kSimple, "MPEG4_P2_ASF_SP_G726", "CIF30"),
    Asf(kAdvanced, "MPEG4_P2_ASF_ASP_L5_SO_G726", "SD"),
    Asf(kAdvancedL4, "MPEG4_P2_ASF_ASP_L4_SO_G726", "CIF30"),
    ThreeGpp(kH263, kAmrWideBand, "MPEG4_H263_3GPP_P0_L10_AMR_WBplus"),
    ThreeGpp(kH263, kAmr, "MPEG4_H263_3GPP_P3_L10_AMR"),
    ThreeGpp(kLevel0b, kAac, "MPEG4_P2_3GPP_SP_L0B_AAC"),
    ThreeGpp(kLevel0b, kAmr, "MPEG4_P2_3GPP_SP_L0B_AMR"),

    TRANSPORT_ROWS(kSimple, kAac, "MPEG4_P2_TS_SP_AAC", "CIF30"),
    TRANSPORT_ROWS(kSimple, kMpeg1Layer3, "MPEG4_P2_TS_SP_MPEG1_L3", "CIF30"),
    ODD_TRANSPORT_ROWS(kSimple, kAc3, "CIF30", "MPEG4_P2_TS_SP_AC3_L3", "MPEG4_P2_TS_SP_AC3_T",
                       "MPEG4_P2_TS_SP_AC3_ISO"),
    TRANSPORT_ROWS(kSimple, kMpeg1Layer2, "MPEG4_P2_TS_SP_MPEG2_L2", "CIF30"),
    TRANSPORT_ROWS(kAdvanced, kAac, "MPEG4_P2_TS_ASP_AAC", "SD"),
    TRANSPORT_ROWS(kAdvanced, kMpeg1Layer3, "MPEG4_P2_TS_ASP_MPEG1_L3", "SD"),
    ODD_TRANSPORT_ROWS(kAdvanced, kAc3, "SD", "MPEG4_P2_TS_ASP_AC3_L3", "MPEG4_P2_TS_ASP_AC3_T",
                       "MPEG4_P2_TS_ASP_AC3_ISO"),
    TRANSPORT_ROWS(kAdvancedL4, kAc3, "MPEG4_P2_TS_CO_AC3", "CIF30"),
    TRANSPORT_ROWS(kAdvancedL4, kMpeg1Layer2, "MPEG4_P2_TS_CO_MPEG2_L2", "CIF30"),
};

bool IsIn(std::span<const std::string_view> names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// Whole frames per second, so that 30000/1001 counts as 29; -1 when the rate is unknown.
std::int32_t WholeFrameRate(const NIMB_MEDIA_INFO& record) {
    return record.frame_rate_den > 0 && record.frame_rate_num >= 0 ? record.frame_rate_num / record.frame_rate_den : -1;
}

bool Matches(const NIMB_MEDIA_INFO& record, std::span<const SizeRate> rows) {
    const std::int32_t rate = WholeFrameRate(record);
    return rate >= 0 && std::any_of(rows.begin(), rows.end(), [&](const SizeRate& row) {
               return row.width == record.resolutionx && row.height == record.resolutiony && rate <= row.max_rate;
           });
}

/// The video rate alone selects a band; a picture that the band does not know has no class.
int Mpeg4Class(const NIMB_MEDIA_INFO& record, std::uint32_t vb) {
    if (vb <= 128000) {
        if (Matches(record, kQcif15)) return kLevel0b;
        return Matches(record, kCif15) ? kLevel2 : kNoClass;
    }
    if (vb <= 384000) return Matches(record, kCif30) ? kSimple : kNoClass;
    if (vb <= 2000000) return Matches(record, kCif30) || Matches(record, kHalfD1) ? kAdvancedL4 : kNoClass;
    if (vb <= 3000000) return Matches(record, kVga30) ? kVga : kNoClass;
    const std::int32_t rate = WholeFrameRate(record);
    return vb <= 8000000 && rate >= 0 && rate <= 30 && HasSize(record, kSdSizes) ? kAdvanced : kNoClass;
}

int VideoClass(const NIMB_MEDIA_INFO& record) {
    const std::uint32_t vb = EffectiveVideoBitrate(record);
    if (IsIn(kH263Codecs, record.video_codec)) return vb <= 64000 && Matches(record, kQcif15) ? kH263 : kNoClass;
    return IsIn(kMpeg4Codecs, record.video_codec) ? Mpeg4Class(record, vb) : kNoClass;
}

}  // namespace

const ProfileEntry* DLNA_VideoGetMPEG4_PART2Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    const int video_class = VideoClass(record);
    return video_class == kNoClass ? nullptr : FindProfile(kProfiles, record, video_class);
}

}  // namespace MediaServer
