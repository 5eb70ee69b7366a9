#include "platform/system/Files.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "platform/system/Directory.h"

namespace MediaServer {

namespace {

thread_local int last_error = 0;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kTemporary = ".new-";  // what a file is called until it is whole: its name, this, six more
constexpr std::time_t kAbandonedSeconds = 60;     // no write takes that long

/// Access bits for the new file: those of the file it replaces, else what a plain creation would give.
mode_t ModeFor(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) return status.st_mode & 07777;
    constexpr mode_t kUsual = 0644;
    return kUsual;
}

/// With the slash at its end, so that a name can be put behind it.
std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

void SyncDirectory(const std::string& directory) noexcept {
    const UniqueFd fd{open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    // Some file systems cannot sync a directory; the rename has happened either way.
    if (fd) (void)fsync(fd.get());
}

/// Removes what writers of `path` left behind that were killed at it.
void RemoveAbandoned(const std::string& directory, const std::string& path) {
    const std::string start = path.substr(path.rfind('/') + 1).append(kTemporary);
    const std::time_t oldest = std::time(nullptr) - kAbandonedSeconds;
    const auto names = NamesIn(directory);
    if (!names) return;
    for (const std::string& name : *names) {
        if (!name.starts_with(start)) continue;
        const std::string left = directory + name;
        struct stat status {};
        if (stat(left.c_str(), &status) == 0 && status.st_mtim.tv_sec < oldest) (void)unlink(left.c_str());
    }
}

}  // namespace

void UniqueFd::reset(int fd) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
}

FileState StateOf(const struct stat& status) {
    return {status.st_size, std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
            static_cast<std::int64_t>(status.st_ino)};
}

std::optional<FileState> StateOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::optional{StateOf(status)} : std::nullopt;
}

int NLIBCErrGet() {
    return last_error;
}
void NLIBCErrSet(int error) {
    last_error = error;
}

std::string_view TrimBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool NextConfigLine(std::string_view& rest, std::string_view& line) {
    while (!rest.empty()) {
        if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
        const std::size_t end = rest.find('\n');
        line = TrimBlanks(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
        if (!line.empty() && line.front() != '#') return true;
    }
    return false;
}

std::optional<std::pair<std::string_view, std::string_view>> ParseKeyValue(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view key = TrimBlanks(line.substr(0, equals));
    if (key.empty()) return std::nullopt;
    std::string_view value = TrimBlanks(line.substr(equals + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return std::pair{key, value};
}

int NLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, std::size_t size, int /*flags*/) {
    const std::optional<std::string> text = ReadWholeFile(path, kMaxConfigFileBytes);
    if (!text) {
        NLIBCErrSet(errno);
        return -1;
    }
    std::string_view rest = *text;
    for (std::string_view line; NextConfigLine(rest, line);) {
        const auto pair = ParseKeyValue(line);
        if (!pair || pair->first != key) continue;
        if (size == 0) return 1;
        const std::size_t stored = pair->second.copy(buffer, size - 1);
        buffer[stored] = '\0';
        return static_cast<int>(stored) + 1;
    }
    return 0;
}

bool NLIBCFileExist(const char* path) {
    struct stat status {};
    if (stat(path, &status) == 0) return true;
    NLIBCErrSet(errno);
    return false;
}

std::optional<std::string> ReadWholeFile(const std::string& path, std::size_t limit) {
    // Without O_NONBLOCK the open of a named pipe would wait for its writer.
    const UniqueFd fd{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    struct stat status {};
    if (!fd || fstat(fd.get(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return std::nullopt;
    }
    std::string content;
    constexpr std::size_t kStep = 16384;
    while (true) {
        // Files under /proc tell no size, so the read goes on until the end shows.
        const std::size_t filled = content.size();
        content.resize(filled + kStep);
        const ssize_t got = read(fd.get(), content.data() + filled, kStep);
        content.resize(filled + static_cast<std::size_t>(got > 0 ? got : 0));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) return content;
        if (content.size() > limit) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

bool WriteFileAtomically(const std::string& path, std::string_view content) {
    // Whatever needs memory comes before the new file: a caller that is told of a failure finds the old one.
    const std::string directory = DirectoryOf(path);
    RemoveAbandoned(directory, path);
    std::string temporary = std::string(path).append(kTemporary).append("XXXXXX");
    UniqueFd fd{mkostemp(temporary.data(), O_CLOEXEC)};
    if (!fd) return false;
    const bool written = fchmod(fd.get(), ModeFor(path)) == 0 && WriteAll(fd.get(), content) && fsync(fd.get()) == 0 &&
                         rename(temporary.c_str(), path.c_str()) == 0;
    if (!written) {
        const int error = errno;
        (void)unlink(temporary.c_str());
        errno = error;
        return false;
    }
    SyncDirectory(directory);
    return true;
}

bool WriteAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool FileCopy(const std::string& from, const std::string& to) {
    std::error_code error;
    const bool copied =
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error) && !error;
    if (!copied) errno = error.value();
    return copied;
}

}  // namespace MediaServer
