#include "platform/media/MediaUrl.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

struct PrefixKind {
    std::string_view prefix;
    MediaKind kind;
};
constexpr PrefixKind kPrefixes[] = {
    {"p", MediaKind::Photo}, {"sp", MediaKind::Photo}, {"bp", MediaKind::Photo}, {"xlp", MediaKind::Photo},
    {"m", MediaKind::Music}, {"v", MediaKind::Video},  {"rh", MediaKind::Video},
};

using NameCode = std::pair<std::string_view, std::int32_t>;

constexpr NameCode kContainers[] = {
    {"asf", 2},
    {"3gp", 9},
    {"mp4", 10},
    {"mpeg_es", 13},
    {"mpeg_ps", 14},
    {"mpeg_ts", 15},            // packets of 188 bytes
    {"mpeg_ts_timestamp", 16},  // packets of 192 bytes, the time stamp in use
    {"mpeg_ts_dlna", 17},       // packets of 192 bytes, the time stamp all zero
};

// Audio object types of MPEG-4 (ISO/IEC 14496-3, 1.5.1.1). A name without a suffix says no more than "AAC", which in
// practice is Low Complexity. Parametric stereo comes on top of a spectral band replication stream that every HE-AAC
// decoder plays, so version 2 counts as version 1.
constexpr NameCode kAacObjectTypes[] = {
    {"aac", 2},      {"aac_latm", 2},  {"aac_lc", 2},      {"aac_main", 1},  {"aac_ssr", 3}, {"aac_ltp", 4},
    {"aac_he", 5},   {"aac_he_v2", 5}, {"aac_er_lc", 17},  {"aac_bsac", 22}, {"aac_ld", 23}, {"aac_er_parametric", 27},
    {"aac_eld", 39}, {"aac_usac", 42}, {"aac_escape", 31},  // 31: the type stands in an extension of the header
};

constexpr std::string_view kRawExtensions[] = {
    "3fr", "arw", "cr2", "cr3", "crw", "dcr", "dng", "erf", "iiq", "k25", "kdc", "mef", "mos", "mrw",
    "nef", "nrw", "orf", "pef", "ptx", "raf", "raw", "rw2", "rwl", "sr2", "srf", "srw", "x3f",
};

template <std::size_t N>
std::int32_t CodeOf(const NameCode (&table)[N], std::string_view name) {
    const auto found =
        std::find_if(std::begin(table), std::end(table), [name](const NameCode& row) { return row.first == name; });
    return found == std::end(table) ? 0 : found->second;
}

}  // namespace

std::optional<MediaUrl> ParseMediaUrl(std::string_view path) {
    if (!path.starts_with('/')) return std::nullopt;
    const std::size_t prefix_end = path.find('/', 1);
    if (prefix_end == std::string_view::npos) return std::nullopt;
    const std::string_view prefix = path.substr(1, prefix_end - 1);
    const auto row = std::find_if(std::begin(kPrefixes), std::end(kPrefixes),
                                  [prefix](const PrefixKind& known) { return known.prefix == prefix; });
    if (row == std::end(kPrefixes)) return std::nullopt;

    const std::size_t last_slash = path.rfind('/');
    std::string_view name = path.substr(last_slash + 1);
    const std::string_view extension = PathExtension(name);
    const bool is_marked = prefix == "rh" && extension == kSubtitleExtension && name.starts_with(kSubtitleMark);
    if (is_marked) name.remove_prefix(kSubtitleMark.size());
    const std::size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    const std::optional<std::int32_t> id = ParseRowId(name.substr(0, digits));
    if (!id) return std::nullopt;
    const std::string_view profile =
        last_slash == prefix_end ? std::string_view{} : path.substr(prefix_end + 1, last_slash - prefix_end - 1);
    return MediaUrl{row->prefix, row->kind, profile, *id, extension};
}

std::string PhotoThumbnailFolder(std::string_view photo_path) {
    const std::string_view directory = DirName(photo_path);
    std::string folder{directory == "/" ? std::string_view{} : directory};
    return folder.append("/").append(kThumbnailFolder).append("/").append(BaseName(photo_path));
}

std::string PhotoThumbnailPath(std::string_view photo_path, bool big) {
    const std::string folder = PhotoThumbnailFolder(photo_path) + "/";
    const std::string path = folder + std::string(kThumbnailNames[big ? 1 : 0]);
    // Folders that were indexed long ago have a colon in the name.
    return NLIBCFileExist(path.c_str()) ? path : folder + "NIMBPHOTO:THUMB_" + (big ? "B" : "S") + ".jpg";
}

void DMSGetThumbnailRes(std::int32_t width, std::int32_t height, std::int32_t* out_width, std::int32_t* out_height,
                        std::int32_t max_side) {
    const std::int32_t longest = std::max(width, height);
    if (width <= 0 || height <= 0 || longest <= max_side) {
        *out_width = std::max(width, 0);
        *out_height = std::max(height, 0);
        return;
    }
    // Rounded as the scaler rounds, so that what is announced is what is served.
    const auto scaled = [&](std::int64_t side) {
        return static_cast<std::int32_t>(std::max<std::int64_t>((side * max_side + longest / 2) / longest, 1));
    };
    *out_width = scaled(width);
    *out_height = scaled(height);
}

bool BlNIMBIndexIsRawImage(std::string_view extension) {
    return std::any_of(std::begin(kRawExtensions), std::end(kRawExtensions),
                       [extension](std::string_view raw) { return EqualsIgnoreCase(raw, extension); });
}

std::int32_t NIMBDlnaContainerTypeGet(std::string_view container_name) {
    return CodeOf(kContainers, container_name);
}

std::int32_t NIMBAacObjectTypeGet(std::string_view codec_name) {
    return CodeOf(kAacObjectTypes, codec_name);
}

}  // namespace MediaServer
