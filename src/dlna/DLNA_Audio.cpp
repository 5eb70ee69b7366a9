#include "dlna/DLNA_Audio.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "dlna/DlnaProfiles.h"
#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

/// MPEG-4 audio object types (ISO/IEC 14496-3, table 1.17).
constexpr int kObjectLc = 2, kObjectSbr = 5, kObjectErLc = 17, kObjectErBsac = 22, kObjectErParametric = 27,
              kObjectEscape = 31;

/// One operating point of AAC; every bound is inclusive.
struct AacLimits {
    int object_type;
    std::int32_t min_rate, max_rate;  // Hz
    std::int32_t min_channels, max_channels;
    std::uint32_t max_bitrate;  // bits per second
    int audio_class;
};

constexpr std::int32_t kAnyFewer = INT32_MIN;

constexpr AacLimits kAacLimits[] = {
    {kObjectLc, 8000, 48000, kAnyFewer, 2, 320000, AudioClass::kAac320},
    {kObjectLc, 8000, 48000, kAnyFewer, 2, 576000, AudioClass::kAac},
    {kObjectLc, 8000, 48000, 3, 6, 1440000, AudioClass::kAacMult5},
    {kObjectSbr, 8000, 24000, kAnyFewer, 2, 320000, AudioClass::kHeAac320},
    {kObjectSbr, 8000, 24000, kAnyFewer, 2, 576000, AudioClass::kHeAac},
    {kObjectSbr, 24001, 48000, kAnyFewer, 2, 576000, AudioClass::kHeAac48},
    {kObjectSbr, 24001, 48000, kAnyFewer, 6, 1440000, AudioClass::kHeAacMult5},
    {kObjectErBsac, 16000, 48000, kAnyFewer, 2, 128000, AudioClass::kBsac},
    {kObjectErBsac, 16000, 48000, kAnyFewer, 6, 128000, AudioClass::kBsacMult5},
    {kObjectErParametric, 8000, 24000, kAnyFewer, 2, 320000, AudioClass::kAac27At320},
    {kObjectErParametric, 8000, 24000, kAnyFewer, 2, 576000, AudioClass::kAac27},
    {kObjectErParametric, 24001, 48000, kAnyFewer, 2, 576000, AudioClass::kAac27At48},
    {kObjectErParametric, 24001, 48000, kAnyFewer, 6, 2880000, AudioClass::kAac27Mult5},
};

/// Sample rates of MPEG-1 audio and AC-3, and of MPEG-2 audio's lower half.
constexpr std::int32_t kFullRates[] = {32000, 44100, 48000};
constexpr std::int32_t kHalfRates[] = {16000, 22050, 24000};
constexpr std::int32_t kAmrWideBandRates[] = {8000, 16000, 24000, 32000, 48000};

/// Bit rates that the formats define; a variable-bit-rate file's average is none of them.
constexpr std::uint32_t kAmrBitrates[] = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};
constexpr std::uint32_t kMp3FullBitrates[] = {32000,  40000,  48000,  56000,  64000,  80000,  96000,
                                              112000, 128000, 160000, 192000, 224000, 256000, 320000};
constexpr std::uint32_t kMp3HalfBitrates[] = {8000,  16000, 24000,  32000,  40000,  48000,  56000, 64000,
                                              80000, 96000, 112000, 128000, 160000, 256000, 320000};

template <typename Table, typename Value>
bool IsOneOf(const Table& table, Value value) {
    return std::find(std::begin(table), std::end(table), value) != std::end(table);
}

template <typename Value>
bool IsWithin(Value value, Value low, Value high) {
    return low <= value && value <= high;
}

/// The limits that MPEG-1 layers 1 and 2 share.
bool IsMpeg1Audio(const NIMB_MEDIA_INFO& record) {
    return record.channel <= 5 && IsOneOf(kFullRates, record.frequency) &&
           IsWithin<std::uint32_t>(record.audio_bitrate, 32000, 448000);
}

}  // namespace

int DLNA_AudioGetAACProfile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.audio_codec.find("aac") == std::string::npos) return AudioClass::kNone;
    int object_type = NIMBAacObjectTypeGet(record.audio_codec);
    if (object_type == kObjectErLc) object_type = kObjectLc;
    if (object_type == kObjectEscape) object_type = kObjectSbr;
    for (const AacLimits& row : kAacLimits) {
        if (row.object_type == object_type && IsWithin(record.frequency, row.min_rate, row.max_rate) &&
            IsWithin(record.channel, row.min_channels, row.max_channels) && record.audio_bitrate <= row.max_bitrate) {
            return row.audio_class;
        }
    }
    return AudioClass::kNone;
}

int DLNA_AudioGetAC3Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.audio_codec != "ac3" || record.channel > 6 || !IsOneOf(kFullRates, record.frequency) ||
        record.audio_bitrate < 32000) {
        return AudioClass::kNone;
    }
    if (record.audio_bitrate <= 448000) return AudioClass::kAc3;
    return record.audio_bitrate <= 640000 ? AudioClass::kAc3Extended : AudioClass::kNone;
}

int DLNA_AudioGetAMRProfile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.audio_codec == "amr_nb" && record.channel == 1 && record.frequency == 8000 &&
        IsOneOf(kAmrBitrates, record.audio_bitrate)) {
        return AudioClass::kAmr;
    }
    if (record.audio_codec == "amr_wb" && record.channel <= 2 && IsOneOf(kAmrWideBandRates, record.frequency) &&
        IsWithin<std::uint32_t>(record.audio_bitrate, 5200, 48000)) {
        return AudioClass::kAmrWideBand;
    }
    return AudioClass::kNone;
}

int DLNA_AudioGetATRAC3Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    return record.audio_codec == "amr_atrac3" ? AudioClass::kAtrac3 : AudioClass::kNone;
}

int DLNA_AudioGetG726Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    const bool fits = record.audio_codec == "adpcm_g726" && record.channel == 1 && record.frequency == 8000 &&
                      record.audio_bitrate == 32000;
    return fits ? AudioClass::kG726 : AudioClass::kNone;
}

int DLNA_AudioGetLPCMProfile::Classify(const NIMB_MEDIA_INFO& record) const {
    const bool fits = (record.audio_codec == "pcm_s16be" || record.audio_codec == "pcm_s16le") && record.channel <= 2 &&
                      IsWithin(record.frequency, 8000, 48000);
    return fits ? AudioClass::kLpcm : AudioClass::kNone;
}

int DLNA_AudioGetMP1Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    return record.audio_codec == "mp1" && IsMpeg1Audio(record) ? AudioClass::kMpeg1Layer1 : AudioClass::kNone;
}

int DLNA_AudioGetMP2Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    return record.audio_codec == "mp2" && IsMpeg1Audio(record) ? AudioClass::kMpeg1Layer2 : AudioClass::kNone;
}

int DLNA_AudioGetMP3Profile::Classify(const NIMB_MEDIA_INFO& record) const {
    if (record.audio_codec != "mp3") return AudioClass::kNone;
    if (IsOneOf(kHalfRates, record.frequency) && IsOneOf(kMp3HalfBitrates, record.audio_bitrate)) {
        return AudioClass::kMpeg2Layer3;
    }
    if (IsOneOf(kFullRates, record.frequency) && IsOneOf(kMp3FullBitrates, record.audio_bitrate)) {
        return AudioClass::kMpeg1Layer3;
    }
    return AudioClass::kNone;
}

int DLNA_AudioGetWMAProfile::Classify(const NIMB_MEDIA_INFO& record) const {
    if ((record.audio_codec == "wmav1" || record.audio_codec == "wmav2") && record.frequency <= 48000 &&
        record.channel <= 2) {
        // A kilobit above the nominal rate: encoders round up.
        if (record.audio_bitrate <= 193000) return AudioClass::kWmaBase;
        return record.audio_bitrate <= 385000 ? AudioClass::kWmaFull : AudioClass::kNone;
    }
    if (record.audio_codec == "wmapro" && record.frequency <= 96000 && record.channel <= 8 &&
        record.audio_bitrate <= 1500000) {
        return AudioClass::kWmaPro;
    }
    return AudioClass::kNone;
}

int ClassifyAudio(const NIMB_MEDIA_INFO& record) {
    const DLNA_AudioGetAACProfile aac;
    const DLNA_AudioGetAC3Profile ac3;
    const DLNA_AudioGetAMRProfile amr;
    const DLNA_AudioGetATRAC3Profile atrac3;
    const DLNA_AudioGetG726Profile g726;
    const DLNA_AudioGetLPCMProfile lpcm;
    const DLNA_AudioGetMP2Profile mp2;
    const DLNA_AudioGetMP3Profile mp3;
    const DLNA_AudioGetWMAProfile wma;
    for (const DLNA_AudioBase* family :
         std::initializer_list<const DLNA_AudioBase*>{&aac, &ac3, &amr, &atrac3, &g726, &lpcm, &mp2, &mp3, &wma}) {
        if (const int audio_class = family->Classify(record)) return audio_class;
    }
    return AudioClass::kNone;
}

}  // namespace MediaServer
