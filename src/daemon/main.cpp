#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <getopt.h>
#include <malloc.h>
#include <unistd.h>

#include "daemon/PidFile.h"
#include "daemon/SignalLoop.h"
#include "platform/system/Log.h"
#include "service/DMSDevice.h"

namespace MediaServer {
namespace {

/// True when --foreground is given. The other switches are the option table's; they are known here only so that their
/// arguments are not taken for switches.
bool WantsForeground(int argc, char** argv) {
    enum { kForeground = 1, kOther };
    const option options[] = {{"foreground", no_argument, nullptr, kForeground},
                              {"localserver", no_argument, nullptr, kOther},
                              {"menustyle", required_argument, nullptr, kOther},
                              {nullptr, 0, nullptr, 0}};
    std::vector<char*> arguments(argv, argv + argc);
    arguments.push_back(nullptr);
    bool is_wanted = false;
    optind = 0;
    opterr = 0;
    for (int found; (found = getopt_long_only(argc, arguments.data(), "", options, nullptr)) != -1;) {
        is_wanted = is_wanted || found == kForeground;
    }
    return is_wanted;
}

/// The C library gives every thread an arena of its own, and what a page took back to the kernel as soon as it is sent:
/// the next page then begins with a page fault for every 4 KiB. Two arenas, each of which keeps a large page's worth.
void TuneMemory() {
    constexpr int kArenas = 2;
    constexpr int kKeptBytes = 4 << 20;
    mallopt(M_ARENA_MAX, kArenas);
    mallopt(M_TRIM_THRESHOLD, kKeptBytes);
    mallopt(M_MMAP_THRESHOLD, kKeptBytes);
}

int Main(int argc, char** argv) {
    TuneMemory();
    const bool in_foreground = WantsForeground(argc, argv);
    PidFile pid_file(argv[0]);
    if (const pid_t holder = pid_file.Lock(); holder != 0) {
        // Between its lock and its first write the other server's file does not tell its number.
        const std::string process = holder > 0 ? " as process " + std::to_string(holder) : "";
        std::fprintf(stderr, "%s: the server is already running%s (\"%s\"); stop it first\n", argv[0], process.c_str(),
                     pid_file.Path().c_str());
        SysLogError("could not start: the server is already running%s", process.c_str());
        return EXIT_FAILURE;
    }
    if (in_foreground) {
        DMSLOGToStderr(true);
    } else if (daemon(0, 0) != 0) {
        SysLogError("Failed to daemonize %s", argv[0]);
        pid_file.Remove();
        return EXIT_FAILURE;
    }
    // Before the file names this process: who reads it may send a signal at once.
    SignalLoop signals(in_foreground);
    pid_file.Write();
    DMSDevice& device = DMSDevice::Instance();
    device.Start(argc, argv);

    // Detached, a failed start waits for SIGTERM like a good one: service managers of the system know no other sign of
    // life, and the reason stands in the log. At a terminal somebody waits for an answer.
    const bool gives_up = in_foreground && !device.IsOnline();
    if (gives_up) {
        std::fprintf(stderr, "%s: could not start: %s\n", argv[0], device.StartProblem().c_str());
    } else {
        signals.Run(device);
    }
    device.Stop();
    pid_file.Remove();
    return gives_up ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace
}  // namespace MediaServer

int main(int argc, char** argv) {
    return MediaServer::Main(argc, argv);
}
