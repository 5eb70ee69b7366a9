#include "gateway/PictureStore.h"

#include <algorithm>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "gateway/EmbeddedArt.h"
#include "gateway/VideoFrame.h"
#include "platform/picture/RawPreview.h"
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

/// Empty when there is no picture; `flaw` says why when that is worth a line.
std::string Read(const PictureOrigin& origin, std::string& flaw) {
    switch (origin.kind) {
        case PictureIn::File:
            return ReadPhotoPicture(origin.path, flaw).value_or("");
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

std::optional<std::string> Render(const PictureOrigin& origin, PictureFormat format, int max_side) {
    std::string flaw;
    std::optional<std::string> picture = Read(origin, flaw);
    if (picture->empty()) {
        picture.reset();
    } else if (max_side > 0 || PictureFormatOf(*picture) != format) {
        picture = RenderPicture(*picture, format, max_side, flaw);
    }
    if (!flaw.empty()) {
        DMSPrintf(1, picture ? "the picture of \"%s\" is damaged: %s" : "could not scale the picture of \"%s\": %s",
                  origin.path.c_str(), flaw.c_str());
    }
    return picture;
}

}  // namespace

/// A place behind a semaphore, given back in the end.
class PictureStore::Place {
public:
    enum class Wait { No, Yes };
    Place(std::counting_semaphore<>& semaphore, Wait wait) : semaphore_(semaphore) {
        if (wait == Wait::Yes) semaphore.acquire();
        taken_ = wait == Wait::Yes || semaphore.try_acquire();
    }
    ~Place() {
        if (taken_) semaphore_.release();
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    bool Taken() const { return taken_; }

private:
    std::counting_semaphore<>& semaphore_;
    bool taken_;
};

/// The right to make the picture of a key; whoever wants it meanwhile waits, and finds it kept.
class PictureStore::Making {
public:
    Making(PictureStore& store, const std::string& key) : store_(store), key_(key) {
        std::unique_lock lock(store.mutex_);
        store.made_.wait(lock, [&] { return store.making_.insert(key).second; });
    }
    ~Making() {
        const std::scoped_lock lock(store_.mutex_);
        store_.making_.erase(key_);
        store_.made_.notify_all();
    }
    Making(const Making&) = delete;
    Making& operator=(const Making&) = delete;

private:
    PictureStore& store_;
    const std::string& key_;
};

PictureStore::PictureStore(std::ptrdiff_t max_pending)
    : kept_(kKeptPictures, kKeptBytes), pending_(max_pending), turns_(kDecoders) {}

UniqueFd PictureStore::Open(const PictureOrigin& origin, PictureFormat format, int max_side, bool& busy) {
    struct stat info {};
    if (origin.path.empty() || stat(origin.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
    const std::string key = KeyOf(origin, info, format, max_side);
    if (max_side > 0) {
        if (UniqueFd kept = kept_.Find(key)) return kept;
    } else if (origin.kind == PictureIn::File) {
        UniqueFd file(open(origin.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (file && FormatOfFile(file) == format) return file;
    }
    const Place pending(pending_, Place::Wait::No);
    busy = busy || !pending.Taken();
    if (!pending.Taken()) return {};
    const Making making(*this, key);
    if (max_side > 0) {
        if (UniqueFd kept = kept_.Find(key)) return kept;
    }
    UniqueFd made = Make(origin, format, max_side, info.st_mtim);
    if (made && max_side > 0) kept_.Add(key, made);
    return made;
}

UniqueFd PictureStore::Make(const PictureOrigin& origin, PictureFormat format, int max_side,
                            const struct timespec& modified) {
    const Place turn(turns_, Place::Wait::Yes);
    const std::optional<std::string> picture = Render(origin, format, max_side);
    return picture ? MakeAnonymousFile(*picture, modified) : UniqueFd();
}

}  // namespace MediaServer
