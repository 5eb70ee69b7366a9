#include "platform/http/RefusalLog.h"

#include "platform/system/Log.h"

namespace MediaServer {

void RefusalLog::Note(int status, const std::string& client_address) {
    const std::lock_guard lock(mutex_);
    ++refused_;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    DMSPrintf(1, "refused %llu HTTP requests, the last from %s with status %d", refused_, client_address.c_str(),
              status);
    refused_ = 0;
    next_ = now + kInterval;
}

}  // namespace MediaServer
