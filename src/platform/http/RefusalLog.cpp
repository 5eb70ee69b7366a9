#include "platform/http/RefusalLog.h"

#include "platform/system/Log.h"

namespace MediaServer {

void RefusalLog::Note(int status, const std::string& client_address, std::string_view reason) {
    const std::lock_guard lock(mutex_);
    ++refused_;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    DMSPrintf(1, "refused %llu HTTP requests, the last from %s with status %d%s%.*s", refused_, client_address.c_str(),
              status, reason.empty() ? "" : ": ", static_cast<int>(reason.size()), reason.data());
    refused_ = 0;
    next_ = now + kInterval;
}

}  // namespace MediaServer
