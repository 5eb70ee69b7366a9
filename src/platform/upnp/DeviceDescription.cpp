#include "platform/upnp/DeviceDescription.h"

#include <algorithm>
#include <utility>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/upnp/UpnpLimits.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {
namespace {

/// Where the text of an element goes.
struct ServiceElement {
    std::string_view name;
    std::string ServiceDescription::*member;
    bool is_url = false;
};
constexpr ServiceElement kServiceElements[] = {
    {"serviceType", &ServiceDescription::type},
    {"serviceId", &ServiceDescription::id},
    {"controlURL", &ServiceDescription::control_path, true},
    {"eventSubURL", &ServiceDescription::event_path, true},
};

/// Collects the services of a document as its elements begin and end.
class ServiceCollector {
public:
    explicit ServiceCollector(std::string_view base_path) : base_path_(base_path) {}

    void Start(std::string_view name) {
        if (name == "device") devices_.push_back({{}, services_.size()});
    }
    void End(std::string_view name, std::string_view text) {
        if (name == "UDN" && !devices_.empty()) SetUdn(text);
        if (name == "device" && !devices_.empty()) EndDevice();
        if (name == "service") services_.push_back(std::exchange(service_, {}));
        for (const ServiceElement& element : kServiceElements)
            if (element.name == name) {
                service_.*element.member = element.is_url ? ResolvePath(base_path_, text) : std::string(text);
            }
    }
    /// Nothing when no device said which it is.
    std::optional<std::vector<ServiceDescription>> Services() const {
        return found_udn_ ? std::optional(services_) : std::nullopt;
    }

private:
    struct Device {
        std::string udn;
        std::size_t first_service;
    };

    void SetUdn(std::string_view text) {
        devices_.back().udn = text;
        found_udn_ = found_udn_ || !text.empty();
    }
    /// The UDN may stand after the services.
    void EndDevice() {
        for (std::size_t i = devices_.back().first_service; i < services_.size(); ++i)
            if (services_[i].udn.empty()) services_[i].udn = devices_.back().udn;
        devices_.pop_back();
    }

    const std::string_view base_path_;
    std::vector<ServiceDescription> services_;
    std::vector<Device> devices_;  // that enclose the current element, outermost first
    ServiceDescription service_;
    bool found_udn_ = false;
};

}  // namespace

std::string PathOfUrl(std::string_view url) {
    constexpr std::string_view kScheme = "http://";
    if (!EqualsIgnoreCase(url.substr(0, kScheme.size()), kScheme)) return {};
    const std::size_t slash = url.find('/', kScheme.size());
    return slash == std::string_view::npos ? "/" : std::string(url.substr(slash, url.find('?') - slash));
}

std::string ResolvePath(std::string_view base_path, std::string_view url) {
    if (url.empty()) return {};
    if (std::string path = PathOfUrl(url); !path.empty()) return path;
    url = url.substr(0, url.find('?'));
    if (url.front() == '/') return std::string(url);
    return std::string(base_path.substr(0, base_path.rfind('/') + 1)).append(url);
}

std::optional<std::vector<ServiceDescription>> ReadServices(std::string_view document, std::string_view base_path) {
    ServiceCollector collector(base_path);
    std::string text;
    const bool whole = ReadXml(document, {UpnpLimits::kDescriptionElements, UpnpLimits::kDescriptionBytes},
                               [&](const XmlEvent& event) {
                                   if (event.kind == XmlEvent::Kind::Text) {
                                       text += event.text;
                                       return true;
                                   }
                                   if (event.kind == XmlEvent::Kind::Start) collector.Start(event.name);
                                   if (event.kind == XmlEvent::Kind::End) collector.End(event.name, TrimBlanks(text));
                                   text.clear();
                                   return true;
                               });
    return whole ? collector.Services() : std::nullopt;
}

std::optional<DeviceNames> ReadDeviceNames(std::string_view document, const std::vector<std::string>& wanted) {
    DeviceNames names;
    std::string* current = nullptr;  // text of the wanted element that is open
    const bool whole = ReadXml(
        document, {UpnpLimits::kDescriptionElements, UpnpLimits::kDescriptionBytes}, [&](const XmlEvent& event) {
            if (event.kind == XmlEvent::Kind::Text && current) current->append(event.text);
            if (event.kind == XmlEvent::Kind::End) current = nullptr;
            if (event.kind == XmlEvent::Kind::Start) {
                const bool is_wanted = std::find(wanted.begin(), wanted.end(), event.name) != wanted.end();
                const auto [entry, is_first] =
                    is_wanted ? names.try_emplace(std::string(event.name)) : std::pair(names.end(), false);
                current = is_first ? &entry->second : nullptr;
            }
            return true;
        });
    if (!whole) return std::nullopt;
    std::erase_if(names, [](const auto& entry) { return entry.second.empty(); });
    return names;
}

}  // namespace MediaServer
