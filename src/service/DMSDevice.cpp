#include "service/DMSDevice.h"

#include <cstdlib>
#include <utility>

#include "cds/CDSActions.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/network/Interfaces.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/system/Product.h"
#include "platform/text/Text.h"
#include "web/VirtualDirs.h"

namespace MediaServer {
namespace {

constexpr std::uint16_t kUpnpPort = 50001;
constexpr const char* kNoUserAgent = "No Browse User Agent";

struct ServiceNames {
    const char *type, *id;
};
constexpr ServiceNames kServiceNames[DMSDevice::kServiceCount] = {
    {"urn:schemas-upnp-org:service:ConnectionManager:1", "urn:upnp-org:serviceId:ConnectionManager"},
    {"urn:schemas-upnp-org:service:ContentDirectory:1", "urn:upnp-org:serviceId:ContentDirectory"},
    {"urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1",
     "urn:microsoft.com:serviceId:X_MS_MediaReceiverRegistrar"},
};

std::string OrDefault(std::string profile_name) {
    return profile_name.empty() ? std::string(kDefaultProfile) : std::move(profile_name);
}

}  // namespace

DMSDevice& DMSDevice::Instance() {
    static DMSDevice* const device = new DMSDevice;
    return *device;
}

DMSDevice::DMSDevice(std::string web_server_root)
    : web_server_root_(web_server_root.empty() ? SystemPath(kPackageDataDir) : std::move(web_server_root)),
      udn_(DMSGetProductUDN()),
      port_(kUpnpPort),
      options_(SystemPath(kOptionFile)),
      descriptions_(options_) {}

DMSDevice::~DMSDevice() = default;

ContentDirectoryService& DMSDevice::Directory() {
    if (strings_ == nullptr) strings_ = std::make_unique<DMSStringBundle>(options_.Get(Option::kLanguage));
    if (video_library_ == nullptr) video_library_ = std::make_unique<VideoLibrary>(*strings_);
    if (directory_ == nullptr) directory_ = std::make_unique<ContentDirectoryService>(*strings_, *video_library_);
    return *directory_;
}

bool DMSDevice::SetupServices() {
    const CDSContext context{Directory(), options_, library_.UpnpGetServerIpAddress(), port_};
    std::lock_guard lock(device_mutex_);
    for (std::size_t i = 0; i < kServiceCount; ++i) {
        services_[i].device_mutex = &device_mutex_;
        services_[i].service_type = kServiceNames[i].type;
        services_[i].service_id = kServiceNames[i].id;
    }
    services_[kConnectionManager].state_variables = {
        {"SourceProtocolInfo", SourceProtocolList()}, {"SinkProtocolInfo", ""}, {"CurrentConnectionIDs", "0"}};
    services_[kContentDirectory].state_variables = {
        {"SystemUpdateID", "1"}, {"SortCapabilities", ""}, {"SearchCapabilities", ""}};
    services_[kRegistrar].state_variables = {{"AuthorizationGrantedUpdateID", "1"},
                                             {"AuthorizationDeniedUpdateID", "1"},
                                             {"ValidationSucceededUpdateID", "1"},
                                             {"ValidationRevokedUpdateID", "1"}};
    services_[kConnectionManager].actions = ConnectionManagerActions();
    services_[kContentDirectory].actions = ContentDirectoryActions(context);
    services_[kRegistrar].actions = RegistrarActions();
    are_services_ready_.store(true, std::memory_order_release);
    return true;
}

DMSService* DMSDevice::FindService(std::string_view udn, std::string_view service_id) {
    // The device is registered before its services are set up; whoever asks in between finds none.
    if (!are_services_ready_.load(std::memory_order_acquire) || udn != udn_) return nullptr;
    for (DMSService& service : services_) {
        if (service.service_id == service_id) return &service;
    }
    return nullptr;
}

void DMSDevice::NotifyService(std::size_t index) {
    if (index >= kServiceCount) return;
    const DMSService& service = services_[index];
    library_.UpnpNotify(device_handle_, udn_, service.service_id, service.VariablesLocked());
}

void DMSDevice::IncrementSystemUpdateID() {
    std::lock_guard lock(device_mutex_);
    if (!are_services_ready_.load(std::memory_order_acquire)) return;
    std::string& value = services_[kContentDirectory].state_variables["SystemUpdateID"];
    const auto current = static_cast<std::uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
    value = std::to_string(current + 1);  // wraps to 0, as UPnP ContentDirectory:1, 2.5.18 has it for ui4
    NotifyService(kContentDirectory);
}

void DMSDevice::RereadOptions() {
    options_.Read(0, nullptr);
    DMSLOGSetLevel(ToInt(options_.Get(Option::kLogLevel)));
}

void DMSDevice::ReloadClients() {
    Load(SystemPath(kClientListFile), SystemPath(kProfileFile));
    profile_cache_.Clear();
}

void DMSDevice::RefreshIndexLocations() {
    if (directory_ != nullptr) directory_->RefreshIndexLocations();
    WriteToFile();
}

void DMSDevice::Stop() {
    DMSClientChecker::ReleaseClientList();
    library_.UpnpFinish();
    DMSLogClose();
}

void DMSDevice::LearnInterfaces() {
    DMSGetNetworkInterface(interfaces_);
}

std::string DMSDevice::MacOfClient(const std::string& address) const {
    return neighbours_.Find(address, kUnknownMAC,
                            [this](const std::string& asked) { return FindClientMAC(interfaces_, asked); });
}

std::optional<std::string> DMSDevice::RecogniseClient(const std::string& address, const HeaderMap& headers) {
    std::string mac = MacOfClient(address);
    const bool is_neighbour = mac != kUnknownMAC;
    if (!is_neighbour) {
        DMSPrintf(2, "Warning: Get 00:00:00:00:00:00 MAC address by %s from ARP table\n", address.c_str());
        mac = FindMacByIP(address);
    }
    if (FindKey(mac, "isAccess") == "false") return std::nullopt;
    if (!is_neighbour) return OrDefault(FindKey(mac, "profileName"));

    const auto header = headers.find("user-agent");
    const std::string user_agent =
        header == headers.end() || header->second.empty() ? std::string(kNoUserAgent) : header->second;
    const std::string before = FindKey(mac, "browse_user-agent");
    if (!before.empty() && before != AsStored(user_agent)) {
        // Another program on the same machine, or new firmware: nothing of what was known need hold any more.
        EraseObject(mac);
        profile_cache_.Remove(mac);
    }
    std::uint64_t generation = 0;
    std::string profile_name = profile_cache_.Find(mac, generation);
    if (profile_name.empty()) {
        HeaderMap known = headers;
        known["user-agent"] = user_agent;
        UpdateKeys("HandleActionRequest", mac, address, known);
        profile_name = FindKey(mac, "profileName");
        if (!profile_name.empty()) profile_cache_.Store(mac, profile_name, generation);
    }
    return OrDefault(std::move(profile_name));
}

}  // namespace MediaServer
