#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/http/HttpServer.h"
#include "platform/upnp/GenaRequest.h"

namespace MediaServer {

/// The subscribers' side of eventing: checks SUBSCRIBE, renewal and UNSUBSCRIBE, bounds how many there are, and relays
/// clean requests to the library's private listener, which keeps the subscriptions and sends the events.
/// Threads: Answer from any.
class Subscriptions {
public:
    Subscriptions(std::uint16_t private_port, const Subnet& subnet) : port_(private_port), subnet_(subnet) {}

    /// @param event_path  the service's, as the library knows it.
    HttpResponse Answer(const HttpRequest& request, const std::string& event_path);

private:
    using Clock = std::chrono::steady_clock;
    struct Entry {
        std::string address, event_path;
        Clock::time_point expires;
    };

    HttpResponse Subscribe(const HttpRequest& request, const std::string& event_path);
    HttpResponse Renew(const HttpRequest& request, const std::string& event_path);
    HttpResponse Unsubscribe(const HttpRequest& request, const std::string& event_path);
    /// @return key of the place taken, empty when there is none for that address.
    std::string TakePlace(const std::string& address, const std::string& event_path);
    void Release(const std::string& sid);
    void DropExpired();
    std::string NewPlaceLocked();  // the caller holds mutex_
    bool IsKnown(const std::string& sid) const;

    const std::uint16_t port_;
    const Subnet subnet_;
    mutable std::mutex mutex_;
    std::map<std::string, Entry> entries_;  // guarded by mutex_; by SID, or by place before and after
    std::uint64_t places_ = 0;              // guarded by mutex_
};

}  // namespace MediaServer
