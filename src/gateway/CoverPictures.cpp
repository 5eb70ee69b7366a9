#include "gateway/CoverPictures.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "dlna/DlnaProfiles.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/http/HttpFile.h"
#include "platform/media/CoverArt.h"
#include "platform/media/MediaKind.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// JPEG_TN and PNG_TN (DLNA guidelines, image profiles).
constexpr int kThumbnailSide = 160;
constexpr std::string_view kOriginalSuffix = "_orig";

/// What each place of a cover is, and how to get from the row's file to it.
struct Source {
    PictureIn kind;
    std::string (*find)(std::string_view path);
};
std::string Itself(std::string_view path) {
    return std::string(path);
}

constexpr Source kInSong[] = {{PictureIn::Tags, Itself}};
constexpr Source kBesideSong[] = {{PictureIn::File, FindFolderCover}};
constexpr Source kOfAlbum[] = {{PictureIn::Tags, Itself}, {PictureIn::File, FindFolderCover}};
// Every video is announced with a cover, so each has one.
constexpr Source kOfVideo[] = {
    {PictureIn::File, FindVideoCover}, {PictureIn::Tags, Itself}, {PictureIn::Video, Itself}};
constexpr Source kOfLibraryEntry[] = {
    {PictureIn::File, FindVideoPoster}, {PictureIn::Tags, Itself}, {PictureIn::Video, Itself}};

/// Where each kind of cover is looked for, in that order; an album stands for one of its songs.
struct CoverKind {
    std::string_view name;
    MediaKind table;
    std::span<const Source> sources;
};
constexpr CoverKind kCoverKinds[] = {
    {"ebdart", MediaKind::Music, kInSong},          {"folderart", MediaKind::Music, kBesideSong},
    {"albumart", MediaKind::Music, kOfAlbum},       {"vfolderart", MediaKind::Video, kOfVideo},
    {"rhcover", MediaKind::Video, kOfLibraryEntry},  // an entry of the video library has the id of its file
};

struct FormatRow {
    std::string_view extension;
    PictureFormat format;
    std::string_view mime, profile;
};
constexpr FormatRow kFormats[] = {
    {"jpg", PictureFormat::Jpeg, "image/jpeg", "JPEG_TN"},
    {"png", PictureFormat::Png, "image/png", "PNG_TN"},
};

/// "<kind>[_orig]/<row id>.<extension>" taken apart.
struct CoverUrl {
    const CoverKind* kind;
    const FormatRow* format;
    bool original;
    std::int32_t id;
};

std::optional<CoverUrl> ParseCoverUrl(std::string_view rest) {
    const std::size_t slash = rest.find('/'), dot = rest.rfind('.');
    if (slash == std::string_view::npos || dot == std::string_view::npos || dot < slash) return std::nullopt;
    std::string_view name = rest.substr(0, slash);
    const bool original = name.ends_with(kOriginalSuffix);
    if (original) name.remove_suffix(kOriginalSuffix.size());
    const auto* kind = std::find_if(std::begin(kCoverKinds), std::end(kCoverKinds),
                                    [&](const CoverKind& known) { return known.name == name; });
    const auto* format = std::find_if(std::begin(kFormats), std::end(kFormats),
                                      [&](const FormatRow& known) { return known.extension == rest.substr(dot + 1); });
    const std::optional<std::int32_t> id = ParseRowId(rest.substr(slash + 1, dot - slash - 1));
    if (kind == std::end(kCoverKinds) || format == std::end(kFormats) || !id) return std::nullopt;
    return CoverUrl{kind, format, original, *id};
}

}  // namespace

HttpResponse ServeCover(const HttpRequest& request, std::string_view rest, PictureStore& pictures) {
    const std::optional<CoverUrl> url = ParseCoverUrl(rest);
    if (!url) return PlainResponse(404);
    std::string path;
    const Lookup lookup = FindMediaPath(url->kind->table, url->id, path);
    if (lookup != Lookup::Found) return PlainResponse(lookup == Lookup::Failed ? 503 : 404);
    bool busy = false;
    for (const Source& source : url->kind->sources) {
        const PictureOrigin origin{source.kind, source.find(path)};
        if (UniqueFd file = pictures.Open(origin, url->format->format, url->original ? 0 : kThumbnailSide, busy)) {
            return ServeDescriptor(request, std::move(file), url->format->mime,
                                   PictureDlnaParams(PictureKind::Cover, url->format->profile));
        }
    }
    return PlainResponse(busy ? 503 : 404);
}

}  // namespace MediaServer
