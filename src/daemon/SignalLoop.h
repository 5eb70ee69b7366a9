#pragma once

#include <csignal>

namespace MediaServer {

class DMSDevice;

/// The signals that drive the daemon. They are blocked in every thread and taken one by one by the main thread, so what
/// they ask for runs as ordinary code, which may lock and write files.
class SignalLoop {
public:
    /// Blocks the signals in this thread and all that it starts. Make it before the first thread.
    /// @param in_foreground  the terminal's interrupt key stops, too.
    explicit SignalLoop(bool in_foreground);

    /// Carries out what signals ask for until one asks to stop. A request made before the call is honoured.
    void Run(DMSDevice& device);

private:
    sigset_t signals_;
};

}  // namespace MediaServer
