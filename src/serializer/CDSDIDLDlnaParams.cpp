#include <algorithm>
#include <array>

#include "dlna/DlnaProfiles.h"
#include "model/ServiceOptions.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/VideoProfiles.h"

namespace MediaServer {
namespace {

/// Longest fourth field; a profile name that an administrator made up is cut rather than let grow.
constexpr std::size_t kLongestParams = 255;

/// The video profiles that a certified device may announce.
constexpr std::array<std::string_view, 13> kCertifiedProfiles = {
    "MPEG_PS_NTSC",    "MPEG_PS_PAL",       "MPEG_TS_SD_EU_ISO", "MPEG_TS_SD_EU_T", "MPEG_TS_HD_NA_ISO",
    "MPEG_TS_HD_NA_T", "MPEG_TS_SD_NA_ISO", "MPEG_TS_SD_NA_T",   "WMVHIGH_FULL",    "WMVHIGH_PRO",
    "WMVMED_BASE",     "WMVMED_FULL",       "WMVMED_PRO",
};

std::string DetectedVideoProfile(const DMSClientChecker& client, std::string_view mime, const NIMB_MEDIA_INFO& record) {
    std::string own = client.getVideoProfileName(record);
    if (!own.empty()) return own;
    if (client.Has(ClientFlag::kMpegMapping)) {
        if (mime != "video/mpeg") return {};
        return MpegTsPsProfile(record.resolutionx, record.resolutiony, PathExtension(record.path));
    }
    const ProfileEntry* found = DetectVideoProfile(record);
    return found != nullptr ? std::string(found->name) : std::string();
}

/// Audio profiles follow from the MIME type alone; parameters may follow "audio/L16".
std::string_view AudioProfile(std::string_view mime) {
    if (mime == "audio/mpeg") return "MP3";
    if (EqualsIgnoreCase(mime.substr(0, 9), "audio/L16")) return "LPCM";
    return {};
}

}  // namespace

std::string CDSDIDLSerializer::MakeDlnaParams(std::string_view kind, std::string_view mime,
                                              const NIMB_MEDIA_INFO* record, std::string& profile) const {
    if (!client_.dlna_parameters) return "*";
    if (kind == "video") {
        if (record != nullptr) {
            profile = DetectedVideoProfile(client_, mime, *record);
            const bool certified =
                std::find(kCertifiedProfiles.begin(), kCertifiedProfiles.end(), profile) != kCertifiedProfiles.end();
            if (Option(OptionFlag::kConformanceTest) && !certified) profile.clear();
        }
    } else if (const std::string_view audio = AudioProfile(mime); !audio.empty()) {
        profile = audio;
    }
    std::string params = StreamingDlnaParams(profile);
    if (params.size() > kLongestParams) params.resize(kLongestParams);
    return params;
}

}  // namespace MediaServer
