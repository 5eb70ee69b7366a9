#include "dlna/DLNA_Audio.h"
#include "dlna/DLNA_Video.h"

namespace MediaServer {
namespace {

/// Video classes of AVC: size and rate together.
constexpr int kNoClass = 0, kQcif15L1b = 2, kCif15L12 = 3, kCif15 = 4, kCif15At520 = 5, kCif15At540 = 6, kCif30L2 = 7,
              kCif30 = 8, kCif30At940 = 9, kSdL3 = 11, kSd = 12, kHd = 13;

constexpr PictureSize kCifSizes[] = {{352, 288}, {352, 240}, {320, 240}, {320, 180}, {240, 180}, {240, 135}, {208, 160},
                                     {176, 144}, {176, 120}, {160, 120}, {160, 112}, {160, 90},  {128, 96}};
constexpr PictureSize kSdL3Sizes[] = {{720, 576}, {720, 480}, {640, 480}, {640, 360}};
constexpr PictureSize kHdSizes[] = {{1920, 1080}, {1920, 1152}, {1920, 540}, {1280, 720}};

using namespace AudioClass;

constexpr ProfileRow ThreeGpp(int video_class, std::string_view name, std::string_view label) {
    return {Container::k3gpp, video_class, kAmrWideBand, {name, "video/3gpp", label}};
}

constexpr ProfileRow kProfiles[] = {
    Mp4Row(kSd, kAacMult5, "AVC_MP4_MP_SD_AAC_MULT5", "SD"),
    Mp4Row(kSd, kHeAac, "AVC_MP4_MP_SD_HEAAC_L2", "SD"),
    Mp4Row(kSd, kMpeg1Layer3, "AVC_MP4_MP_SD_MPEG1_L3", "SD"),
    Mp4Row(kSd, kAc3, "AVC_MP4_MP_SD_AC3", "SD"),
    Mp4Row(kSd, kAtrac3, "AVC_MP4_MP_SD_ATRAC3plus", "SD"),
    Mp4Row(kSd, kBsac, "AVC_MP4_MP_SD_BSAC", "SD"),
    Mp4Row(kSdL3, kAac, "AVC_MP4_BL_L3_SD_AAC", "SD"),
    Mp4Row(kCif30, kAacMult5, "AVC_MP4_BL_CIF30_AAC_MULT5", "CIF30"),
    Mp4Row(kCif30, kHeAac, "AVC_MP4_BL_CIF30_HEAAC_L2", "CIF30"),
    Mp4Row(kCif30, kMpeg1Layer3, "AVC_MP4_BL_CIF30_MPEG1_L3", "CIF30"),
    Mp4Row(kCif30, kAc3, "AVC_MP4_BL_CIF30_AC3", "CIF30"),
    Mp4Row(kCif30, kBsac, "AVC_MP4_BL_CIF30_BSAC", "CIF30"),
    Mp4Row(kCif30, kBsacMult5, "AVC_MP4_BL_CIF30_BSAC_MULT5", "CIF30"),
    Mp4Row(kCif30L2, kAac, "AVC_MP4_BL_L2_CIF30_AAC", "CIF30"),
    Mp4Row(kCif15, kHeAac, "AVC_MP4_BL_CIF15_HEAAC", "CIF15"),
    Mp4Row(kCif15, kAmr, "AVC_MP4_BL_CIF15_AMR", "CIF15"),
    Mp4Row(kCif15, kAac, "AVC_MP4_BL_CIF15_AAC", "CIF15"),
    Mp4Row(kCif15, kBsac, "AVC_MP4_BL_CIF15_BSAC", "CIF15"),
    Mp4Row(kCif15At520, kAac, "AVC_MP4_BL_CIF15_AAC_520", "CIF15"),
    Mp4Row(kCif15L12, kHeAac, "AVC_MP4_BL_L12_CIF15_HEAAC", "CIF15"),
    Mp4Row(kQcif15L1b, kHeAac, "AVC_MP4_BL_L1B_QCIF15_HEAAC", "QCIF15"),
    ThreeGpp(kCif30, "AVC_3GPP_BL_CIF30_AMR_WBplus", "CIF30"),
    ThreeGpp(kCif15, "AVC_3GPP_BL_CIF15_AMR_WBplus", "CIF15"),

    TRANSPORT_ROWS(kSd, kAacMult5, "AVC_TS_MP_SD_AAC_MULT5", "SD"),
    TRANSPORT_ROWS(kSd, kHeAac, "AVC_TS_MP_SD_HEAAC_L2", "SD"),
    TRANSPORT_ROWS(kSd, kMpeg1Layer3, "AVC_TS_MP_SD_MPEG1_L3", "SD"),
    TRANSPORT_ROWS(kSd, kAc3, "AVC_TS_MP_SD_AC3", "SD"),
    TRANSPORT_ROWS(kSd, kBsac, "AVC_TS_MP_SD_BSAC", "SD"),
    TRANSPORT_ROWS(kCif30, kAacMult5, "AVC_TS_BL_CIF30_AAC_MULT5", "CIF30"),
    TRANSPORT_ROWS(kCif30, kHeAac, "AVC_TS_BL_CIF30_HEAAC_L2", "CIF30"),
    TRANSPORT_ROWS(kCif30, kMpeg1Layer3, "AVC_TS_BL_CIF30_MPEG1_L3", "CIF30"),
    TRANSPORT_ROWS(kCif30, kAc3, "AVC_TS_BL_CIF30_AC3", "CIF30"),
    TRANSPORT_ROWS(kCif30At940, kAac, "AVC_TS_BL_CIF30_AAC_940", "CIF30"),
    TRANSPORT_ROWS(kHd, kAacMult5, "AVC_TS_MP_HD_AAC_MULT5", "HD"),
    TRANSPORT_ROWS(kHd, kHeAac, "AVC_TS_MP_HD_HEAAC_L2", "HD"),
    TRANSPORT_ROWS(kHd, kMpeg1Layer3, "AVC_TS_MP_HD_MPEG1_L3", "HD"),
    TRANSPORT_ROWS(kHd, kAc3, "AVC_TS_MP_HD_AC3", "HD"),
    TRANSPORT_ROWS(kHd, kAac, "AVC_TS_MP_HD_AAC", "HD"),
    TRANSPORT_ROWS(kCif15, kAac, "AVC_TS_BL_CIF15_AAC", "CIF15"),
    TRANSPORT_ROWS(kCif15, kBsac, "AVC_TS_BL_CIF15_BSAC", "CIF15"),
    TRANSPORT_ROWS(kCif15At540, kAac, "AVC_TS_BL_CIF15_AAC_540", "CIF15"),
};

/// Class of a CIF-sized picture by video rate `vb` and overall rate `ob`; none when only a larger class can hold it.
int CifClass(std::uint32_t vb, std::uint32_t ob) {
    if (vb <= 128000 && ob <= 256000) return kQcif15L1b;
    if (ob <= 520000) return kCif15At520;
    if (ob <= 540000) return kCif15At540;
    if (vb <= 384000 && ob <= 600000) return kCif15;
    if (ob <= 940000) return kCif30At940;
    if (ob <= 1300000) return kCif30L2;
    return vb <= 2000000 && ob <= 3000000 ? kCif30 : kNoClass;
}

bool IsHighDefinition(const NIMB_MEDIA_INFO& record) {
    const std::int32_t width = record.resolutionx, height = record.resolutiony;
    return HasSize(record, kHdSizes) || width == 1920 || width == 1280 || width == 720 || height == 1080 ||
           height == 720 || height == 480;
}

int VideoClass(const NIMB_MEDIA_INFO& record) {
    constexpr PictureSize kQvga[] = {{320, 240}};
    const std::uint32_t vb = EffectiveVideoBitrate(record), ob = record.frame_bitrate;
    if (vb <= 384000 && ob <= 600000 && HasSize(record, kQvga)) return kCif15L12;
    if (HasSize(record, kCifSizes)) {
        if (const int cif = CifClass(vb, ob)) return cif;
    } else if (vb <= 4000000 && HasSize(record, kSdL3Sizes)) {
        return kSdL3;
    }
    if (vb <= 10000000 && HasSize(record, kSdSizes)) return kSd;
    return vb <= 20000000 && IsHighDefinition(record) ? kHd : kNoClass;
}

}  // namespace

const ProfileEntry* DLNA_VideoGetMPEG4_PART10Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.video_codec != "h264") return nullptr;
    const int video_class = VideoClass(record);
    return video_class == kNoClass ? nullptr : FindProfile(kProfiles, record, video_class);
}

}  // namespace MediaServer
