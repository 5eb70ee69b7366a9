#include "daemon/SignalLoop.h"

#include <ctime>
#include <exception>

#include "platform/system/Log.h"
#include "service/DMSDevice.h"

namespace MediaServer {
namespace {

constexpr timespec kStep{3, 0};

struct SignalAction {
    int number;
    void (*action)(DMSDevice&);
    bool stops;
};
constexpr SignalAction kActions[] = {
    {SIGTERM, [](DMSDevice& device) { device.WriteToFile(); }, true},
    {SIGINT, [](DMSDevice& device) { device.WriteToFile(); }, true},
    {SIGHUP, [](DMSDevice& device) { device.RereadOptions(); }, false},
    {SIGUSR1, [](DMSDevice& device) { device.IncrementSystemUpdateID(); }, false},
    {SIGUSR2, [](DMSDevice& device) { device.ReloadClients(); }, false},
    {SIGCONT, [](DMSDevice& device) { device.RefreshIndexLocations(); }, false},
};

}  // namespace

SignalLoop::SignalLoop(bool in_foreground) {
    sigemptyset(&signals_);
    for (const SignalAction& row : kActions) {
        // Detached, the interrupt key means nothing, and SIGINT keeps what the system does with it.
        if (row.number != SIGINT || in_foreground) sigaddset(&signals_, row.number);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    // A client that hangs up while it is being written to is an ordinary error of that write.
    std::signal(SIGPIPE, SIG_IGN);
}

void SignalLoop::Run(DMSDevice& device) {
    bool is_stopping = false;
    while (!is_stopping) {
        const int number = sigtimedwait(&signals_, nullptr, &kStep);
        for (const SignalAction& row : kActions) {
            if (row.number != number) continue;
            is_stopping = row.stops;
            try {
                row.action(device);
            } catch (const std::exception& error) {
                DMSPrintf(0, "could not do what signal %d asks for: %s", number, error.what());
            }
        }
    }
}

}  // namespace MediaServer
