#include "serializer/VideoProfiles.h"

#include <algorithm>
#include <span>

#include "dlna/DLNA_Video.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// A size by how its packets are wrapped, told by the extension.
struct MappingRow {
    std::span<const PictureSize> sizes;
    std::string_view transport, time_stamped, otherwise;
};
constexpr MappingRow kMapping[] = {
    {kNtscSizes, "MPEG_TS_SD_NA_ISO", "MPEG_PS_NTSC", "MPEG_PS_NTSC"},
    {kPalSizes, "MPEG_TS_SD_EU_ISO", "MPEG_PS_PAL", "MPEG_PS_PAL"},
    {kHdSizes, "AVC_TS_HD_24_AC3_ISO", "AVC_TS_HD_24_AC3_T", "MPEG_PS_NTSC"},
};

constexpr std::string_view kTransportExtensions[] = {"ts", "tp", "trp", "m2t"};
constexpr std::string_view kTimeStampedExtensions[] = {"m2ts", "mts"};

bool IsOneOf(std::span<const std::string_view> extensions, std::string_view extension) {
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](std::string_view one) { return EqualsIgnoreCase(one, extension); });
}

}  // namespace

std::string MpegTsPsProfile(int width, int height, std::string_view extension) {
    for (const MappingRow& row : kMapping) {
        const bool fits = std::any_of(row.sizes.begin(), row.sizes.end(), [&](const PictureSize& size) {
            return size.width == width && size.height == height;
        });
        if (!fits) continue;
        if (IsOneOf(kTransportExtensions, extension)) return std::string(row.transport);
        return std::string(IsOneOf(kTimeStampedExtensions, extension) ? row.time_stamped : row.otherwise);
    }
    return {};
}

}  // namespace MediaServer
