#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/http/HttpServer.h"
#include "platform/upnp/GenaRequest.h"
#include "platform/upnp/UpnpLimits.h"

namespace MediaServer {

/// The subscribers' side of eventing: checks SUBSCRIBE, renewal and UNSUBSCRIBE, bounds how many there are, and relays
/// clean requests to the library's private listener, which keeps the subscriptions and sends the events.
/// Threads: Answer from any.
class Subscriptions {
public:
    /// @param rest  see UpnpLimits::kSubscriptionRest.
    Subscriptions(std::uint16_t private_port, const Subnet& subnet,
                  std::chrono::seconds rest = UpnpLimits::kSubscriptionRest)
        : port_(private_port), subnet_(subnet), rest_(rest) {}

    /// @param event_path  the service's, as the library knows it.
    HttpResponse Answer(const HttpRequest& request, const std::string& event_path);

private:
    using Clock = std::chrono::steady_clock;
    struct Entry {
        std::string address, event_path;
        Clock::time_point heard;  // when it was made or renewed last
        Clock::time_point expires = Clock::time_point::max();
    };
    class Place;
    using Entries = std::map<std::string, Entry>;
    using Ended = std::vector<std::pair<std::string, std::string>>;  // SID, event path

    HttpResponse Subscribe(const HttpRequest& request, const std::string& event_path);
    HttpResponse Renew(const HttpRequest& request, const std::string& event_path);
    HttpResponse Unsubscribe(const HttpRequest& request, const std::string& event_path);
    /// @param[out] ended  the subscription that the place was taken from, if any.
    /// @return key of the place taken, empty when there is none for that address.
    std::string TakePlace(const std::string& address, const std::string& event_path, Ended& ended);
    void Release(const std::string& sid);
    void DropExpired();
    void TellLibrary(const Ended& ended) const;
    bool IsKnown(const std::string& sid) const;
    // The caller holds mutex_.
    std::string NewPlaceLocked();
    Entries::iterator FindLongestUnheardLocked(const std::string& address);

    const std::uint16_t port_;
    const Subnet subnet_;
    const std::chrono::seconds rest_;
    mutable std::mutex mutex_;
    Entries entries_;           // guarded by mutex_; by SID, or by place before and after
    std::uint64_t places_ = 0;  // guarded by mutex_
};

}  // namespace MediaServer
