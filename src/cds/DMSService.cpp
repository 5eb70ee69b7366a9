#include "cds/DMSService.h"

#include <upnptools.h>

namespace MediaServer {

std::string DMSService::Variable(const std::string& name) {
    const std::lock_guard lock(*device_mutex);
    return state_variables[name];
}

std::vector<std::pair<std::string, std::string>> DMSService::VariablesLocked() const {
    return {state_variables.begin(), state_variables.end()};
}

void AddOutput(IXML_Document** response, const char* action, const DMSService& service, const char* name,
               const std::string& value) {
    UpnpAddToActionResponse(response, action, service.service_type.c_str(), name, value.c_str());
}

}  // namespace MediaServer
