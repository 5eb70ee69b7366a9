#include "gateway/CoverPictures.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "dlna/DlnaProfiles.h"
#include "gateway/EmbeddedArt.h"
#include "platform/database/MediaInfoDB.h"
#include "platform/http/HttpFile.h"
#include "platform/media/CoverArt.h"
#include "platform/media/MediaKind.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// JPEG_TN and PNG_TN (DLNA guidelines, image profiles).
constexpr int kThumbnailSide = 160;
/// A thumbnail takes some kilobytes and a descriptor.
constexpr std::size_t kCachedThumbnails = 256;
constexpr std::string_view kOriginalSuffix = "_orig";

enum class Source { Embedded, SongFolder, Video };

/// Where each kind of cover is looked for; an album stands for one of its songs.
struct CoverKind {
    std::string_view name;
    MediaKind table;
    std::array<Source, 2> sources;  // in this order; equal when there is one
};
constexpr CoverKind kCoverKinds[] = {
    {"ebdart", MediaKind::Music, {Source::Embedded, Source::Embedded}},
    {"folderart", MediaKind::Music, {Source::SongFolder, Source::SongFolder}},
    {"albumart", MediaKind::Music, {Source::Embedded, Source::SongFolder}},
    {"vfolderart", MediaKind::Video, {Source::Video, Source::Video}},
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

std::string FileFor(Source source, const std::string& path) {
    switch (source) {
        case Source::Embedded:
            return path;
        case Source::SongFolder:
            return FindFolderCover(path);
        case Source::Video:
            return FindVideoCover(path);
    }
    return {};
}

UniqueFd OpenPicture(const std::string& path) {
    return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

std::optional<PictureFormat> FormatOfFile(const UniqueFd& file) {
    char start[12];
    const ssize_t count = pread(file.get(), start, sizeof start, 0);
    return PictureFormatOf({start, static_cast<std::size_t>(std::max<ssize_t>(count, 0))});
}

std::string CacheKey(const std::string& path, const struct stat& info, PictureFormat format, bool embedded) {
    return std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + ":" +
           std::to_string(info.st_size) + (format == PictureFormat::Jpeg ? ":j" : ":p") + (embedded ? "e:" : "f:") +
           path;
}

}  // namespace

CoverPictures::CoverPictures() : thumbnails_(kCachedThumbnails), decoders_(2) {}

HttpResponse CoverPictures::Serve(const HttpRequest& request, std::string_view rest) {
    const std::optional<CoverUrl> url = ParseCoverUrl(rest);
    if (!url) return PlainResponse(404);
    std::string path;
    const Lookup lookup = FindMediaPath(url->kind->table, url->id, path);
    if (lookup != Lookup::Found) return PlainResponse(lookup == Lookup::Failed ? 503 : 404);
    const auto& sources = url->kind->sources;
    for (std::size_t i = 0; i < sources.size() && (i == 0 || sources[i] != sources[0]); ++i) {
        const Origin origin{FileFor(sources[i], path), sources[i] == Source::Embedded};
        if (UniqueFd picture = Open(origin, {url->format->format, url->original})) {
            return ServeDescriptor(request, std::move(picture), url->format->mime,
                                   PictureDlnaParams(PictureKind::Cover, url->format->profile));
        }
    }
    return PlainResponse(404);
}

UniqueFd CoverPictures::Open(const Origin& origin, const Wanted& wanted) {
    struct stat info {};
    if (origin.path.empty() || stat(origin.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    if (wanted.original) {
        if (!origin.embedded) {
            UniqueFd file = OpenPicture(origin.path);
            if (file && FormatOfFile(file) == wanted.format) return file;
        }
        return Render(origin, wanted, info.st_mtim);
    }
    const std::string key = CacheKey(origin.path, info, wanted.format, origin.embedded);
    if (UniqueFd known = thumbnails_.Find(key)) return known;
    UniqueFd made = Render(origin, wanted, info.st_mtim);
    if (made) thumbnails_.Add(key, made);
    return made;
}

UniqueFd CoverPictures::Render(const Origin& origin, const Wanted& wanted, const struct timespec& modified) {
    struct Turn {
        std::counting_semaphore<2>& semaphore;
        explicit Turn(std::counting_semaphore<2>& s) : semaphore(s) { semaphore.acquire(); }
        ~Turn() { semaphore.release(); }
    };
    const Turn turn(decoders_);
    const std::string picture =
        origin.embedded ? EmbeddedArt(origin.path) : ReadWholeFile(origin.path, kMaxPictureBytes).value_or("");
    if (picture.empty()) return {};
    if (wanted.original && PictureFormatOf(picture) == wanted.format) return MakeAnonymousFile(picture, modified);
    std::string error;
    const std::optional<std::string> rendered =
        RenderPicture(picture, wanted.format, wanted.original ? 0 : kThumbnailSide, error);
    if (!rendered) {
        DMSPrintf(1, "could not scale the cover of \"%s\": %s", origin.path.c_str(), error.c_str());
        return {};
    }
    return MakeAnonymousFile(*rendered, modified);
}

}  // namespace MediaServer
