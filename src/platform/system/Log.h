#pragma once

#include <cstdint>

namespace MediaServer {

/// Opens the log file (rotated by size, safe for any thread). Until it is open, DMSPrintf writes nothing.
/// @return false when the file cannot be opened; messages are then dropped.
bool DMSLOGInit(const char* path);

/// Copies every log line to standard error as well (a daemon in the foreground, the command-line programs).
void DMSLOGToStderr(bool enabled);

/// Messages above `level` are dropped: 0 errors, 1 rejected input, 2 information, 3 requests, 4 whole documents.
void DMSLOGSetLevel(int level);
int DMSLOGGetLevel();
void DMSLogClose();

/// Writes one line to the log when the configured level is at least `level`. A final newline in `format` is
/// optional; control characters that a client smuggled into a value are written escaped.
/// Threads: any, at once.
[[gnu::format(printf, 2, 3)]] void DMSPrintf(int level, const char* format, ...);

/// Writes to the system log at LOG_ERR: for what happens before the log is open, and for source-located errors.
[[gnu::format(printf, 1, 2)]] void SysLogError(const char* format, ...);

}  // namespace MediaServer

/// Base name of the current source file, as the source-located messages print it.
#define DMS_SOURCE_FILE (__builtin_strrchr(__FILE__, '/') ? __builtin_strrchr(__FILE__, '/') + 1 : __FILE__)
