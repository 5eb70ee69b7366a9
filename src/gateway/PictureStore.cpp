#include "gateway/PictureStore.h"

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "gateway/EmbeddedArt.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

/// Some pages of thumbnails, each of which takes some kilobytes and a descriptor.
constexpr std::size_t kKeptPictures = 256, kKeptBytes = 16 * 1024 * 1024;
constexpr int kDecoders = 2;

std::optional<PictureFormat> FormatOfFile(const UniqueFd& file) {
    char start[12];
    const ssize_t count = pread(file.get(), start, sizeof start, 0);
    return PictureFormatOf({start, static_cast<std::size_t>(std::max<ssize_t>(count, 0))});
}

/// A file that was changed is another key.
std::string KeyOf(const PictureOrigin& origin, const struct stat& info, PictureFormat format, int max_side) {
    std::string key = format == PictureFormat::Jpeg ? "jpeg" : "png";
    for (const long long part : {static_cast<long long>(max_side), static_cast<long long>(origin.embedded),
                                 static_cast<long long>(info.st_size), static_cast<long long>(info.st_mtim.tv_sec),
                                 static_cast<long long>(info.st_mtim.tv_nsec)}) {
        key.append(1, ':').append(std::to_string(part));
    }
    return key.append(1, ':').append(origin.path);
}

template <typename Semaphore>
class Turn {
public:
    explicit Turn(Semaphore& semaphore) : semaphore_(semaphore) { semaphore_.acquire(); }
    ~Turn() { semaphore_.release(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Semaphore& semaphore_;
};

}  // namespace

PictureStore::PictureStore() : kept_(kKeptPictures, kKeptBytes), turns_(kDecoders) {}

UniqueFd PictureStore::Open(const PictureOrigin& origin, PictureFormat format, int max_side) {
    struct stat info {};
    if (origin.path.empty() || stat(origin.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    if (max_side == 0) {
        if (!origin.embedded) {
            UniqueFd file(open(origin.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
            if (file && FormatOfFile(file) == format) return file;
        }
        return Render(origin, format, max_side, info.st_mtim);
    }
    const std::string key = KeyOf(origin, info, format, max_side);
    if (UniqueFd kept = kept_.Find(key)) return kept;
    UniqueFd made = Render(origin, format, max_side, info.st_mtim);
    if (made) kept_.Add(key, made);
    return made;
}

UniqueFd PictureStore::Render(const PictureOrigin& origin, PictureFormat format, int max_side,
                              const struct timespec& modified) {
    const Turn turn(turns_);
    const std::string picture =
        origin.embedded ? EmbeddedArt(origin.path) : ReadWholeFile(origin.path, kMaxPictureBytes).value_or("");
    if (picture.empty()) return {};
    if (max_side == 0 && PictureFormatOf(picture) == format) return MakeAnonymousFile(picture, modified);
    std::string error;
    const std::optional<std::string> rendered = RenderPicture(picture, format, max_side, error);
    if (rendered) return MakeAnonymousFile(*rendered, modified);
    DMSPrintf(1, "could not scale the picture of \"%s\": %s", origin.path.c_str(), error.c_str());
    return {};
}

}  // namespace MediaServer
