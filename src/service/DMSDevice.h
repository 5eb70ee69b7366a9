#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "cds/DMSService.h"
#include "model/ServiceOptions.h"
#include "platform/clients/DMSClientList.h"
#include "platform/network/NeighbourCache.h"
#include "platform/text/DMSStringBundle.h"
#include "platform/upnp/UpnpLibrary.h"
#include "service/DeviceDescriptions.h"
#include "service/DownloadGate.h"
#include "service/ProfileCache.h"
#include "service/StartGate.h"
#include "tree/ContentDirectoryService.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

class VirtualDirs;

/// The daemon's service object: the UPnP device with its three services, and what they live on.
///
/// Locks: the device mutex guards the state variables of all services. The client list and the profile cache have locks
/// of their own; neither is held while the device mutex is taken.
class DMSDevice : public DMSClientList {
public:
    enum ServiceIndex : std::size_t { kConnectionManager, kContentDirectory, kRegistrar, kServiceCount };

    /// The process's device, created on first use and never destroyed.
    static DMSDevice& Instance();

    /// @param web_server_root  directory of descriptions, SCPD files and icons; empty for the package's own.
    explicit DMSDevice(std::string web_server_root = {});
    ~DMSDevice() override;

    /// Brings the device on line. Call once, from the thread that is to own the process.
    /// @return 1 when it is on line (also when only the advertisements failed); 0 or 1 when it is not, see IsOnline.
    int Start(int argc, char** argv);
    bool IsOnline() const { return problem_.empty(); }
    /// Why the start failed and what helps, in one line for a person; empty when it did not.
    const std::string& StartProblem() const { return problem_; }
    /// Withdraws the device and closes the log.
    void Stop();

    // What signals ask for; any thread outside signal context.
    void RereadOptions();
    void ReloadClients();
    void RefreshIndexLocations();
    /// Raises SystemUpdateID by one and tells the subscribers.
    void IncrementSystemUpdateID();

    /// Fills names, state variables and actions of the three services. @return true.
    bool SetupServices();
    /// Sends all variables of one service to its subscribers; indexes above 2 are ignored. The caller holds the device
    /// mutex.
    void NotifyService(std::size_t index);
    /// The service of this device with that id, or null.
    DMSService* FindService(std::string_view udn, std::string_view service_id);

    /// Reads this machine's own interfaces, once, before clients are served.
    void LearnInterfaces();
    /// MAC address of a client: the interface's own when this machine asks itself, else what the ARP table knows.
    std::string MacOfClient(const std::string& address) const;
    /// Recognises an acting client and tests its access right.
    /// @return its profile name, or nothing for a client that is refused.
    std::optional<std::string> RecogniseClient(const std::string& address, const HeaderMap& headers);

    std::mutex& DeviceMutex() { return device_mutex_; }
    UpnpLibrary& Library() { return library_; }
    UpnpDevice_Handle DeviceHandle() const { return device_handle_; }
    DownloadGate& Downloads() { return downloads_; }
    StartGate& WhileStarting() { return start_gate_; }
    const std::string& UDN() const { return udn_; }

private:
    bool IsLocalServer() const { return options_.Get(Option::kLocalServer) == "yes"; }
    ContentDirectoryService& Directory();

    // The steps of Start, in its order.
    void PrepareTables(int argc, char** argv);
    bool ImportStrings();
    int InitLibrary(const std::string& address);
    bool PrepareWebServer();
    bool PrepareDescriptions();
    bool RegisterDevice();
    bool RegisterControlPoint();
    void LoadMenu();
    void Advertise();
    int Fail(std::string problem, bool finish_library, int result);

    // Fixed once start-up is done.
    const std::string description_file_name_ = "device.xml";
    const std::string web_server_root_;
    const std::string udn_;
    std::uint16_t port_;
    std::string description_url_;
    std::string problem_ = "the device was not started";
    std::map<std::string, std::string> interfaces_;  // MAC address to IP address of this machine
    UpnpDevice_Handle device_handle_ = -1;
    UpnpClient_Handle client_handle_ = -1;

    ServiceOptions options_;
    DeviceDescriptions descriptions_;
    std::unique_ptr<DMSStringBundle> strings_;
    std::unique_ptr<VideoLibrary> video_library_;
    std::unique_ptr<ContentDirectoryService> directory_;
    std::unique_ptr<VirtualDirs> virtual_dirs_;
    mutable NeighbourCache neighbours_;
    ProfileCache profile_cache_;
    DownloadGate downloads_;
    StartGate start_gate_;

    std::mutex device_mutex_;
    std::array<DMSService, kServiceCount> services_;
    std::atomic<bool> are_services_ready_ = false;  // names and tables above are fixed once it is set

    UpnpLibrary library_;  // last: its threads use all of the above
};

}  // namespace MediaServer
