#include "gateway/FfmpegProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// The header of glibc 2.36 forgets to say that it is C.
extern "C" {
#include <sys/pidfd.h>
}

#include "platform/demux/MediaFormat.h"

namespace MediaServer {
namespace {

using Clock = std::chrono::steady_clock;

struct Bound {
    __rlimit_resource resource;
    rlim_t most;
};
constexpr Bound kBounds[] = {
    {RLIMIT_AS, rlim_t{2} << 30},  // what is mapped; a film in high definition needs a fraction
    {RLIMIT_CPU, 6 * 3600},        // seconds; longer than any film
    {RLIMIT_NOFILE, 64},          {RLIMIT_FSIZE, 0}, {RLIMIT_CORE, 0},
};

pid_t Spawn(std::vector<std::string> command, int output) {
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The signals that this process blocks or ignores must end the child.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    pid_t pid = -1;
    if (posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), environ) != 0) pid = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/// Waits until the descriptor can be read. @return false when that is not before the deadline.
bool WaitFor(int descriptor, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waiting{descriptor, POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(std::clamp<long long>(left, 0, 3'600'000)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

}  // namespace

FfmpegInput FfmpegInput::File(const std::string& path, std::uint64_t first_second) {
    FfmpegInput input{{"-protocol_whitelist", "file,pipe"}, "file:" + path};
    if (first_second > 0) input.options.insert(input.options.end(), {"-ss", std::to_string(first_second)});
    return input;
}

FfmpegInput FfmpegInput::Station(const std::string& url) {
    // In microseconds: what connecting or the next byte may take, and how much is listened to before the first sound.
    return {{"-protocol_whitelist", "http,https,tls,tcp", "-rw_timeout", "10000000", "-icy", "0", "-probesize", "65536",
             "-analyzeduration", "1000000"},
            url};
}

FfmpegProcess::FfmpegProcess(const FfmpegInput& input, const std::vector<std::string>& output) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    output_.reset(ends[0]);
    const UniqueFd pipe(ends[1]);
    std::vector<std::string> command = {"ffmpeg", "-loglevel",         "quiet",      "-nostdin", "-threads",
                                        "1",      "-format_whitelist", kMediaFormats};
    command.insert(command.end(), input.options.begin(), input.options.end());
    command.insert(command.end(), {"-i", input.url});
    command.insert(command.end(), output.begin(), output.end());
    command.insert(command.end(), {"-threads", "1", "-"});
    pid_ = Spawn(std::move(command), pipe.get());
    for (const Bound& bound : kBounds) {
        const rlimit limit{bound.most, bound.most};
        if (pid_ > 0) prlimit(pid_, bound.resource, &limit, nullptr);
    }
}

FfmpegProcess::~FfmpegProcess() {
    if (pid_ <= 0) return;
    kill(-pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

std::ptrdiff_t FfmpegProcess::Read(char* buffer, std::size_t size, Clock::time_point deadline) {
    if (pid_ <= 0 || !WaitFor(output_.get(), deadline)) return -1;
    const ssize_t count = read(output_.get(), buffer, size);
    if (count != 0) return count;
    return HasSucceeded(deadline) ? 0 : -1;
}

bool FfmpegProcess::HasSucceeded(Clock::time_point deadline) {
    const UniqueFd process(pidfd_open(pid_, 0));
    if (!process || !WaitFor(process.get(), deadline)) return false;
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace MediaServer
