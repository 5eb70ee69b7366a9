#include "platform/upnp/UpnpLibrary.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include <sys/utsname.h>
#include <upnptools.h>

#include "platform/http/HttpFile.h"
#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "platform/upnp/DeviceDescription.h"
#include "platform/upnp/PrivateListener.h"
#include "platform/upnp/SearchSocket.h"
#include "platform/upnp/Subnet.h"
#include "platform/upnp/Subscriptions.h"
#include "platform/upnp/UpnpControl.h"
#include "platform/upnp/UpnpLimits.h"
#include "platform/upnp/UpnpWeb.h"

namespace MediaServer {

namespace {

constexpr const char* kServerProduct = "UPnP/1.0 DLNADOC/1.50 dms/0.1";
constexpr const char* kMethods[] = {"GET", "HEAD", "POST", "SUBSCRIBE", "UNSUBSCRIBE"};
// The library registers one root device; this stands for it from the moment its description is known.
constexpr UpnpDevice_Handle kRootDevice = 1;

/// Two requests for each processor keep it at work while the database works for one of them. More would wait for each
/// other, and a television among many that ask for much would wait for them all.
HttpLimits FrontLimits() {
    HttpLimits limits;
    limits.workers = std::clamp(2 * std::thread::hardware_concurrency(), limits.workers / 2, limits.workers);
    return limits;
}

std::string ServerHeader() {
    utsname system{};
    uname(&system);
    // The release's suffix is nobody's business, its number is part of the format.
    const std::string release(system.release, std::strspn(system.release, "0123456789."));
    return std::string(system.sysname) + "/" + release + " " + kServerProduct;
}

/// What a front request needs to know; replaced as a whole by set-up calls, so that a request sees one state.
struct Registration {
    std::string root_directory;
    std::vector<std::string> virtual_directories;
    VirtualDirCallbacks callbacks;
    bool is_registering = false;  // the library is about to read the description from its URL
    std::string description;      // the root device's document
    std::string description_url;  // where the library finds it, and what it announces
    std::vector<ServiceDescription> services;
    Upnp_FunPtr callback = nullptr;
    void* cookie = nullptr;
};

/// State variables as the library takes them. It puts the values into the event as they are, so they come escaped.
class EventVariables {
public:
    explicit EventVariables(const std::vector<std::pair<std::string, std::string>>& variables) {
        escaped_.reserve(variables.size());  // the pointers below must stay
        for (const auto& [name, value] : variables) {
            names_.push_back(name.c_str());
            values_.push_back(escaped_.emplace_back(XMLEscape(value)).c_str());
        }
    }
    int Count() const { return static_cast<int>(names_.size()); }
    const char** Names() { return names_.data(); }
    const char** Values() { return values_.data(); }

private:
    std::vector<std::string> escaped_;
    std::vector<const char*> names_, values_;
};

}  // namespace

struct UpnpLibrary::Impl {
    HttpResponse Answer(const HttpRequest& request);
    HttpResponse AnswerGet(const HttpRequest& request, const Registration& state);
    int Register();
    int StartFront(std::uint16_t port);
    static int OnDeviceEvent(Upnp_EventType type, const void* event, void* self);

    std::shared_ptr<const Registration> State() const {
        const std::lock_guard lock(mutex);
        return registration;
    }
    template <typename Change>
    void ChangeState(Change change) {
        const std::lock_guard lock(mutex);
        auto next = std::make_shared<Registration>(*registration);
        change(*next);
        registration = std::move(next);
    }
    bool IsRoot(UpnpDevice_Handle handle) const { return started && handle == kRootDevice && State()->callback; }

    std::vector<std::string> host_names{"localhost"};
    HttpLimits limits = FrontLimits();
    std::atomic<bool> started{false};
    std::string address;
    std::unique_ptr<Subscriptions> subscriptions;
    std::unique_ptr<HttpServer> front;
    std::atomic<bool> registered{false};  // with the library, as `device`
    std::atomic<UpnpDevice_Handle> device{-1};

    mutable std::mutex mutex;
    std::shared_ptr<const Registration> registration = std::make_shared<Registration>();  // guarded by mutex
};

HttpResponse UpnpLibrary::Impl::Answer(const HttpRequest& request) {
    const std::shared_ptr<const Registration> state = State();
    if (request.method == "GET" || request.method == "HEAD") return AnswerGet(request, *state);
    const bool is_control = request.method == "POST";
    for (const ServiceDescription& service : state->services) {
        if (request.path != (is_control ? service.control_path : service.event_path)) continue;
        return is_control ? AnswerControl(request, service, state->callback, state->cookie)
                          : subscriptions->Answer(request, service.event_path);
    }
    return PlainResponse(404);
}

HttpResponse UpnpLibrary::Impl::AnswerGet(const HttpRequest& request, const Registration& state) {
    // While the library registers the device it reads the description from the location that it will announce; clients
    // get their variants from there, and do not know it yet.
    if (state.is_registering && request.client_address == address && request.path == PathOfUrl(state.description_url)) {
        HttpResponse response;
        response.headers.emplace_back("Content-Type", "text/xml; charset=\"utf-8\"");
        response.body = state.description;
        return response;
    }
    for (const std::string& prefix : state.virtual_directories)
        if (request.path.compare(0, prefix.size(), prefix) == 0) return ServeVirtualFile(request, state.callbacks);
    return ServeRootFile(request, state.root_directory);
}

UpnpLibrary::UpnpLibrary() : impl_(std::make_unique<Impl>()) {}

UpnpLibrary::~UpnpLibrary() {
    UpnpFinish();
}

void UpnpLibrary::SetHostNames(std::vector<std::string> names) {
    impl_->host_names = std::move(names);
}

int UpnpLibrary::UpnpInit(const std::string& address, std::uint16_t port) {
    if (impl_->started) return UPNP_E_INIT;
    InterfaceInfo interface;
    if (address.empty() && NIMBNetGetCard1(0, 0, interface) != 1) return UPNP_E_INVALID_INTERFACE;
    impl_->address = address.empty() ? interface.ip_address : address;

    const std::set<std::uint64_t> others = OwnSockets();
    int result;
    {
        const LoopbackBinding binding(SubnetsOf(impl_->address));
        result = ::UpnpInit(impl_->address.c_str(), 0);
    }
    if (result != UPNP_E_SUCCESS) {
        DMSPrintf(0, "could not start the UPnP library with a listener on loopback: %s", UpnpGetErrorMessage(result));
        // Its own port is not the one that the caller named.
        return result == UPNP_E_SOCKET_BIND ? UPNP_E_SOCKET_ERROR : result;
    }
    impl_->started = true;
    std::set<std::uint64_t> sockets = OwnSockets();
    std::erase_if(sockets, [&](std::uint64_t inode) { return others.count(inode) > 0; });
    if (!ListensOnLoopbackOnly(sockets)) {
        DMSPrintf(0, "could not keep the UPnP library's own server off the network: refusing to serve");
        result = UPNP_E_SOCKET_ERROR;
    } else {
        result = impl_->StartFront(port);
    }
    if (result != UPNP_E_SUCCESS) UpnpFinish();
    return result;
}

int UpnpLibrary::Impl::StartFront(std::uint16_t port) {
    // Nothing but the front talks to it, and only about subscriptions.
    ::UpnpEnableWebserver(0);
    subscriptions = std::make_unique<Subscriptions>(::UpnpGetServerPort(), SubnetsOf(address).front());
    HttpServer::Config config;
    config.address = address;
    config.port = port;
    config.methods.assign(std::begin(kMethods), std::end(kMethods));
    config.host_names = host_names;
    config.server_header = ServerHeader();
    config.limits = limits;
    front =
        std::make_unique<HttpServer>(std::move(config), [this](const HttpRequest& request) { return Answer(request); });
    const int error = front->Start();
    if (error == 0) return UPNP_E_SUCCESS;
    front.reset();
    DMSPrintf(0, "could not listen on %s port %d: %s", address.c_str(), port, std::strerror(error));
    return error == EADDRINUSE ? UPNP_E_SOCKET_BIND : UPNP_E_SOCKET_ERROR;
}

void UpnpLibrary::UpnpFinish() {
    if (!impl_->started) return;
    // The front first: what it has under way may still use the library.
    if (impl_->front) impl_->front->Stop();
    ::UpnpFinish();
    ForgetSearchSocket();
    impl_->front.reset();
    impl_->subscriptions.reset();
    impl_->ChangeState([](Registration& state) { state = {}; });
    impl_->registered = false;
    impl_->started = false;
}

std::uint16_t UpnpLibrary::UpnpGetServerPort() const {
    return impl_->front ? impl_->front->Port() : 0;
}

std::string UpnpLibrary::UpnpGetServerIpAddress() const {
    return impl_->address;
}

int UpnpLibrary::UpnpSetMaxContentLength(std::size_t bytes) {
    impl_->limits.body_bytes = bytes;
    if (impl_->front) impl_->front->SetBodyLimit(bytes);
    return ::UpnpSetMaxContentLength(bytes);
}

int UpnpLibrary::UpnpSetWebServerRootDir(const std::string& directory) {
    if (!impl_->started) return UPNP_E_FINISH;
    if (directory.empty()) return UPNP_E_INVALID_PARAM;
    impl_->ChangeState([&](Registration& state) { state.root_directory = directory; });
    return UPNP_E_SUCCESS;
}

int UpnpLibrary::UpnpSetVirtualDirCallbacks(VirtualDirCallbacks callbacks) {
    if (!impl_->started) return UPNP_E_FINISH;
    impl_->ChangeState([&](Registration& state) { state.callbacks = std::move(callbacks); });
    return UPNP_E_SUCCESS;
}

int UpnpLibrary::UpnpAddVirtualDir(const std::string& prefix) {
    if (!impl_->started) return UPNP_E_FINISH;
    if (prefix.empty() || prefix.front() != '/') return UPNP_E_INVALID_PARAM;
    impl_->ChangeState([&](Registration& state) { state.virtual_directories.push_back(prefix); });
    return UPNP_E_SUCCESS;
}

int UpnpLibrary::UpnpRegisterRootDevice(const std::string& description_url, Upnp_FunPtr callback, void* cookie,
                                        UpnpDevice_Handle* handle) {
    if (!impl_->started) return UPNP_E_FINISH;
    if (!callback || !handle || PathOfUrl(description_url).empty()) return UPNP_E_INVALID_PARAM;
    if (impl_->State()->callback) return UPNP_E_ALREADY_REGISTERED;
    const std::string path = impl_->State()->root_directory + "/" + std::string(BaseName(PathOfUrl(description_url)));
    std::optional<std::string> document = ReadWholeFile(path, UpnpLimits::kDescriptionBytes);
    if (!document) {
        DMSPrintf(0, "could not read device description \"%s\": %s", path.c_str(), std::strerror(errno));
        return UPNP_E_FILE_NOT_FOUND;
    }
    if (!ReadServices(*document, "/")) {
        DMSPrintf(0, "cannot use device description \"%s\": not well formed, or without UDN", path.c_str());
        return UPNP_E_INVALID_DESC;
    }
    impl_->ChangeState([&](Registration& state) {
        state.description = std::move(*document);
        state.description_url = description_url;
        state.callback = callback;
        state.cookie = cookie;
    });
    *handle = kRootDevice;
    return UPNP_E_SUCCESS;
}

int UpnpLibrary::UpnpSetDescURL(UpnpDevice_Handle handle, const std::string& url) {
    if (!impl_->IsRoot(handle)) return UPNP_E_INVALID_HANDLE;
    if (impl_->registered) return UPNP_E_ALREADY_REGISTERED;
    if (PathOfUrl(url).empty()) return UPNP_E_INVALID_PARAM;
    impl_->ChangeState([&](Registration& state) { state.description_url = url; });
    return impl_->Register();
}

/// Registers the device with the library, once, under its final location.
int UpnpLibrary::Impl::Register() {
    if (registered) return UPNP_E_SUCCESS;
    const std::string url = State()->description_url;
    ChangeState([](Registration& state) { state.is_registering = true; });
    UpnpDevice_Handle handle = -1;
    const int result = ::UpnpRegisterRootDevice(url.c_str(), &OnDeviceEvent, this, &handle);
    ChangeState([](Registration& state) { state.is_registering = false; });
    if (result != UPNP_E_SUCCESS) {
        DMSPrintf(0, "could not register the device at \"%s\": %s", url.c_str(), UpnpGetErrorMessage(result));
        return result;
    }
    ::UpnpSetMaxSubscriptionTimeOut(handle, UpnpLimits::kLongestSubscriptionSeconds);
    ::UpnpSetMaxSubscriptions(handle, static_cast<int>(UpnpLimits::kSubscriptions));
    device = handle;
    registered = true;
    // Requests for the services come through from here on.
    ChangeState([&](Registration& state) { state.services = *ReadServices(state.description, PathOfUrl(url)); });
    return UPNP_E_SUCCESS;
}

int UpnpLibrary::Impl::OnDeviceEvent(Upnp_EventType type, const void* event, void* self) {
    const std::shared_ptr<const Registration> state = static_cast<Impl*>(self)->State();
    if (!state->callback) return 0;
    if (type == UPNP_EVENT_SUBSCRIPTION_REQUEST) std::this_thread::sleep_for(UpnpLimits::kFirstEventDelay);
    return state->callback(type, event, state->cookie);
}

int UpnpLibrary::UpnpRegisterClient(Upnp_FunPtr callback, void* cookie, UpnpClient_Handle* handle) {
    return ::UpnpRegisterClient(callback, cookie, handle);
}

int UpnpLibrary::UpnpSearchAsync(UpnpClient_Handle handle, int seconds, const std::string& target, void* cookie) {
    return ::UpnpSearchAsync(handle, seconds, target.c_str(), cookie);
}

int UpnpLibrary::UpnpSendAdvertisement(UpnpDevice_Handle handle, int expiry_seconds) {
    if (!impl_->IsRoot(handle)) return UPNP_E_INVALID_HANDLE;
    if (const int result = impl_->Register(); result != UPNP_E_SUCCESS) return result;
    return ::UpnpSendAdvertisement(impl_->device, expiry_seconds);
}

int UpnpLibrary::UpnpAcceptSubscription(UpnpDevice_Handle handle, const std::string& udn, const std::string& service_id,
                                        const std::vector<std::pair<std::string, std::string>>& variables,
                                        const UpnpSubscriptionRequest* request) {
    if (!impl_->IsRoot(handle)) return UPNP_E_INVALID_HANDLE;
    EventVariables arrays(variables);
    return ::UpnpAcceptSubscription(impl_->device, udn.c_str(), service_id.c_str(), arrays.Names(), arrays.Values(),
                                    arrays.Count(), UpnpSubscriptionRequest_get_SID_cstr(request));
}

int UpnpLibrary::UpnpNotify(UpnpDevice_Handle handle, const std::string& udn, const std::string& service_id,
                            const std::vector<std::pair<std::string, std::string>>& variables) {
    if (!impl_->IsRoot(handle)) return UPNP_E_INVALID_HANDLE;
    // Before the device is known to the library nobody can have subscribed.
    if (!impl_->registered) return UPNP_E_SUCCESS;
    EventVariables arrays(variables);
    return ::UpnpNotify(impl_->device, udn.c_str(), service_id.c_str(), arrays.Names(), arrays.Values(),
                        arrays.Count());
}

}  // namespace MediaServer
