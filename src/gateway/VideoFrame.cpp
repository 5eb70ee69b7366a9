#include "gateway/VideoFrame.h"

#include <chrono>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gateway/EmbeddedArt.h"
#include "platform/system/Files.h"

namespace MediaServer {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{10};

/// A program that writes to a pipe. Killed, if it still runs, and collected when this goes.
class Child {
public:
    explicit Child(std::vector<std::string> command) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        output_.reset(ends[0]);
        const UniqueFd input(ends[1]);
        std::vector<char*> arguments;
        for (std::string& argument : command) arguments.push_back(argument.data());
        arguments.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        // The signals that this process blocks or ignores must end the child.
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        if (posix_spawnp(&pid_, arguments[0], &actions, &attributes, arguments.data(), environ) != 0) pid_ = -1;
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Child() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// All that it writes; empty when that is more than `limit` bytes or has not ended by the deadline.
    std::string ReadAll(std::size_t limit, Clock::time_point deadline) {
        std::string text;
        char buffer[65536];
        while (pid_ > 0 && text.size() <= limit) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            pollfd waiting{output_.get(), POLLIN, 0};
            if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) != 1) return {};
            const ssize_t count = read(output_.get(), buffer, sizeof buffer);
            if (count == 0) return text;
            if (count < 0) return {};
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return {};
    }

private:
    UniqueFd output_;
    pid_t pid_ = -1;
};

}  // namespace

std::string VideoFrame(const std::string& path) {
    const auto deadline = Clock::now() + kPatience;
    // Past the black of the first seconds, unless the video is shorter.
    for (const char* second : {"20", "0"}) {
        // Only files: a video may be a list that names addresses of the network.
        Child ffmpeg({"ffmpeg",    "-loglevel", "quiet", "-nostdin",   "-threads",     "1",     "-protocol_whitelist",
                      "file,pipe", "-ss",       second,  "-i",         "file:" + path, "-an",   "-sn",
                      "-frames:v", "1",         "-f",    "image2pipe", "-c:v",         "mjpeg", "-threads",
                      "1",         "-"});
        if (std::string frame = ffmpeg.ReadAll(kMaxPictureBytes, deadline); !frame.empty()) return frame;
    }
    return {};
}

}  // namespace MediaServer
