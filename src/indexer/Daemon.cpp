#include "indexer/Daemon.h"

#include <csignal>
#include <optional>
#include <string>

#include "platform/system/Files.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {

bool NotifyDaemon() {
    constexpr std::size_t kSmallFile = 64;
    const auto text = ReadWholeFile(SystemPath(kPidFileOfDaemon), kSmallFile);
    const int pid = text ? ToInt(*text) : 0;
    if (pid <= 1) return false;
    const auto program = ReadWholeFile("/proc/" + std::to_string(pid) + "/comm", kSmallFile);
    return program == "dms\n" && kill(pid, SIGUSR1) == 0;
}

}  // namespace MediaServer
