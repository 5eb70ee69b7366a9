#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>

namespace MediaServer {

/// Owns one file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

/// What tells a file's content from another's without reading it. Times are nanoseconds since the epoch.
struct FileState {
    std::int64_t size = 0;
    std::int64_t mtime = 0;
    std::int64_t inode = 0;
    bool operator==(const FileState&) const = default;
};
FileState StateOf(const struct stat& status);
/// State of what lies at `path` (symbolic links followed); nothing, with errno set, when nothing does.
std::optional<FileState> StateOf(const std::string& path);

/// Reads one key of a key=value file into `buffer` (nul-terminated, at most `size` - 1 characters are kept).
/// Lines are `key=value`; blanks around both, a pair of double quotes around the value, empty lines and lines that
/// start with '#' are ignored. The first line with the key wins. `flags` is reserved and 0.
/// @return length of the stored value plus one (so a found empty value is above 0), 0 when the key is absent,
///         -1 when the file cannot be read.
int NLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, std::size_t size, int flags);

/// @return true when something exists at `path` (symbolic links followed).
bool NLIBCFileExist(const char* path);

/// The error that the last failing NLIBC call of this thread met (an errno value), 0 when none.
int NLIBCErrGet();
/// Sets it; for the calls of that family in other folders.
void NLIBCErrSet(int error);

/// Takes the next line off `rest`: without its line ending, blanks at both ends dropped, empty lines and lines that
/// start with '#' skipped (a byte order mark as well). @return false at the end. `line` points into the text.
bool NextConfigLine(std::string_view& rest, std::string_view& line);

/// A line "key=value" taken apart: blanks around both and a pair of double quotes around the value are dropped. Nothing
/// without a '=' or without a key. The views point into the line.
std::optional<std::pair<std::string_view, std::string_view>> ParseKeyValue(std::string_view line);

/// `text` without the blanks (space, tab, line ends) at both ends.
std::string_view TrimBlanks(std::string_view text);

/// Largest configuration file that is read; no file of the package comes near it.
inline constexpr std::size_t kMaxConfigFileBytes = 1024 * 1024;

/// Reads a whole regular file of at most `limit` bytes. Nothing, with errno set, when it cannot be read or is larger.
std::optional<std::string> ReadWholeFile(const std::string& path, std::size_t limit);

/// Replaces `path` so that a crash at any moment leaves either the old or the new content: temporary file beside it,
/// fsync, rename, fsync of the directory. Temporary files of earlier writes that a crash ended go.
/// @return false with errno set; the old file then stands.
bool WriteFileAtomically(const std::string& path, std::string_view content);

/// Writes all of `content` to a descriptor, whatever interrupts. @return false with errno set.
bool WriteAll(int fd, std::string_view content);

/// Copies a regular file. @return false when either side cannot be opened or the copy is short.
bool FileCopy(const std::string& from, const std::string& to);

}  // namespace MediaServer
