#include "platform/system/Log.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <syslog.h>

#include "platform/system/LogLimit.h"

namespace MediaServer {

namespace {

/// What strangers can make us write stays within this, whatever they do.
constexpr std::size_t kLogFileBytes = 5 * 1024 * 1024;
constexpr std::size_t kOldLogFiles = 3;
/// From this level on a message may be a whole document, which keeps its lines.
constexpr int kDocumentLevel = 4;
constexpr int kErrorsAndRejectedInput = 1;

// Read by every call, so that a message nobody wants costs one load.
std::atomic<int> log_level{kErrorsAndRejectedInput};

class LogFile {
public:
    bool Open(const char* path) {
        const std::scoped_lock lock(mutex_);
        try {
            file_ = std::make_unique<spdlog::sinks::rotating_file_sink_st>(path, kLogFileBytes, kOldLogFiles);
            SetPattern(*file_);
        } catch (const std::exception&) {
            file_.reset();
        }
        return file_ != nullptr;
    }
    void CopyToStderr(bool enabled) {
        const std::scoped_lock lock(mutex_);
        stderr_ = enabled ? std::make_unique<spdlog::sinks::stderr_sink_st>() : nullptr;
        if (stderr_) SetPattern(*stderr_);
    }
    void Close() {
        const std::scoped_lock lock(mutex_);
        file_.reset();
    }
    void Write(int level, std::string_view text) {
        const spdlog::details::log_msg message({}, {}, SpdlogLevel(level), {text.data(), text.size()});
        const std::scoped_lock lock(mutex_);
        WriteTo(file_.get(), message);
        WriteTo(stderr_.get(), message);
    }
    void WriteToStderr(std::string_view text) {
        const spdlog::details::log_msg message({}, {}, spdlog::level::err, {text.data(), text.size()});
        const std::scoped_lock lock(mutex_);
        WriteTo(stderr_.get(), message);
    }

private:
    static spdlog::level::level_enum SpdlogLevel(int level) {
        constexpr spdlog::level::level_enum kLevels[] = {spdlog::level::err, spdlog::level::warn, spdlog::level::info,
                                                         spdlog::level::debug, spdlog::level::trace};
        return kLevels[std::clamp(level, 0, 4)];
    }
    static void SetPattern(spdlog::sinks::sink& sink) { sink.set_pattern("%Y-%m-%d %H:%M:%S.%e [%P.%t] %l: %v"); }
    static void WriteTo(spdlog::sinks::sink* sink, const spdlog::details::log_msg& message) {
        if (sink == nullptr) return;
        try {
            sink->log(message);
            sink->flush();
        } catch (const std::exception&) {
            // A full disk must not take the server down; the next line is tried again.
        }
    }

    std::mutex mutex_;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st> file_;  // guarded by mutex_; null until opened
    std::unique_ptr<spdlog::sinks::stderr_sink_st> stderr_;       // guarded by mutex_; null unless wanted
};

LogFile& Log() {
    // Never destroyed: threads of libraries may still log while the process runs its exit handlers.
    static LogFile* const log = new LogFile;
    return *log;
}

[[gnu::format(printf, 1, 0)]] std::string Format(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char stack[1024];
    const int needed = vsnprintf(stack, sizeof stack, format, arguments);
    std::string text;
    if (needed >= static_cast<int>(sizeof stack)) {
        text.resize(static_cast<std::size_t>(needed) + 1);
        (void)vsnprintf(text.data(), text.size(), format, again);
        text.pop_back();
    } else if (needed > 0) {
        text.assign(stack, static_cast<std::size_t>(needed));
    }
    va_end(again);
    return text;
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// One record of the log: a value with line feeds in it cannot pass for a line of its own. Line feeds at both ends
/// belong to the format and go; inside a document they become indented lines.
std::string OneRecord(int level, std::string_view text) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    while (text.starts_with('\n')) text.remove_prefix(1);
    std::string record;
    record.reserve(text.size());
    for (const char c : text) {
        if (c == '\n' && level >= kDocumentLevel) {
            record += "\n\t";
        } else if (c == '\n') {
            record += "\\n";
        } else if (IsControl(c) && c != '\t') {
            constexpr char kHex[] = "0123456789abcdef";
            record.append("\\x").push_back(kHex[static_cast<unsigned char>(c) >> 4]);
            record.push_back(kHex[c & 0xF]);
        } else {
            record.push_back(c);
        }
    }
    return record;
}

}  // namespace

bool DMSLOGInit(const char* path) {
    return Log().Open(path);
}
void DMSLOGToStderr(bool enabled) {
    Log().CopyToStderr(enabled);
}
void DMSLOGSetLevel(int level) {
    log_level.store(level, std::memory_order_relaxed);
}
int DMSLOGGetLevel() {
    return log_level.load(std::memory_order_relaxed);
}
void DMSLogClose() {
    Log().Close();
}

void DMSPrintf(int level, const char* format, ...) {
    if (level > DMSLOGGetLevel()) return;
    const int saved_errno = errno;
    va_list arguments;
    va_start(arguments, format);
    try {
        Log().Write(level, OneRecord(level, Format(format, arguments)));
    } catch (const std::bad_alloc&) {
        // Those who log have failed already; a line less does not make it worse.
    }
    va_end(arguments);
    errno = saved_errno;
}

void SysLogError(const char* format, ...) {
    const int saved_errno = errno;
    va_list arguments;
    va_start(arguments, format);
    static LogLimit limit;
    try {
        if (const auto left_out = limit.Admit()) {
            if (*left_out > 0) syslog(LOG_ERR, "left out %llu messages", *left_out);
            const std::string text = OneRecord(0, Format(format, arguments));
            syslog(LOG_ERR, "%s", text.c_str());
            Log().WriteToStderr(text);
        }
    } catch (const std::bad_alloc&) {
        // As above.
    }
    va_end(arguments);
    errno = saved_errno;
}

}  // namespace MediaServer
