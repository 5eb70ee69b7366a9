#include "indexer/MediaTypes.h"

#include <string>
#include <unordered_map>

#include "platform/media/MediaUrl.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

struct KindExtensions {
    MediaKind kind;
    const char* extensions;
};
constexpr KindExtensions kKinds[] = {
    {MediaKind::Music,
     "mp3 flac m4a m4b aac ogg oga opus spx wav aif aiff aifc wma ape mpc mp+ wv tta dsf dff ac3 dts mka caf amr mp2"},
    {MediaKind::Video,
     "mp4 m4v mkv webm avi divx mov qt mpg mpeg mpe m2v vob ts m2ts mts m2t tp trp wmv asf flv f4v 3gp 3g2 ogv ogm rm "
     "rmvb mxf dvr-ms wtv srt smi ssa ass"},
    {MediaKind::Photo, "jpg jpeg jpe png gif bmp tif tiff webp heic heif avif"},
    {MediaKind::Playlist, "m3u m3u8 pls xspf wpl asx"},
};

std::unordered_map<std::string, MediaKind> MakeExtensionTable() {
    std::unordered_map<std::string, MediaKind> table;
    for (const KindExtensions& row : kKinds) {
        for (std::string& extension : Split(row.extensions, ' ')) table.emplace(std::move(extension), row.kind);
    }
    return table;
}

}  // namespace

std::optional<MediaKind> FindMediaKind(std::string_view file_name) {
    static const std::unordered_map<std::string, MediaKind> table = MakeExtensionTable();
    const std::string extension = StringToLower(PathExtension(file_name));
    if (const auto found = table.find(extension); found != table.end()) return found->second;
    if (BlNIMBIndexIsRawImage(extension)) return MediaKind::Photo;
    return std::nullopt;
}

}  // namespace MediaServer
