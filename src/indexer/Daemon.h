#pragma once

namespace MediaServer {

/// Tells a running daemon that the library changed (SIGUSR1). Nothing happens when none runs: the number in the pid
/// file is trusted only while it names a process of that program.
/// @return true when a daemon was told.
bool NotifyDaemon();

}  // namespace MediaServer
