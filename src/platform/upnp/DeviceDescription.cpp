#include "platform/upnp/DeviceDescription.h"

#include <algorithm>
#include <map>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "platform/upnp/UpnpLibrary.h"
#include "platform/upnp/UpnpLimits.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {

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
    std::vector<ServiceDescription> services;
    std::vector<std::string> udns;            // of the devices that enclose the current element, outermost first
    std::vector<std::size_t> first_services;  // where their services begin
    ServiceDescription service;
    std::string text;
    bool found_udn = false;
    const auto end = [&](std::string_view name) {
        const std::string_view value = TrimBlanks(text);
        if (name == "UDN" && !udns.empty()) {
            udns.back() = value;
            found_udn = found_udn || !value.empty();
        } else if (name == "serviceType") {
            service.type = value;
        } else if (name == "serviceId") {
            service.id = value;
        } else if (name == "controlURL") {
            service.control_path = ResolvePath(base_path, value);
        } else if (name == "eventSubURL") {
            service.event_path = ResolvePath(base_path, value);
        } else if (name == "service") {
            services.push_back(std::move(service));
            service = {};
        } else if (name == "device" && !udns.empty()) {
            // The UDN may stand after the services.
            for (std::size_t i = first_services.back(); i < services.size(); ++i)
                if (services[i].udn.empty()) services[i].udn = udns.back();
            udns.pop_back();
            first_services.pop_back();
        }
    };
    const bool whole = ReadXml(document, {UpnpLimits::kDescriptionElements, UpnpLimits::kDescriptionBytes},
                               [&](const XmlEvent& event) {
                                   if (event.kind == XmlEvent::Kind::Text) text += event.text;
                                   if (event.kind == XmlEvent::Kind::End) end(event.name);
                                   if (event.kind == XmlEvent::Kind::Start && event.name == "device") {
                                       udns.emplace_back();
                                       first_services.push_back(services.size());
                                   }
                                   if (event.kind != XmlEvent::Kind::Text) text.clear();
                                   return true;
                               });
    if (!whole || !found_udn) return std::nullopt;
    return services;
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
