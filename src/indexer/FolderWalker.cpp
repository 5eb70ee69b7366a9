#include "indexer/FolderWalker.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <fcntl.h>

#include "indexer/MediaTypes.h"
#include "platform/media/CoverArt.h"
#include "platform/media/MediaUrl.h"
#include "platform/system/Directory.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// An index entry of the database must fit a third of a page.
constexpr std::size_t kMaxPathBytes = 2000;
constexpr int kMaxDepth = 100;

struct Freer {
    void operator()(char* text) const { std::free(text); }
};

bool IsBelow(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path[folder.size()] == '/' && path.starts_with(folder);
}

/// Beside songs, a picture that is called like a cover is one: nobody looks for it among the photos.
void DropCoversOfMusic(std::vector<FoundFile>& files) {
    const auto is_song = [](const FoundFile& file) { return file.kind == MediaKind::Music; };
    if (std::none_of(files.begin(), files.end(), is_song)) return;
    const std::vector<std::string>& covers = GetCoverList();
    std::erase_if(files, [&](const FoundFile& file) {
        return file.kind == MediaKind::Photo && std::find(covers.begin(), covers.end(), file.name) != covers.end();
    });
}

bool IsNfo(std::string_view name) {
    return EqualsIgnoreCase(PathExtension(name), "nfo");
}

std::int64_t NextStamp(std::int64_t stamp, const std::string& name, const FileState& state) {
    const std::string text = name + "/" + std::to_string(state.mtime) + "/" + std::to_string(state.size);
    auto hash = static_cast<std::uint64_t>(stamp);
    for (const char c : text) hash = (hash * 1099511628211U) ^ static_cast<unsigned char>(c);
    return static_cast<std::int64_t>(hash);
}

}  // namespace

const char* ProblemOfPath(const std::string& path) {
    if (!IsUtf8(path)) return "its name is not UTF-8";
    return path.size() > kMaxPathBytes ? "its path is too long" : nullptr;
}

FolderSet::FolderSet(std::vector<MediaFolder> folders) : folders_(std::move(folders)) {}

std::vector<MediaFolder> FolderSet::Outermost() const {
    std::vector<MediaFolder> outermost;
    std::copy_if(folders_.begin(), folders_.end(), std::back_inserter(outermost), [&](const MediaFolder& folder) {
        return std::none_of(folders_.begin(), folders_.end(),
                            [&](const MediaFolder& other) { return IsBelow(folder.path, other.path); });
    });
    return outermost;
}

const MediaFolder* FolderSet::Find(const std::string& path) const {
    const auto found = std::find_if(folders_.begin(), folders_.end(), [&](const MediaFolder& folder) {
        return path == folder.path || IsBelow(path, folder.path);
    });
    return found == folders_.end() ? nullptr : &*found;
}

bool FolderSet::Shares(const std::string& path, MediaKind kind) const {
    return std::any_of(folders_.begin(), folders_.end(), [&](const MediaFolder& folder) {
        if (path != folder.path && !IsBelow(path, folder.path)) return false;
        switch (kind) {
            case MediaKind::Video:
                return folder.video;
            case MediaKind::Photo:
                return folder.photo;
            default:
                return folder.music;  // playlists are lists of songs
        }
    });
}

void FolderWalker::LogLeftOut(const char* what, const std::string& path, const char* reason) const {
    if (log_) DMSPrintf(0, "could not read %s\"%s\": %s", what, path.c_str(), reason);
}

void FolderWalker::Walk(const std::string& path, std::int32_t id, const Visitor& visit) {
    linked_.clear();
    Walk(path, id, 0, visit);
}

void FolderWalker::Walk(const std::string& path, std::int32_t id, int depth, const Visitor& visit) {
    if (depth > kMaxDepth) return LogLeftOut("directory ", path, "nested too deeply");
    Listing listing;
    listing.path = path;
    listing.id = id;
    if (stop_) return;
    if (listener_) listener_(path);
    if (!List(listing)) return;
    visit(listing);
    listing.files = {};
    for (const FoundDirectory& directory : listing.directories) {
        if (directory.descend) Walk(path + "/" + directory.name, directory.id, depth + 1, visit);
    }
}

bool FolderWalker::List(Listing& listing) {
    UniqueFd handle(open(listing.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status;
    if (!handle || fstat(handle.get(), &status) != 0) {
        LogLeftOut("directory ", listing.path, std::strerror(errno));
        return false;
    }
    listing.state = StateOf(status);
    const UniqueDirectory directory(fdopendir(handle.get()));
    if (!directory) return false;
    const int descriptor = handle.release();
    const auto names = NamesIn(directory.get());
    if (!names) LogLeftOut("directory ", listing.path, std::strerror(errno));
    if (!names) return false;
    for (const std::string& name : *names) {
        if (!name.starts_with('.') && name != kThumbnailFolder) AddEntry(listing, descriptor, name);
    }
    DropCoversOfMusic(listing.files);
    return true;
}

void FolderWalker::AddEntry(Listing& listing, int directory, const std::string& name) {
    struct stat status, target;
    if (fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    const bool is_link = S_ISLNK(status.st_mode);
    if (fstatat(directory, name.c_str(), &target, 0) != 0) return;
    const std::optional<MediaKind> kind = FindMediaKind(name);
    if (S_ISREG(target.st_mode) && IsNfo(name) && folders_.Shares(listing.path, MediaKind::Video)) {
        listing.nfo_stamp = NextStamp(listing.nfo_stamp, name, StateOf(target));
        return;
    }
    const bool is_file = S_ISREG(target.st_mode) && kind && folders_.Shares(listing.path, *kind);
    if (!is_file && !S_ISDIR(target.st_mode)) return;

    const std::string path = listing.path + "/" + name;
    if (const char* problem = ProblemOfPath(path)) return LogLeftOut("", path, problem);
    if (is_file) {
        listing.files.push_back({name, *kind, StateOf(target)});
    } else if (MayFollow(is_link ? path : std::string(), target)) {
        listing.directories.push_back({name, StateOf(target)});
    }
}

/// @param link  path of the link that leads to the directory, empty for the directory itself.
bool FolderWalker::MayFollow(const std::string& link, const struct stat& target) {
    const std::pair identity(target.st_dev, target.st_ino);
    if (link.empty()) return !linked_.contains(identity);
    const std::unique_ptr<char, Freer> real(realpath(link.c_str(), nullptr));
    return real && !folders_.Contains(real.get()) && linked_.insert(identity).second;
}

}  // namespace MediaServer
