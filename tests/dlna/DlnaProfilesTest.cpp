#include <gtest/gtest.h>

#include "dlna/DlnaProfiles.h"
#include "platform/media/MediaUrl.h"
#include "support/Records.h"

namespace MediaServer {
namespace {

constexpr SoundFacts kNone{"", 0, 0, 0}, kAac{"aac", 128000, 48000, 2}, kAac51{"aac", 512000, 48000, 6},
    kHeAac{"aac_he", 64000, 24000, 2}, kAc3{"ac3", 384000, 48000, 2}, kMp3{"mp3", 128000, 44100, 2},
    kAmr{"amr_nb", 12200, 8000, 1}, kAmrWide{"amr_wb", 24000, 16000, 2}, kG726{"adpcm_g726", 32000, 8000, 1},
    kWma{"wmav2", 128000, 44100, 2}, kWmaFull{"wmav2", 384000, 48000, 2}, kMp2{"mp2", 256000, 48000, 2},
    // At and beyond the bounds of single profiles.
    kMp2Fast{"mp2", 448000, 48000, 2}, kMp2Mono{"mp2", 192000, 48000, 1}, kMp2MonoFast{"mp2", 192001, 48000, 1},
    kMp2Slow{"mp2", 63999, 48000, 2}, kPcm{"pcm_s16be", 1536000, 48000, 2}, kPcmFast{"pcm_s16be", 1536001, 48000, 2},
    kPcmMonoFast{"pcm_s16be", 768001, 48000, 1}, kXac3At51{"ac3", 640000, 48000, 6}, kMp1{"mp1", 384000, 48000, 2},
    kSlowXac3{"ac3", 448001, 48000, 2}, kFastAc3{"ac3", 448000, 48000, 2}, kXac3{"ac3", 640000, 48000, 2},
    kBeyondXac3{"ac3", 640001, 48000, 2}, kAc3At44{"ac3", 384000, 44100, 2}, kFastAac{"aac", 256000, 48000, 2},
    kVcdAt48{"mp2", 224000, 48000, 2}, kVcdAudio{"mp2", 224000, 44100, 2};

struct VideoCase {
    const char* why;
    FilmFacts film;
    std::string_view profile;  // empty for none
};

// The container names under which the indexer stores files.
constexpr const char *kAsf = "asf", *k3gpp = "3gp", *kMp4 = "mp4", *kEs = "mpeg_es", *kPs = "mpeg_ps",
                     *kTsIso = "mpeg_ts", *kTsStamped = "mpeg_ts_timestamp", *kTs = "mpeg_ts_dlna", *kAvi = "avi";
constexpr const char *kH264 = "h264", *kM1 = "mpeg1video", *kM2 = "mpeg2video", *kM4 = "mpeg4", *kWmv = "wmv3";

constexpr VideoCase kCases[] = {
    // AVC
    {"HD has no MP4 profile", kMp4, kH264, 1280, 720, 25, 1, 8000000, 8384000, kAc3, ""},
    {"the same in a DLNA transport stream", kTs, kH264, 1280, 720, 25, 1, 8000000, 8384000, kAc3, "AVC_TS_MP_HD_AC3"},
    {"with time stamps", kTsStamped, kH264, 1280, 720, 25, 1, 8000000, 8384000, kAc3, "AVC_TS_MP_HD_AC3_T"},
    {"with plain packets", kTsIso, kH264, 1280, 720, 25, 1, 8000000, 8384000, kAc3, "AVC_TS_MP_HD_AC3_ISO"},
    {"HD by its width alone", kTs, kH264, 1280, 544, 25, 1, 5000000, 5200000, kAac, "AVC_TS_MP_HD_AAC"},
    {"HD by its height alone", kTs, kH264, 853, 480, 25, 1, 5000000, 5200000, kAac, "AVC_TS_MP_HD_AAC"},
    {"no HD dimension", kTs, kH264, 854, 482, 25, 1, 5000000, 5200000, kAac, ""},
    {"fastest HD", kTs, kH264, 1920, 1080, 25, 1, 20000000, 21000000, kAac, "AVC_TS_MP_HD_AAC"},
    {"beyond HD", kTs, kH264, 1920, 1080, 25, 1, 20000001, 21000000, kAac, ""},
    {"L3 while video stays within 4M", kMp4, kH264, 640, 480, 25, 1, 4000000, 4200000, kAac, "AVC_MP4_BL_L3_SD_AAC"},
    {"SD above 4M needs multichannel or AC-3", kMp4, kH264, 640, 480, 25, 1, 4000001, 4200000, kAac, ""},
    {"SD above 4M", kMp4, kH264, 640, 480, 25, 1, 4000001, 4500000, kAc3, "AVC_MP4_MP_SD_AC3"},
    {"an SD size outside L3", kMp4, kH264, 704, 576, 25, 1, 1000000, 1500000, kAc3, "AVC_MP4_MP_SD_AC3"},
    {"fastest SD", kTs, kH264, 720, 576, 25, 1, 10000000, 10500000, kAc3, "AVC_TS_MP_SD_AC3"},
    {"beyond SD a 720 wide picture is HD", kTs, kH264, 720, 576, 25, 1, 10000001, 10500000, kAc3, "AVC_TS_MP_HD_AC3"},
    {"QVGA within L1.2", kMp4, kH264, 320, 240, 15, 1, 384000, 600000, kHeAac, "AVC_MP4_BL_L12_CIF15_HEAAC"},
    {"smallest CIF class", kMp4, kH264, 176, 144, 15, 1, 128000, 256000, kHeAac, "AVC_MP4_BL_L1B_QCIF15_HEAAC"},
    {"CIF to 520k", kMp4, kH264, 352, 288, 15, 1, 384000, 520000, kAac, "AVC_MP4_BL_CIF15_AAC_520"},
    {"above 520k", kTs, kH264, 352, 288, 15, 1, 400000, 520001, kAac, "AVC_TS_BL_CIF15_AAC_540"},
    {"above the smallest video rate", kMp4, kH264, 176, 144, 15, 1, 128001, 256000, kHeAac, ""},
    {"CIF to 540k", kTs, kH264, 352, 288, 15, 1, 400000, 540000, kAac, "AVC_TS_BL_CIF15_AAC_540"},
    {"CIF15", kMp4, kH264, 352, 288, 15, 1, 384000, 600000, kAmr, "AVC_MP4_BL_CIF15_AMR"},
    {"above 384k video CIF15 ends", kTs, kH264, 352, 288, 15, 1, 384001, 600000, kAac, "AVC_TS_BL_CIF30_AAC_940"},
    {"CIF to 940k", kTsStamped, kH264, 352, 288, 25, 1, 700000, 940000, kAac, "AVC_TS_BL_CIF30_AAC_940_T"},
    {"CIF above 940k", kMp4, kH264, 352, 288, 25, 1, 800000, 940001, kAac, "AVC_MP4_BL_L2_CIF30_AAC"},
    {"CIF to 3M", kMp4, kH264, 352, 288, 25, 1, 2000000, 3000000, kAac51, "AVC_MP4_BL_CIF30_AAC_MULT5"},
    {"CIF beyond 3M is SD", kMp4, kH264, 352, 288, 25, 1, 2000000, 3000001, kAac51, "AVC_MP4_MP_SD_AAC_MULT5"},
    {"CIF video beyond 2M is SD", kMp4, kH264, 352, 288, 25, 1, 2000001, 2600000, kAac51, "AVC_MP4_MP_SD_AAC_MULT5"},
    {"a CIF size that SD lacks", kMp4, kH264, 240, 135, 25, 1, 2000001, 2600000, kAac51, ""},
    {"3GPP with wide-band AMR", k3gpp, kH264, 352, 288, 25, 1, 1500000, 1600000, kAmrWide,
     "AVC_3GPP_BL_CIF30_AMR_WBplus"},
    {"video rate derived from the whole", kMp4, kH264, 640, 480, 25, 1, 0, 4128000, kAac, "AVC_MP4_BL_L3_SD_AAC"},
    {"whole below its audio claims nothing", kMp4, kH264, 640, 480, 25, 1, 0, 100000, kAac, ""},
    {"no audio, no profile", kMp4, kH264, 640, 480, 25, 1, 1000000, 1000000, kNone, ""},
    {"a container without AVC", kAsf, kH264, 640, 480, 25, 1, 1000000, 1200000, kAac, ""},
    {"another codec", kMp4, "hevc", 640, 480, 25, 1, 1000000, 1200000, kAac, ""},

    // MPEG-4 part 2 and H.263
    {"29.97 counts as 29 frames", kMp4, kM4, 640, 480, 30000, 1001, 2500000, 2700000, kAac, "MPEG4_P2_MP4_SP_VGA_AAC"},
    {"31 frames are too many", kMp4, kM4, 640, 480, 31, 1, 2500000, 2700000, kAac, ""},
    {"unknown frame rate", kMp4, kM4, 640, 480, 30, 0, 2500000, 2700000, kAac, ""},
    {"slowest band, smallest picture", k3gpp, kM4, 176, 144, 15, 1, 128000, 150000, kAmr, "MPEG4_P2_3GPP_SP_L0B_AMR"},
    {"slowest band, faster frames", kMp4, kM4, 176, 144, 16, 1, 128000, 150000, kAmr, "MPEG4_P2_MP4_SP_L2_AMR"},
    {"CIF at 16 frames is in no slow band", kMp4, kM4, 352, 288, 16, 1, 128000, 150000, kAac, ""},
    {"simple profile", kMp4, "msmpeg4v3", 352, 288, 30, 1, 384000, 500000, kAac, "MPEG4_P2_MP4_SP_AAC"},
    {"a size that the simple profile lacks", kMp4, kM4, 352, 576, 30, 1, 384000, 500000, kAac, ""},
    {"half D1 at level 4", kMp4, kM4, 352, 576, 25, 1, 384001, 600000, kAac, "MPEG4_P2_MP4_ASP_L4_SO_AAC"},
    {"VGA is not in the band below 2M", kMp4, kM4, 640, 480, 25, 1, 2000000, 2200000, kAac, ""},
    {"VGA from 2M", kMp4, kM4, 640, 360, 25, 1, 2000001, 2200000, kHeAac, "MPEG4_P2_MP4_SP_VGA_HEAAC"},
    {"SD above 3M", kMp4, kM4, 640, 480, 25, 1, 3000001, 3200000, kAac, "MPEG4_P2_MP4_ASP_AAC"},
    {"SD to 8M", kTsIso, kM4, 720, 576, 25, 1, 8000000, 8200000, kMp3, "MPEG4_P2_TS_ASP_MPEG1_L3_ISO"},
    {"beyond 8M", kTsIso, kM4, 720, 576, 25, 1, 8000001, 8200000, kMp3, ""},
    {"ASF carries G.726", kAsf, kM4, 720, 576, 25, 1, 5000000, 5100000, kG726, "MPEG4_P2_ASF_ASP_L5_SO_G726"},
    {"AC-3 in a DLNA stream keeps its odd name", kTs, kM4, 352, 288, 25, 1, 300000, 700000, kAc3,
     "MPEG4_P2_TS_SP_AC3_L3"},
    {"and loses it with time stamps", kTsStamped, kM4, 352, 288, 25, 1, 300000, 700000, kAc3, "MPEG4_P2_TS_SP_AC3_T"},
    {"H.263 from a telephone", k3gpp, "h263", 176, 144, 15, 1, 64000, 80000, kAmr, "MPEG4_H263_3GPP_P3_L10_AMR"},
    {"H.263 too fast", k3gpp, "h263", 176, 144, 15, 1, 64001, 80000, kAmr, ""},
    {"H.263 has no CIF", k3gpp, "h263p", 352, 288, 15, 1, 64000, 80000, kAmr, ""},

    // MPEG-2
    {"PAL disc", kPs, kM2, 720, 576, 25, 1, 6000000, 6300000, kMp2, "MPEG_PS_PAL"},
    {"layer 2 beyond its stereo bound", kPs, kM2, 720, 576, 25, 1, 6000000, 6300000, kMp2Fast, ""},
    {"mono layer 2 at its bound", kPs, kM2, 720, 576, 25, 1, 6000000, 6300000, kMp2Mono, "MPEG_PS_PAL"},
    {"mono layer 2 beyond it", kPs, kM2, 720, 576, 25, 1, 6000000, 6300000, kMp2MonoFast, ""},
    {"layer 2 below 64k", kPs, kM2, 720, 576, 25, 1, 6000000, 6300000, kMp2Slow, ""},
    {"stereo PCM at its bound", kPs, kM2, 720, 576, 25, 1, 0, 0, kPcm, "MPEG_PS_PAL"},
    {"stereo PCM beyond its bound", kPs, kM2, 720, 576, 25, 1, 0, 0, kPcmFast, ""},
    {"mono PCM beyond its bound", kPs, kM2, 720, 576, 25, 1, 0, 0, kPcmMonoFast, ""},
    {"NTSC with extended AC-3", kPs, kM2, 704, 480, 30000, 1001, 6000000, 6600000, kXac3At51, "MPEG_PS_NTSC_XAC3"},
    {"30 frames are not NTSC", kPs, kM2, 704, 480, 30, 1, 6000000, 6600000, kAc3, ""},
    {"a PAL size at NTSC's rate", kPs, kM2, 720, 576, 30000, 1001, 6000000, 6600000, kAc3, ""},
    {"elementary stream", kEs, kM2, 352, 240, 30000, 1001, 1000000, 1600000, kAc3, "MPEG_ES_NTSC"},
    {"no codec is asked", kPs, "", 352, 288, 25, 1, 0, 0, kAc3, "MPEG_PS_PAL"},

    {"European broadcast", kTsIso, kM2, 544, 576, 25, 1, 4000000, 4300000, kMp2, "MPEG_TS_SD_EU_ISO"},
    {"European broadcast lacks 704 columns", kTsIso, kM2, 704, 576, 25, 1, 4000000, 4300000, kMp2, ""},
    {"layer 1 is taken in Europe", kTs, kM2, 720, 576, 25, 1, 4000000, 4300000, kMp1, "MPEG_TS_SD_EU"},
    {"extended AC-3 is not", kTs, kM2, 720, 576, 25, 1, 4000000, 4300000, kSlowXac3, ""},
    {"American HD", kTs, kM2, 1920, 1080, 30000, 1001, 0, 15000000, kFastAc3, "MPEG_TS_HD_NA"},
    {"American HD with extended AC-3", kTs, kM2, 1920, 1080, 30000, 1001, 0, 15000000, kXac3, "MPEG_TS_HD_NA_XAC3"},
    {"beyond extended AC-3", kTs, kM2, 1920, 1080, 30000, 1001, 0, 15000000, kBeyondXac3, ""},
    {"six channels", kTs, kM2, 1920, 1080, 30000, 1001, 0, 15000000, kXac3At51, ""},
    {"fastest American stream", kTsStamped, kM2, 1280, 720, 60000, 1001, 0, 20334720, kAc3, "MPEG_TS_HD_NA_T"},
    {"beyond it", kTsStamped, kM2, 1280, 720, 60000, 1001, 0, 20334721, kAc3, ""},
    {"HD has no 60/1", kTs, kM2, 1280, 720, 60, 1, 0, 15000000, kAc3, ""},
    {"704 columns know whole rates", kTs, kM2, 704, 480, 60, 1, 0, 5000000, kAc3, "MPEG_TS_SD_NA"},
    {"720 columns do not", kTs, kM2, 720, 480, 30, 1, 0, 5000000, kAc3, ""},
    {"44.1 kHz is not broadcast there", kTs, kM2, 720, 480, 30000, 1001, 0, 5000000, kAc3At44, ""},
    {"low level with AAC by its width", kTsIso, kM2, 352, 240, 30, 1, 4000000, 4200000, kFastAac,
     "MPEG_TS_MP_LL_AAC_ISO"},
    {"low level too fast", kTs, kM2, 352, 288, 25, 1, 4000001, 4200000, kAac, ""},
    {"AAC elsewhere has no MPEG-2 profile", kTs, kM2, 720, 576, 25, 1, 4000000, 4200000, kAac, ""},

    // MPEG-1, Windows Media
    {"PAL Video CD", kAvi, kM1, 352, 288, 25, 1, 1150000, 1400000, kVcdAudio, "MPEG1"},
    {"NTSC Video CD", kAvi, kM1, 352, 240, 30000, 1001, 1150000, 1400000, kVcdAudio, "MPEG1"},
    {"NTSC lines at PAL's rate", kAvi, kM1, 352, 240, 25, 1, 1150000, 1400000, kVcdAudio, ""},
    {"another video rate", kAvi, kM1, 352, 288, 25, 1, 1150001, 1400000, kVcdAudio, ""},
    {"another audio rate", kAvi, kM1, 352, 288, 25, 1, 1150000, 1400000, kVcdAt48, ""},

    {"base audio", kAsf, kWmv, 640, 480, 30, 1, 2000000, 2200000, kWma, "WMVMED_BASE"},
    {"fastest main picture", kAsf, kWmv, 720, 480, 24000, 1001, 10000000, 11000000, kWmaFull, "WMVMED_FULL"},
    {"beyond it is high", kAsf, kWmv, 720, 480, 24000, 1001, 10000001, 11000000, kWmaFull, "WMVHIGH_FULL"},
    {"one line more is high", kAsf, kWmv, 720, 481, 30, 1, 2000000, 2200000, kWmaFull, "WMVHIGH_FULL"},
    {"576 lines only at 25 frames", kAsf, kWmv, 720, 576, 25, 1, 2000000, 2200000, kWma, "WMVMED_BASE"},
    {"high has no 25 frames", kAsf, kWmv, 1280, 720, 25, 1, 5000000, 5500000, kWmaFull, ""},
    {"beyond high", kAsf, kWmv, 1920, 1080, 30, 1, 20000001, 21000000, kWmaFull, ""},
    {"smallest class", kAsf, kWmv, 176, 144, 15, 1, 96000, 200000, kWma, "WMVSPLL_BASE"},
    {"the smallest class hides the next one's audio", kAsf, kWmv, 176, 144, 15, 1, 96000, 200000, kMp3, ""},
    {"one column over the smallest class", kAsf, kWmv, 177, 144, 15, 1, 96000, 200000, kWma, "WMVSPML_BASE"},
    {"one line over the smallest class", kAsf, kWmv, 176, 145, 15, 1, 96000, 200000, kWma, "WMVSPML_BASE"},
    {"largest of the second at 30 frames", kAsf, kWmv, 240, 176, 30000, 1001, 384000, 500000, kWma, "WMVSPML_BASE"},
    {"one column over it", kAsf, kWmv, 241, 176, 30000, 1001, 384000, 500000, kWma, "WMVMED_BASE"},
    {"one line over the second at 15 frames", kAsf, kWmv, 352, 289, 15, 1, 384000, 500000, kWma, ""},
    {"one column over high", kAsf, kWmv, 1921, 1080, 24, 1, 5000000, 5500000, kWmaFull, ""},
    {"second class with layer 3", kAsf, kWmv, 176, 144, 15, 1, 96001, 200000, kMp3, "WMVSPML_MP3"},
    {"AAC is not folded here", kAsf, kWmv, 640, 480, 30, 1, 2000000, 2200000, kAac, ""},
    {"VC-1 is not WMV9", kAsf, "vc1", 640, 480, 30, 1, 2000000, 2200000, kWma, ""},
};

TEST(DetectVideoProfile, ByContainerCodecAndOperatingPoint) {
    for (const VideoCase& c : kCases) {
        const ProfileEntry* entry = DetectVideoProfile(RecordOf(c.film));
        EXPECT_EQ(entry != nullptr ? entry->name : std::string_view(), c.profile) << c.why;
    }
}

/// All the sizes that give one profile with the rest of a file unchanged, by their number and the sum of their areas.
struct SizesCase {
    VideoCase file;  // why, and the profile
    int count;
    std::int64_t area;
};
constexpr SizesCase kSizes[] = {
    {{"AVC, CIF", kTs, kH264, 0, 0, 25, 1, 700000, 900000, kAac, "AVC_TS_BL_CIF30_AAC_940"}, 13, 539408},
    {{"AVC, level 3", kMp4, kH264, 0, 0, 25, 1, 3000000, 3200000, kAac, "AVC_MP4_BL_L3_SD_AAC"}, 4, 1297920},
    {{"AVC, SD", kMp4, kH264, 0, 0, 25, 1, 5000000, 5200000, kAc3, "AVC_MP4_MP_SD_AC3"}, 26, 4303808},
    {{"MPEG-4, level 2", kMp4, kM4, 0, 0, 15, 1, 100000, 150000, kAmr, "MPEG4_P2_MP4_SP_L2_AMR"}, 3, 235776},
    {{"MPEG-4, simple", kMp4, kM4, 0, 0, 30, 1, 384000, 500000, kAac, "MPEG4_P2_MP4_SP_AAC"}, 12, 507008},
    {{"MPEG-4, level 4", kMp4, kM4, 0, 0, 30, 1, 500000, 700000, kAac, "MPEG4_P2_MP4_ASP_L4_SO_AAC"}, 14, 878720},
    {{"MPEG-4, VGA", kMp4, kM4, 0, 0, 30, 1, 2500000, 2700000, kAac, "MPEG4_P2_MP4_SP_VGA_AAC"}, 2, 537600},
    {{"NTSC disc", kPs, "", 0, 0, 30000, 1001, 0, 0, kAc3, "MPEG_PS_NTSC"}, 6, 1428480},
    {{"PAL disc", kPs, "", 0, 0, 25, 1, 0, 0, kAc3, "MPEG_PS_PAL"}, 6, 1714176},
    {{"European broadcast", kTs, "", 0, 0, 25, 1, 0, 0, kAc3, "MPEG_TS_SD_EU"}, 5, 1308672},
    {{"American SD", kTs, "", 0, 0, 60000, 1001, 0, 0, kAc3, "MPEG_TS_SD_NA"}, 6, 1651200},
    {{"American SD at whole rates", kTs, "", 0, 0, 24, 1, 0, 0, kAc3, "MPEG_TS_SD_NA"}, 2, 645120},
    {{"American HD", kTs, "", 0, 0, 24000, 1001, 0, 0, kAc3, "MPEG_TS_HD_NA"}, 4, 5932800},
};

TEST(DetectVideoProfile, TakesThoseSizesAndNoOthers) {
    for (const SizesCase& c : kSizes) {
        SCOPED_TRACE(c.file.why);
        NIMB_MEDIA_INFO record = RecordOf(c.file.film);
        int count = 0;
        std::int64_t area = 0;
        // Every width of the standards is a multiple of 16.
        for (record.resolutionx = 16; record.resolutionx <= 1920; record.resolutionx += 16) {
            for (record.resolutiony = 1; record.resolutiony <= 1152; ++record.resolutiony) {
                const ProfileEntry* entry = DetectVideoProfile(record);
                if (entry == nullptr || entry->name != c.file.profile) continue;
                ++count;
                area += std::int64_t{record.resolutionx} * record.resolutiony;
            }
        }
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(area, c.area);
    }
}

// Timestamped and DLNA transport streams are another MIME type than plain ones.
TEST(DetectVideoProfile, MimeFollowsThePackets) {
    const auto mime = [](const char* container) {
        return DetectVideoProfile(RecordOf(FilmFacts{container, kM2, 720, 576, 25, 1, 0, 4300000, kMp2}))->mime;
    };
    EXPECT_EQ(mime(kTs), "video/vnd.dlna.mpeg-tts");
    EXPECT_EQ(mime(kTsStamped), "video/vnd.dlna.mpeg-tts");
    EXPECT_EQ(mime(kTsIso), "video/mpeg");
}

struct JpegCase {
    const char* why;
    int width, height;
    std::string_view profile;
};
constexpr JpegCase kJpegCases[] = {
    {"largest thumbnail", 160, 160, "JPEG_TN"},
    {"one column over the thumbnail", 161, 160, "JPEG_SM"},
    {"limits are per side, not area", 480, 640, "JPEG_MED"},
    {"largest medium picture", 1024, 768, "JPEG_MED"},
    {"one column over it", 1025, 768, "JPEG_LRG"},
    {"largest picture of all", 4096, 4096, "JPEG_LRG"},
    {"one column too many fits nothing", 4097, 100, ""},
};
TEST(JpegProfile, SmallestThatFits) {
    for (const JpegCase& c : kJpegCases) EXPECT_EQ(JpegProfileFor(c.width, c.height), c.profile) << c.why;
}

}  // namespace
}  // namespace MediaServer
