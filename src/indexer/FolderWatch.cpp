#include "indexer/FolderWatch.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/media/MediaUrl.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kQuietTime{1000};
/// A download that never pauses must not hide what is complete.
constexpr milliseconds kLongestCollection{10000};
/// More changed directories than this are cheaper to find again by a whole scan.
constexpr std::size_t kMaxDirectories = 1000;

constexpr std::uint32_t kEvents =
    IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;

/// A new file is looked at when its writer closes it; links and directories come complete.
bool IsUnfinishedFile(const inotify_event& event, const std::string& path) {
    if ((event.mask & IN_CREATE) == 0 || (event.mask & IN_ISDIR) != 0) return false;
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

}  // namespace

FolderWatch::FolderWatch(const std::string& folders_file)
    : inotify_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), folders_file_name_(BaseName(folders_file)) {
    if (!inotify_) {
        DMSPrintf(0, "could not watch the shared folders: %s; they are scanned again from time to time",
                  std::strerror(errno));
        complete_ = false;
        return;
    }
    folders_watch_ = inotify_add_watch(inotify_.get(), std::string(DirName(folders_file)).c_str(),
                                       IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE);
    if (folders_watch_ < 0) LogUnwatched(std::string(DirName(folders_file)), std::strerror(errno));
}

void FolderWatch::Add(const std::string& directory) {
    if (!inotify_) return;
    // The same directory under a new name has the same descriptor: its path is then brought up to date.
    const int watch = inotify_add_watch(inotify_.get(), directory.c_str(), kEvents);
    if (watch >= 0) {
        directories_.insert_or_assign(watch, directory);
    } else if (errno != ENOENT && errno != ENOTDIR && errno != EACCES) {  // there is nothing to see
        LogUnwatched(directory, errno == ENOSPC ? "the system's limit of watches is reached (raise "
                                                  "fs.inotify.max_user_watches)"
                                                : std::strerror(errno));
    }
}

/// Tells of the first directory only: it may be one of thousands.
void FolderWatch::LogUnwatched(const std::string& directory, const char* reason) {
    if (complete_) {
        DMSPrintf(0, "could not watch directory \"%s\": %s; the shared folders are scanned again from time to time",
                  directory.c_str(), reason);
    }
    complete_ = false;
}

FolderWatch::Changes FolderWatch::Wait(milliseconds patience) {
    Changes changes;
    if (!IsReadable(patience)) return changes;
    const auto limit = steady_clock::now() + kLongestCollection;
    do {
        Read(changes);
    } while (steady_clock::now() < limit && IsReadable(kQuietTime));
    if (changes.directories.size() > kMaxDirectories) changes.everything = true;
    return changes;
}

bool FolderWatch::IsReadable(milliseconds patience) const {
    pollfd descriptor = {inotify_.get(), POLLIN, 0};
    return poll(&descriptor, inotify_ ? 1 : 0, static_cast<int>(patience.count())) > 0;
}

void FolderWatch::Read(Changes& changes) {
    alignas(inotify_event) char buffer[16384];
    const ssize_t length = read(inotify_.get(), buffer, sizeof buffer);
    for (ssize_t at = 0; at < length;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(buffer + at);
        Take(event, changes);
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
}

void FolderWatch::Take(const inotify_event& event, Changes& changes) {
    const std::string_view name = event.len > 0 ? event.name : "";
    if ((event.mask & IN_Q_OVERFLOW) != 0 || (event.wd == folders_watch_ && name == folders_file_name_)) {
        changes.everything = true;
        return;
    }
    const auto directory = directories_.find(event.wd);
    if (directory == directories_.end()) return;
    if ((event.mask & IN_IGNORED) != 0) {
        directories_.erase(directory);
    } else if (!name.starts_with('.') && name != kThumbnailFolder &&
               !IsUnfinishedFile(event, directory->second + "/" + std::string(name))) {
        changes.directories.insert(directory->second);
    }
}

}  // namespace MediaServer
