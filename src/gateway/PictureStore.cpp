#include "gateway/PictureStore.h"

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "gateway/EmbeddedArt.h"
#include "gateway/VideoFrame.h"
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

std::string Read(const PictureOrigin& origin) {
    switch (origin.kind) {
        case PictureIn::File:
            return ReadWholeFile(origin.path, kMaxPictureBytes).value_or("");
        case PictureIn::Tags:
            return EmbeddedArt(origin.path);
        case PictureIn::Video:
            return VideoFrame(origin.path);
    }
    return {};
}

/// A file that was changed is another key.
std::string KeyOf(const PictureOrigin& origin, const struct stat& info, PictureFormat format, int max_side) {
    std::string key = format == PictureFormat::Jpeg ? "jpeg" : "png";
    for (const long long part :
         {static_cast<long long>(max_side), static_cast<long long>(origin.kind), static_cast<long long>(info.st_size),
          static_cast<long long>(info.st_mtim.tv_sec), static_cast<long long>(info.st_mtim.tv_nsec)}) {
        key.append(1, ':').append(std::to_string(part));
    }
    return key.append(1, ':').append(origin.path);
}

/// Gives a semaphore that was acquired back.
class Releaser {
public:
    explicit Releaser(std::counting_semaphore<>& semaphore) : semaphore_(semaphore) {}
    ~Releaser() { semaphore_.release(); }
    Releaser(const Releaser&) = delete;
    Releaser& operator=(const Releaser&) = delete;

private:
    std::counting_semaphore<>& semaphore_;
};

std::optional<std::string> Render(const PictureOrigin& origin, PictureFormat format, int max_side) {
    std::string picture = Read(origin);
    if (picture.empty()) return std::nullopt;
    if (max_side == 0 && PictureFormatOf(picture) == format) return picture;
    std::string error;
    std::optional<std::string> rendered = RenderPicture(picture, format, max_side, error);
    if (!rendered) {
        DMSPrintf(1, "could not scale the picture of \"%s\": %s", origin.path.c_str(), error.c_str());
    }
    return rendered;
}

}  // namespace

PictureStore::PictureStore(std::ptrdiff_t max_pending)
    : kept_(kKeptPictures, kKeptBytes), pending_(max_pending), turns_(kDecoders) {}

UniqueFd PictureStore::Open(const PictureOrigin& origin, PictureFormat format, int max_side, bool& busy) {
    struct stat info {};
    if (origin.path.empty() || stat(origin.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    if (max_side == 0) {
        if (origin.kind == PictureIn::File) {
            UniqueFd file(open(origin.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
            if (file && FormatOfFile(file) == format) return file;
        }
        return Make(origin, format, max_side, info.st_mtim, busy);
    }
    const std::string key = KeyOf(origin, info, format, max_side);
    if (UniqueFd kept = kept_.Find(key)) return kept;
    UniqueFd made = Make(origin, format, max_side, info.st_mtim, busy);
    if (made) kept_.Add(key, made);
    return made;
}

UniqueFd PictureStore::Make(const PictureOrigin& origin, PictureFormat format, int max_side,
                            const struct timespec& modified, bool& busy) {
    if (!pending_.try_acquire()) {
        busy = true;
        return {};
    }
    const Releaser pending(pending_);
    turns_.acquire();
    const Releaser turn(turns_);
    const std::optional<std::string> picture = Render(origin, format, max_side);
    return picture ? MakeAnonymousFile(*picture, modified) : UniqueFd();
}

}  // namespace MediaServer
