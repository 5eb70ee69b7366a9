#pragma once

#include <string>

#include <gtest/gtest.h>

#include "platform/system/Log.h"

namespace MediaServer {

/// Everything that is logged up to that level, or to the system log, while it lives.
class LogCapture {
public:
    explicit LogCapture(int level = 1) : level_before_(DMSLOGGetLevel()) {
        DMSLOGSetLevel(level);
        DMSLOGToStderr(true);
        testing::internal::CaptureStderr();
    }
    ~LogCapture() {
        if (!taken_) Text();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Ends the capture.
    std::string Text() {
        taken_ = true;
        DMSLOGToStderr(false);
        DMSLOGSetLevel(level_before_);
        return testing::internal::GetCapturedStderr();
    }

private:
    const int level_before_;
    bool taken_ = false;
};

}  // namespace MediaServer
