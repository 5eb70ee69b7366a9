#include "platform/upnp/Subscriptions.h"

#include <algorithm>

#include "platform/http/HttpFile.h"
#include "platform/upnp/LoopbackRelay.h"

namespace MediaServer {

namespace {

constexpr std::string_view kPlacePrefix = "place ";  // of a key that is no SID
constexpr int kPreconditionFailed = 412;
constexpr int kTooMany = 503;
constexpr int kInternalError = 500;

std::string TimeoutText(int seconds) {
    return "Second-" + std::to_string(seconds);
}

/// The library's refusal, or ours when it did not answer.
HttpResponse Refusal(const RelayAnswer& answer) {
    return PlainResponse(answer.status >= 400 && answer.status < 600 ? answer.status : kInternalError);
}

HttpResponse Acceptance(const std::string& sid, const RelayAnswer& answer, int seconds) {
    const auto timeout = answer.headers.find("timeout");
    HttpResponse response;
    response.headers = {{"SID", sid},
                        {"TIMEOUT", timeout == answer.headers.end() ? TimeoutText(seconds) : timeout->second}};
    return response;
}

}  // namespace

/// A place taken, given back in the end unless a subscription has got it.
class Subscriptions::Place {
public:
    Place(Subscriptions& subscriptions, std::string key) : subscriptions_(subscriptions), key_(std::move(key)) {}
    ~Place() {
        const std::lock_guard lock(subscriptions_.mutex_);
        subscriptions_.entries_.erase(key_);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    const std::string& Key() const { return key_; }

private:
    Subscriptions& subscriptions_;
    const std::string key_;
};

HttpResponse Subscriptions::Answer(const HttpRequest& request, const std::string& event_path) {
    GenaKind kind{};
    if (const int status = ClassifyGenaRequest(request, kind)) return PlainResponse(status);
    DropExpired();
    switch (kind) {
        case GenaKind::Subscribe:
            return Subscribe(request, event_path);
        case GenaKind::Renew:
            return Renew(request, event_path);
        case GenaKind::Unsubscribe:
            return Unsubscribe(request, event_path);
    }
    return PlainResponse(kInternalError);
}

HttpResponse Subscriptions::Subscribe(const HttpRequest& request, const std::string& event_path) {
    const auto callback = CheckCallback(request.Header("callback"), request.client_address, subnet_);
    if (!callback) return PlainResponse(kPreconditionFailed);
    Ended ended;
    const Place place(*this, TakePlace(request.client_address, event_path, ended));
    TellLibrary(ended);
    if (place.Key().empty()) return PlainResponse(kTooMany);

    const int seconds = SubscriptionSeconds(request.Header("timeout"));
    const RelayAnswer answer =
        RelayToLoopback(port_, "SUBSCRIBE", event_path,
                        {{"CALLBACK", *callback}, {"NT", "upnp:event"}, {"TIMEOUT", TimeoutText(seconds)}});
    const auto sid = answer.headers.find("sid");
    if (answer.status != 200 || sid == answer.headers.end()) return Refusal(answer);

    const std::lock_guard lock(mutex_);
    auto entry = entries_.extract(place.Key());
    entry.key() = sid->second;
    entry.mapped().heard = Clock::now();
    entry.mapped().expires = entry.mapped().heard + std::chrono::seconds(seconds);
    entries_.insert(std::move(entry));
    return Acceptance(sid->second, answer, seconds);
}

HttpResponse Subscriptions::Renew(const HttpRequest& request, const std::string& event_path) {
    const std::string& sid = request.Header("sid");
    if (!IsKnown(sid)) return PlainResponse(kPreconditionFailed);
    const int seconds = SubscriptionSeconds(request.Header("timeout"));
    const RelayAnswer answer =
        RelayToLoopback(port_, "SUBSCRIBE", event_path, {{"SID", sid}, {"TIMEOUT", TimeoutText(seconds)}});
    if (answer.status != 200) return Refusal(answer);
    const std::lock_guard lock(mutex_);
    if (const auto entry = entries_.find(sid); entry != entries_.end()) {
        entry->second.heard = Clock::now();
        entry->second.expires = entry->second.heard + std::chrono::seconds(seconds);
    }
    return Acceptance(sid, answer, seconds);
}

HttpResponse Subscriptions::Unsubscribe(const HttpRequest& request, const std::string& event_path) {
    const std::string& sid = request.Header("sid");
    if (!IsKnown(sid)) return PlainResponse(kPreconditionFailed);
    const RelayAnswer answer = RelayToLoopback(port_, "UNSUBSCRIBE", event_path, {{"SID", sid}});
    if (answer.status != 200 && answer.status != kPreconditionFailed) return Refusal(answer);
    Release(sid);
    return answer.status == 200 ? HttpResponse() : Refusal(answer);
}

/// A player that was switched off leaves its subscriptions behind, and has new ones when it comes back: the one of its
/// address not heard of for the longest time makes room.
std::string Subscriptions::TakePlace(const std::string& address, const std::string& event_path, Ended& ended) {
    const std::lock_guard lock(mutex_);
    const Clock::time_point now = Clock::now();
    const auto of_address = std::count_if(entries_.begin(), entries_.end(),
                                          [&](const auto& entry) { return entry.second.address == address; });
    if (static_cast<std::size_t>(of_address) >= UpnpLimits::kSubscriptionsPerAddress) {
        const auto oldest = FindLongestUnheardLocked(address);
        if (oldest == entries_.end() || now - oldest->second.heard < rest_) return {};
        ended.emplace_back(oldest->first, oldest->second.event_path);
        entries_.erase(oldest);
    }
    if (entries_.size() >= UpnpLimits::kSubscriptions) return {};
    std::string place = NewPlaceLocked();
    entries_.emplace(place, Entry{address, event_path, now});
    return place;
}

Subscriptions::Entries::iterator Subscriptions::FindLongestUnheardLocked(const std::string& address) {
    auto found = entries_.end();
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        if (entry->second.address != address || !IsSubscriptionId(entry->first)) continue;
        if (found == entries_.end() || entry->second.heard < found->second.heard) found = entry;
    }
    return found;
}

/// Ends a subscription, whose place rests for a while.
void Subscriptions::Release(const std::string& sid) {
    const std::lock_guard lock(mutex_);
    auto entry = entries_.extract(sid);
    if (entry.empty()) return;
    entry.key() = NewPlaceLocked();
    entry.mapped().expires = Clock::now() + rest_;
    entries_.insert(std::move(entry));
}

std::string Subscriptions::NewPlaceLocked() {
    return std::string(kPlacePrefix) + std::to_string(++places_);
}

void Subscriptions::DropExpired() {
    Ended expired;
    {
        const std::lock_guard lock(mutex_);
        const Clock::time_point now = Clock::now();
        for (const auto& [sid, entry] : entries_)
            if (entry.expires < now) expired.emplace_back(sid, entry.event_path);
        for (const auto& [sid, path] : expired) entries_.erase(sid);
    }
    TellLibrary(expired);
}

/// By itself the library forgets a subscription that has run out only when it next sends an event.
void Subscriptions::TellLibrary(const Ended& ended) const {
    for (const auto& [sid, path] : ended)
        if (IsSubscriptionId(sid)) RelayToLoopback(port_, "UNSUBSCRIBE", path, {{"SID", sid}});
}

bool Subscriptions::IsKnown(const std::string& sid) const {
    const std::lock_guard lock(mutex_);
    return entries_.count(sid) > 0;
}

}  // namespace MediaServer
