#include "indexer/Thumbnails.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iterator>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/media/MediaUrl.h"
#include "platform/picture/PictureScaler.h"
#include "platform/picture/RawPreview.h"
#include "platform/system/Directory.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr int kThreads = 2;
/// As many as are made in a second or two.
constexpr int kPortion = 64;
/// Looking up the photos of more directories than this costs more than looking at all.
constexpr std::size_t kMostDirectories = 500;
/// Behind everything that somebody waits for.
constexpr int kNiceness = 10;

bool IsAsOldAs(const std::string& thumbnail, const struct stat& photo) {
    struct stat status;
    return stat(thumbnail.c_str(), &status) == 0 && status.st_size > 0 &&
           status.st_mtim.tv_sec == photo.st_mtim.tv_sec && status.st_mtim.tv_nsec == photo.st_mtim.tv_nsec;
}

/// Whether that folder is there to be written to, or can be made; asked before the work is done.
/// @return 0 or an errno value.
int AskToWrite(std::string_view folder) {
    constexpr int kLevels = 3;  // the photo's own folder of thumbnails, that of all, the directory
    for (int level = 0; level < kLevels; ++level, folder = DirName(folder)) {
        if (access(std::string(folder).c_str(), W_OK | X_OK) == 0) return 0;
        if (errno != ENOENT) break;
    }
    return errno;
}

bool MakeFolder(const std::string& folder) {
    return mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST;
}

/// Complete from the first moment on, with the time of the photo. @return 0 or an errno value.
int WriteThumbnail(const std::string& path, std::string_view jpeg, const struct stat& photo) {
    std::string temporary = path + ".XXXXXX";
    const UniqueFd file(mkostemp(temporary.data(), O_CLOEXEC));
    const struct timespec times[] = {photo.st_mtim, photo.st_mtim};
    if (file && fchmod(file.get(), photo.st_mode & 0666) == 0 && WriteAll(file.get(), jpeg) &&
        futimens(file.get(), times) == 0 && rename(temporary.c_str(), path.c_str()) == 0) {
        return 0;
    }
    const int error = errno;
    if (file) unlink(temporary.c_str());
    return error;
}

/// @return 0 or an errno value.
int Store(const std::string& folder, const Thumbnails& thumbnails, const struct stat& photo) {
    if (!MakeFolder(std::string(DirName(folder))) || !MakeFolder(folder)) return errno;
    int error = WriteThumbnail(folder + "/" + std::string(kThumbnailNames[0]), thumbnails.small, photo);
    if (error == 0) error = WriteThumbnail(folder + "/" + std::string(kThumbnailNames[1]), thumbnails.big, photo);
    return error;
}

std::optional<Thumbnails> Render(const std::string& photo_path) {
    std::string flaw;
    std::optional<Thumbnails> thumbnails;
    if (const std::optional<std::string> picture = ReadPhotoPicture(photo_path, flaw)) {
        thumbnails = RenderThumbnails(*picture, flaw);
    }
    if (!flaw.empty()) {
        DMSPrintf(0, thumbnails ? "photo \"%s\" is damaged: %s" : "could not make thumbnails of \"%s\": %s",
                  photo_path.c_str(), flaw.c_str());
    }
    return thumbnails;
}

}  // namespace

void ThumbnailPass::AddAll() {
    all_ = true;
    directories_.clear();
    last_id_ = 0;
}

void ThumbnailPass::AddDirectory(std::int32_t directory) {
    directories_.insert(directory);
    if (directories_.size() > kMostDirectories) return AddAll();
    if (!all_) last_id_ = 0;
}

std::size_t ThumbnailPass::MakeSome(LibraryTables& tables) {
    const std::vector<KnownRow> photos = tables.PhotosAfter(last_id_, all_ ? nullptr : &directories_, kPortion);
    const bool is_last = photos.size() < kPortion;
    if (is_last && !all_) directories_.clear();
    if (is_last) all_ = false;
    last_id_ = is_last ? 0 : photos.back().id;
    return MakeEach(photos);
}

std::size_t ThumbnailPass::MakeEach(std::span<const KnownRow> photos) {
    std::atomic<std::size_t> next = 0, made = 0;
    const auto work = [&] {
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNiceness);
        for (std::size_t i = 0; !stop_ && (i = next++) < photos.size();) made += TryMake(photos[i].path) ? 1 : 0;
    };
    std::array<std::jthread, kThreads> threads;
    std::generate(threads.begin(), threads.end(), [&] { return std::jthread(work); });
    for (std::jthread& thread : threads) thread.join();
    return made;
}

/// A photo that takes more memory than there is costs its thumbnails only.
bool ThumbnailPass::TryMake(const std::string& photo_path) {
    try {
        return Make(photo_path);
    } catch (const std::exception& error) {
        DMSPrintf(0, "could not make thumbnails of \"%s\": %s", photo_path.c_str(), error.what());
        return false;
    }
}

bool ThumbnailPass::Make(const std::string& photo_path) {
    struct stat photo;
    if (stat(photo_path.c_str(), &photo) != 0) return false;
    const std::string folder = PhotoThumbnailFolder(photo_path);
    if (std::all_of(std::begin(kThumbnailNames), std::end(kThumbnailNames),
                    [&](std::string_view name) { return IsAsOldAs(folder + "/" + std::string(name), photo); })) {
        return false;
    }
    int error = AskToWrite(folder);
    const std::optional<Thumbnails> thumbnails = error == 0 ? Render(photo_path) : std::nullopt;
    if (thumbnails) error = Store(folder, *thumbnails, photo);
    if (error != 0) LogUnwritable(photo_path, error);
    return error == 0 && thumbnails;
}

void ThumbnailPass::LogUnwritable(const std::string& photo_path, int error) {
    const MediaFolder* folder = folders_.Find(photo_path);
    const std::string path = folder ? folder->path : std::string(DirName(photo_path));
    const std::scoped_lock lock(mutex_);
    if (!unwritable_.insert(path).second) return;
    DMSPrintf(0, "could not write thumbnails into shared folder \"%s\": %s; they are made when they are asked for",
              path.c_str(), std::strerror(error));
}

void RemoveStaleThumbnails(const std::string& directory) {
    const std::string top = directory + "/" + std::string(kThumbnailFolder);
    const auto names = NamesIn(top);
    if (!names) return;
    std::vector<std::string> gone;
    for (const std::string& name : *names) {
        struct stat status;
        if (lstat((directory + "/" + name).c_str(), &status) != 0 && errno == ENOENT) gone.push_back(name);
    }
    for (const std::string& name : gone) {
        const std::string folder = top + "/" + name;
        for (const std::string_view thumbnail : kThumbnailNames)
            unlink((folder + "/" + std::string(thumbnail)).c_str());
        rmdir(folder.c_str());
    }
    if (!gone.empty()) rmdir(top.c_str());
}

}  // namespace MediaServer
