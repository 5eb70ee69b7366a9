#pragma once

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Classes of audio streams: codec and operating point. The video profiles are keyed by them.
namespace AudioClass {
inline constexpr int kNone = 0;
inline constexpr int kAac = 1;           ///< AAC LC, at most 2 channels, at most 576 kbit/s
inline constexpr int kAac320 = 2;        ///< AAC LC, at most 2 channels, at most 320 kbit/s
inline constexpr int kAacMult5 = 3;      ///< AAC LC, 3 to 6 channels, at most 1440 kbit/s
inline constexpr int kBsac = 4;          ///< BSAC, at most 2 channels
inline constexpr int kBsacMult5 = 5;     ///< BSAC, 3 to 6 channels
inline constexpr int kHeAac = 6;         ///< HE-AAC to 24 kHz, at most 2 channels, at most 576 kbit/s
inline constexpr int kHeAac320 = 7;      ///< HE-AAC to 24 kHz, at most 2 channels, at most 320 kbit/s
inline constexpr int kHeAac48 = 8;       ///< HE-AAC to 48 kHz, at most 2 channels, at most 576 kbit/s
inline constexpr int kHeAacMult5 = 9;    ///< HE-AAC to 48 kHz, at most 6 channels, at most 1440 kbit/s
inline constexpr int kAac27 = 10;        ///< AAC object type 27, by the limits of kHeAac
inline constexpr int kAac27At320 = 11;   ///< AAC object type 27, by the limits of kHeAac320
inline constexpr int kAac27At48 = 12;    ///< AAC object type 27, by the limits of kHeAac48
inline constexpr int kAac27Mult5 = 13;   ///< AAC object type 27, by the limits of kHeAacMult5 but 2880 kbit/s
inline constexpr int kAc3 = 17;          ///< AC-3 to 448 kbit/s
inline constexpr int kAc3Extended = 18;  ///< AC-3 from 448 to 640 kbit/s
inline constexpr int kAmr = 19;          ///< AMR narrow-band
inline constexpr int kAmrWideBand = 20;  ///< AMR wide-band
inline constexpr int kAtrac3 = 21;       ///< ATRAC3
inline constexpr int kG726 = 22;         ///< G.726
inline constexpr int kLpcm = 23;         ///< 16-bit linear PCM
inline constexpr int kMpeg1Layer1 = 24;  ///< MPEG-1 layer 1
inline constexpr int kMpeg1Layer2 = 25;  ///< MPEG-1 layer 2
inline constexpr int kMpeg1Layer3 = 26;  ///< MPEG-1 layer 3
inline constexpr int kMpeg2Layer3 = 27;  ///< MPEG-2 (low sample rate) layer 3
inline constexpr int kWmaBase = 28;      ///< WMA standard to 192 kbit/s
inline constexpr int kWmaFull = 29;      ///< WMA standard to 384 kbit/s
inline constexpr int kWmaPro = 30;       ///< WMA Pro
}  // namespace AudioClass

/// One family of audio codecs. Reads codec name, bit rate, sample rate and channels of the record; holds no state.
class DLNA_AudioBase {
public:
    virtual ~DLNA_AudioBase() = default;
    /// @return an AudioClass value; kNone when the stream is not of this family or beyond its limits.
    virtual int Classify(const NIMB_MEDIA_INFO& record) const = 0;
};

class DLNA_AudioGetAACProfile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetAC3Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetAMRProfile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetATRAC3Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetG726Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetLPCMProfile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetMP1Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetMP2Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetMP3Profile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

class DLNA_AudioGetWMAProfile : public DLNA_AudioBase {
public:
    int Classify(const NIMB_MEDIA_INFO& record) const override;
};

}  // namespace MediaServer
