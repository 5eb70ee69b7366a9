#include <algorithm>

#include "dlna/DLNA_Audio.h"
#include "dlna/DLNA_Video.h"
#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

constexpr ProfileEntry MpegSd(std::string_view name) {
    return {name, "video/mpeg", "SD"};
}

/// What a program or elementary stream of one television system may be, with its plain and its extended AC-3 name.
struct SystemNames {
    ProfileEntry plain, extended;
};
constexpr SystemNames kProgramNtsc = {MpegSd("MPEG_PS_NTSC"), MpegSd("MPEG_PS_NTSC_XAC3")};
constexpr SystemNames kProgramPal = {MpegSd("MPEG_PS_PAL"), MpegSd("MPEG_PS_PAL_XAC3")};
constexpr SystemNames kElementaryNtsc = {MpegSd("MPEG_ES_NTSC"), MpegSd("MPEG_ES_NTSC_XAC3")};
constexpr SystemNames kElementaryPal = {MpegSd("MPEG_ES_PAL"), MpegSd("MPEG_ES_PAL_XAC3")};

constexpr PictureSize kEuropeanTransportSizes[] = {{720, 576}, {544, 576}, {480, 576}, {352, 576}, {352, 288}};

/// One profile in the three forms of a transport stream.
struct TransportNames {
    ProfileEntry dlna, stamped, iso;
};

#define TRANSPORT(name, label)                                                                     \
    {                                                                                              \
        {name, "video/vnd.dlna.mpeg-tts", label}, {name "_T", "video/vnd.dlna.mpeg-tts", label}, { \
            name "_ISO", "video/mpeg", label                                                       \
        }                                                                                          \
    }
constexpr TransportNames kLowLevel = TRANSPORT("MPEG_TS_MP_LL_AAC", "CIF30");
constexpr TransportNames kSdEurope = TRANSPORT("MPEG_TS_SD_EU", "SD");
constexpr TransportNames kSdAmerica = TRANSPORT("MPEG_TS_SD_NA", "SD");
constexpr TransportNames kSdAmericaExtended = TRANSPORT("MPEG_TS_SD_NA_XAC3", "SD");
constexpr TransportNames kHdAmerica = TRANSPORT("MPEG_TS_HD_NA", "HD");
constexpr TransportNames kHdAmericaExtended = TRANSPORT("MPEG_TS_HD_NA_XAC3", "HD");
#undef TRANSPORT

struct FrameRate {
    std::int32_t numerator, denominator;
};

/// ATSC A/53 pictures: sizes that share their exact frame rates.
struct AmericanRow {
    std::span<const PictureSize> sizes;
    std::span<const FrameRate> rates;
    const TransportNames& plain;
    const TransportNames& extended;
};

constexpr PictureSize kFieldSdSizes[] = {{720, 480}, {544, 480}, {480, 480}, {352, 480}};
constexpr FrameRate kFieldSdRates[] = {{30000, 1001}, {60000, 1001}};
constexpr PictureSize kSquareSdSizes[] = {{704, 480}, {640, 480}};
constexpr FrameRate kSquareSdRates[] = {{60, 1}, {30, 1}, {24, 1}, {30000, 1001}, {24000, 1001}, {60000, 1001}};
constexpr FrameRate kAmericanHdRates[] = {{30, 1}, {24, 1}, {30000, 1001}, {24000, 1001}, {60000, 1001}};
constexpr AmericanRow kAmericanRows[] = {
    {kFieldSdSizes, kFieldSdRates, kSdAmerica, kSdAmericaExtended},
    {kSquareSdSizes, kSquareSdRates, kSdAmerica, kSdAmericaExtended},
    {kHdSizes, kAmericanHdRates, kHdAmerica, kHdAmericaExtended},
};

constexpr std::uint32_t kMaxAmericanBitrate = 20334720;  // bits per second of the whole stream
constexpr std::uint32_t kMaxPlainAc3 = 448000, kMaxExtendedAc3 = 640000;

int Ac3Class(const NIMB_MEDIA_INFO& record) {
    return DLNA_AudioGetAC3Profile().Classify(record);
}
bool IsMp2(const NIMB_MEDIA_INFO& record) {
    return DLNA_AudioGetMP2Profile().Classify(record) != AudioClass::kNone;
}
bool IsMp1(const NIMB_MEDIA_INFO& record) {
    return DLNA_AudioGetMP1Profile().Classify(record) != AudioClass::kNone;
}

bool AcceptsLpcm(const NIMB_MEDIA_INFO& record) {
    if (DLNA_AudioGetLPCMProfile().Classify(record) == AudioClass::kNone) return false;
    if (record.channel == 2) return record.audio_bitrate <= 1536000;
    return record.channel != 1 || record.audio_bitrate <= 768000;
}

bool AcceptsMp2(const NIMB_MEDIA_INFO& record) {
    if (!IsMp2(record) || record.channel > 2) return false;
    if (record.channel < 1) return true;
    return record.audio_bitrate >= 64000 && record.audio_bitrate <= (record.channel == 1 ? 192000U : 384000U);
}

const ProfileEntry* BySystem(const NIMB_MEDIA_INFO& record, const SystemNames& ntsc, const SystemNames& pal) {
    const SystemNames* names = nullptr;
    if (HasExactRate(record, 30000, 1001) && HasSize(record, kNtscSizes)) names = &ntsc;
    if (HasExactRate(record, 25, 1) && HasSize(record, kPalSizes)) names = &pal;
    if (names == nullptr) return nullptr;
    const int ac3 = Ac3Class(record);
    if (ac3 == AudioClass::kAc3Extended) return &names->extended;
    return ac3 == AudioClass::kAc3 || AcceptsLpcm(record) || AcceptsMp2(record) ? &names->plain : nullptr;
}

const TransportNames* LowLevelProfile(const NIMB_MEDIA_INFO& record) {
    const bool size = record.resolutionx == 352 || record.resolutiony == 288;
    const bool rate = record.frame_rate_num == 30 || record.frame_rate_den == 1;
    return size && rate && record.video_bitrate <= 4000000 && record.audio_bitrate <= 256000 ? &kLowLevel : nullptr;
}

const TransportNames* EuropeanProfile(const NIMB_MEDIA_INFO& record) {
    const bool audio = Ac3Class(record) == AudioClass::kAc3 || IsMp2(record) || IsMp1(record);
    return audio && HasSize(record, kEuropeanTransportSizes) ? &kSdEurope : nullptr;
}

const TransportNames* AmericanProfile(const NIMB_MEDIA_INFO& record) {
    if (record.frame_bitrate > kMaxAmericanBitrate || record.audio_codec != "ac3" || record.frequency != 48000 ||
        record.channel > 5 || record.audio_bitrate > kMaxExtendedAc3) {
        return nullptr;
    }
    for (const AmericanRow& row : kAmericanRows) {
        const bool rate = std::any_of(row.rates.begin(), row.rates.end(), [&](const FrameRate& r) {
            return HasExactRate(record, r.numerator, r.denominator);
        });
        if (rate && HasSize(record, row.sizes)) {
            return record.audio_bitrate > kMaxPlainAc3 ? &row.extended : &row.plain;
        }
    }
    return nullptr;
}

const TransportNames* TransportProfile(const NIMB_MEDIA_INFO& record) {
    if (record.audio_codec.find("aac") != std::string::npos) return LowLevelProfile(record);
    return HasExactRate(record, 25, 1) ? EuropeanProfile(record) : AmericanProfile(record);
}

}  // namespace

const ProfileEntry* DLNA_VideoGetMPEG2Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    const int container = NIMBDlnaContainerTypeGet(record.container_type);
    if (container == Container::kProgramStream) return BySystem(record, kProgramNtsc, kProgramPal);
    if (container == Container::kElementaryStream) return BySystem(record, kElementaryNtsc, kElementaryPal);
    if (container < Container::kTransportIso || container > Container::kTransportDlna) return nullptr;
    const TransportNames* names = TransportProfile(record);
    if (names == nullptr) return nullptr;
    if (container == Container::kTransportStamped) return &names->stamped;
    return container == Container::kTransportIso ? &names->iso : &names->dlna;
}

}  // namespace MediaServer
