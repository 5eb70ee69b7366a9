// Loaded before the libraries of a program under test (LD_PRELOAD): the n-th call of one kind fails as the system would
// fail it. The test chooses kind and number in a file that both map; the program does not know.
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// As the test writes them.
enum Kind : std::int64_t { kNone, kAllocation, kRead, kWrite, kOpen, kThread, kQuery, kReceive, kSend, kSocket };

/// The file: what is to fail, and what has happened so far.
struct Control {
    std::atomic<std::int64_t> kind, fail_at, calls, failed;
};

Control* MapControl() {
    const char* path = std::getenv("DMS_FAULTS");
    const int fd = path ? static_cast<int>(openat(AT_FDCWD, path, O_RDWR | O_CLOEXEC)) : -1;
    if (fd < 0) return nullptr;
    void* memory = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return memory == MAP_FAILED ? nullptr : static_cast<Control*>(memory);
}

Control* control = nullptr;

/// Only then are the other constructors of the program sure to find the real functions.
__attribute__((constructor)) void Begin() {
    void* frame;
    backtrace(&frame, 1);  // the first call loads a library
    // What the program starts is its own business.
    if (std::strncmp(program_invocation_short_name, "dms", 3) == 0) control = MapControl();
}

bool Fails(Kind kind) {
    if (!control || control->kind.load(std::memory_order_relaxed) != kind) return false;
    if (control->calls.fetch_add(1) + 1 != control->fail_at.load()) return false;
    control->failed.fetch_add(1);
    // So that whoever looks for the reason of an end knows where it began.
    void* frames[40];
    backtrace_symbols_fd(frames, backtrace(frames, 40), STDERR_FILENO);
    return true;
}

template <typename Result>
Result Error(int error, Result result) {
    errno = error;
    return result;
}

/// A connection that is reset is so for reading, too.
ssize_t Reset(int fd) {
    shutdown(fd, SHUT_RDWR);
    return -1;
}

/// Descriptors of the kernel's own making (events, timers) do not fail.
bool MayFail(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && (S_ISREG(status.st_mode) || S_ISSOCK(status.st_mode));
}

template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int Open(const char* name, const char* path, int flags, va_list arguments) {
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
    return Fails(kOpen) ? Error(EMFILE, -1) : Next<int(const char*, int, ...)>(name)(path, flags, mode);
}

}  // namespace

void* operator new(std::size_t size) {
    if (Fails(kAllocation)) throw std::bad_alloc();
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

extern "C" {

/// A function of the system as before, unless it is to fail: then `failed` comes back, and errno is `error`.
#define FAILING(result, name, parameters, arguments, kind, error, failed)   \
    result name parameters {                                                \
        static const auto next = Next<result parameters>(#name);            \
        return Fails(kind) ? Error<result>(error, failed) : next arguments; \
    }

ssize_t read(int fd, void* buffer, size_t size) {
    static const auto next = Next<ssize_t(int, void*, size_t)>("read");
    return MayFail(fd) && Fails(kRead) ? Error<ssize_t>(EIO, -1) : next(fd, buffer, size);
}
ssize_t write(int fd, const void* buffer, size_t size) {
    static const auto next = Next<ssize_t(int, const void*, size_t)>("write");
    return MayFail(fd) && Fails(kWrite) ? Error<ssize_t>(ENOSPC, -1) : next(fd, buffer, size);
}
FAILING(ssize_t, recv, (int fd, void* buffer, size_t size, int flags), (fd, buffer, size, flags), kReceive, ECONNRESET,
        Reset(fd))
FAILING(ssize_t, send, (int fd, const void* buffer, size_t size, int flags), (fd, buffer, size, flags), kSend,
        ECONNRESET, Reset(fd))
FAILING(int, socket, (int domain, int type, int protocol), (domain, type, protocol), kSocket, EMFILE, -1)
FAILING(int, accept4, (int fd, sockaddr* address, socklen_t* size, int flags), (fd, address, size, flags), kSocket,
        EMFILE, -1)
// The names with 64 are what programs call that know large files.
int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int fd = Open("open", path, flags, arguments);
    va_end(arguments);
    return fd;
}
int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int fd = Open("open64", path, flags, arguments);
    va_end(arguments);
    return fd;
}
FAILING(FILE*, fopen64, (const char* path, const char* mode), (path, mode), kOpen, EMFILE, nullptr)
FAILING(DIR*, opendir, (const char* path), (path), kOpen, EMFILE, nullptr)
FAILING(int, mkostemp64, (char* name, int flags), (name, flags), kOpen, ENOSPC, -1)
FAILING(ssize_t, pread64, (int fd, void* buffer, size_t size, off64_t offset), (fd, buffer, size, offset), kRead, EIO,
        -1)
FAILING(ssize_t, sendfile64, (int socket, int file, off64_t* offset, size_t size), (socket, file, offset, size), kSend,
        EIO, -1)
FAILING(ssize_t, sendmsg, (int fd, const msghdr* message, int flags), (fd, message, flags), kSend, ECONNRESET,
        Reset(fd))
FAILING(int, fsync, (int fd), (fd), kWrite, EIO, -1)
FAILING(int, rename, (const char* from, const char* to), (from, to), kWrite, ENOSPC, -1)
FAILING(int, pthread_create,
        (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument),
        (thread, attributes, run, argument), kThread, EAGAIN, EAGAIN)
FAILING(int, PQsendQueryParams,
        (void* connection, const char* sql, int count, const unsigned* types, const char* const* values,
         const int* lengths, const int* formats, int result_format),
        (connection, sql, count, types, values, lengths, formats, result_format), kQuery, EIO, 0)
FAILING(int, PQsendPrepare, (void* connection, const char* name, const char* sql, int count, const unsigned* types),
        (connection, name, sql, count, types), kQuery, EIO, 0)
FAILING(int, PQsendQueryPrepared,
        (void* connection, const char* name, int count, const char* const* values, const int* lengths,
         const int* formats, int result_format),
        (connection, name, count, values, lengths, formats, result_format), kQuery, EIO, 0)

}  // extern "C"
