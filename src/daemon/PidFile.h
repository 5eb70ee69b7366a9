#pragma once

#include <string>

#include <sys/types.h>

#include "platform/system/Files.h"

namespace MediaServer {

/// The file that names the running process, "/var/run/<base name>.pid", locked for as long as the process lives. The
/// lock tells a running server from a file that a crash left behind, and from another program that got the same number
/// since.
class PidFile {
public:
    /// @param program  path of the program; what follows its last slash names the file.
    explicit PidFile(const std::string& program);

    /// Takes the lock. Survives a fork, so it is taken before the process detaches, while a terminal can still be told.
    /// @return 0; the id of the server that holds it (-1 when the file does not tell). A file that cannot be made
    ///         or locked is logged and counts as taken: a server without a pid file is better than none.
    pid_t Lock();
    /// Writes the id of this process. Failures go to the system log.
    void Write();
    /// Removes the file, if it is this process's own.
    void Remove();

    const std::string& Path() const { return path_; }

private:
    const std::string path_;
    UniqueFd file_;
};

}  // namespace MediaServer
