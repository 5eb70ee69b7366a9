#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "model/ClientRequest.h"
#include "platform/upnp/Ixml.h"

namespace MediaServer {

class DMSService;

/// Handles one action. `response` and `error` start empty.
/// @return 0, or the error code to report, with its description in `error`; then the response stays empty.
using ActionHandler = std::function<int(ClientRequest& request, DMSService& service, IXML_Document* arguments,
                                        IXML_Document** response, std::string& error)>;

/// One UPnP service: its names, state variables and action table. Threads: names and actions are fixed after set-up;
/// the variables are guarded by the mutex that all services of the device share.
class DMSService {
public:
    std::mutex* device_mutex = nullptr;
    std::string service_id;
    std::string service_type;
    std::map<std::string, std::string> state_variables;  // guarded by *device_mutex
    std::map<std::string, ActionHandler> actions;

    /// Value of a state variable, taken under the device mutex; a missing one is created empty.
    std::string Variable(const std::string& name);
    /// All variables in name order. The caller holds the device mutex.
    std::vector<std::pair<std::string, std::string>> VariablesLocked() const;
};

/// Adds one output argument to a response document, making it on first use.
void AddOutput(IXML_Document** response, const char* action, const DMSService& service, const char* name,
               const std::string& value);

}  // namespace MediaServer
