#include "dlna/DlnaProfiles.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "dlna/DLNA_Audio.h"
#include "dlna/DLNA_Video.h"
#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

struct JpegBounds {
    int width, height;
    std::string_view profile;
};

/// Smallest first: the first bounds that hold the picture name it.
constexpr JpegBounds kJpegBounds[] = {
    {160, 160, "JPEG_TN"},
    {640, 480, "JPEG_SM"},
    {1024, 768, "JPEG_MED"},
    {4096, 4096, "JPEG_LRG"},
};

constexpr std::string_view kTimeStampedProfiles[] = {"MPEG_TS_SD_EU_T", "MPEG_TS_SD_NA_T", "MPEG_TS_HD_NA_T"};

/// By PictureKind.
constexpr std::string_view kPictureOperations[] = {"DLNA.ORG_OP=01;", "DLNA.ORG_OP=01;DLNA.ORG_CI=1;", ""};

std::string Field(std::string_view profile, std::string_view operations, std::string_view flags) {
    std::string field;
    if (!profile.empty() && profile != kNoProfile) field.append("DLNA.ORG_PN=").append(profile).append(";");
    return field.append(operations).append("DLNA.ORG_FLAGS=").append(flags);
}

int FoldAudioClass(int audio_class) {
    if (audio_class == AudioClass::kAac320) return AudioClass::kAac;
    if (audio_class == AudioClass::kHeAac320) return AudioClass::kHeAac;
    return audio_class;
}

}  // namespace

const ProfileEntry* FindProfile(std::span<const ProfileRow> table, const NIMB_MEDIA_INFO& record, int video_class) {
    const int audio_class = FoldAudioClass(ClassifyAudio(record));
    if (audio_class == AudioClass::kNone) return nullptr;
    const int container = NIMBDlnaContainerTypeGet(record.container_type);
    for (const ProfileRow& row : table) {
        if (row.container == container && row.video_class == video_class && row.audio_class == audio_class) {
            return &row.entry;
        }
    }
    return nullptr;
}

const ProfileEntry* DetectVideoProfile(const NIMB_MEDIA_INFO& record) {
    const DLNA_VideoGetMPEG4_PART10Profile avc;
    const DLNA_VideoGetMPEG4_PART2Profile mpeg4;
    const DLNA_VideoGetMPEG2Profile mpeg2;
    const DLNA_VideoGetMPEG1Profile mpeg1;
    const DLNA_VideoGetWMV9Profile wmv9;
    for (const DLNA_VideoBase* guesser :
         std::initializer_list<const DLNA_VideoBase*>{&avc, &mpeg4, &mpeg2, &mpeg1, &wmv9}) {
        if (const ProfileEntry* entry = guesser->Classify(record)) return entry;
    }
    return nullptr;
}

std::string_view JpegProfileFor(int width, int height) {
    for (const JpegBounds& bounds : kJpegBounds) {
        if (width <= bounds.width && height <= bounds.height) return bounds.profile;
    }
    return {};
}

std::string StreamingDlnaParams(std::string_view profile) {
    return Field(profile, "DLNA.ORG_OP=01;", kStreamingFlags);
}

std::string PictureDlnaParams(PictureKind kind, std::string_view profile) {
    return Field(profile, kPictureOperations[static_cast<std::size_t>(kind)], kInteractiveFlags);
}

bool IsTimeStampedProfile(std::string_view profile) {
    return std::find(std::begin(kTimeStampedProfiles), std::end(kTimeStampedProfiles), profile) !=
           std::end(kTimeStampedProfiles);
}

}  // namespace MediaServer
