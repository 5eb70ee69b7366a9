#include "daemon/PidFile.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Opens the file and locks it. @return false when it cannot be opened (`file` is then none) or locked.
bool OpenLocked(const std::string& path, UniqueFd& file) {
    // A server that ends removes the file before it unlocks it: who opened it in between has locked what is gone.
    for (int attempts = 3; attempts > 0; --attempts) {
        // Not truncated before the lock is ours: the file may be another server's.
        file.reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
        if (!file || flock(file.get(), LOCK_EX | LOCK_NB) != 0) return false;
        struct stat status {};
        if (fstat(file.get(), &status) != 0 || status.st_nlink > 0) break;
    }
    return true;
}

}  // namespace

PidFile::PidFile(const std::string& program)
    : path_(SystemPath("/var/run/" + program.substr(program.rfind('/') + 1) + ".pid")) {}

pid_t PidFile::Lock() {
    UniqueFd file;
    const bool is_locked = OpenLocked(path_, file);
    if (!file) {
        SysLogError("%s(%d): Failed to create %s. (%s)", DMS_SOURCE_FILE, __LINE__, path_.c_str(),
                    std::strerror(errno));
        return 0;
    }
    if (is_locked || errno != EWOULDBLOCK) {
        // Some file systems know no locks.
        if (!is_locked) SysLogError("could not lock \"%s\": %s", path_.c_str(), std::strerror(errno));
        file_ = std::move(file);
        return 0;
    }
    char text[32] = "";
    const ssize_t size = pread(file.get(), text, sizeof text - 1, 0);
    const pid_t holder = size > 0 ? ToInt(text) : 0;
    return holder > 0 ? holder : -1;
}

void PidFile::Write() {
    if (!file_) return;
    const std::string text = std::to_string(getpid());
    if (ftruncate(file_.get(), 0) != 0 ||
        pwrite(file_.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        SysLogError("%s(%d): fprintf pid failed. (%s)", DMS_SOURCE_FILE, __LINE__, std::strerror(errno));
    }
}

void PidFile::Remove() {
    if (!file_) return;
    unlink(path_.c_str());
    file_.reset();
}

}  // namespace MediaServer
