// The start of the device: one step after the other, each named after what it does, with what may fail in it.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>
#include <upnptools.h>

#include "platform/clients/DMSClientChecker.h"
#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"
#include "service/AddressFile.h"
#include "service/DMSDevice.h"
#include "service/DeviceCallback.h"
#include "service/Discovery.h"
#include "web/VirtualDirs.h"

namespace MediaServer {
namespace {

constexpr std::uint16_t kLocalServerPort = 50003;
constexpr const char* kLocalServerAddress = "127.0.0.1";
constexpr std::size_t kMaxContentLength = 20480;
constexpr int kMaxInterfaces = 32;
constexpr int kIPv4Interfaces = 2;
constexpr std::size_t kInterfaceNameText = 256;
constexpr int kSearchSeconds = 10;
// Below this, control points that renew at half time would keep the network busy.
constexpr int kMinAdvertisementSeconds = 70;
constexpr const char* kRegistrationDescription = "initall.xml";
constexpr const char* kIcons[] = {"dmsicon48.jpg", "dmsicon48.png", "dmsicon120.jpg", "dmsicon120.png"};
constexpr const char* kBuiltInStyles[] = {"simple", "ipod", "advance"};

std::string DataFile(std::string_view name) {
    return SystemPath(std::string(kPackageDataDir) + "/" + std::string(name));
}

/// Index of the interface that the option file names; 0 when it names none, or one that is not there.
int ConfiguredInterface() {
    char wanted[kInterfaceNameText] = "";
    const std::string option_file = SystemPath(kOptionFile);
    if (NLIBCFileGetKeyValue(option_file.c_str(), "network_mediaservice", wanted, sizeof wanted, 0) <= 0) return 0;
    std::vector<InterfaceInfo> interfaces;
    const int count = NLIBNetGetInterfaceInfo(interfaces, kMaxInterfaces, kIPv4Interfaces);
    if (count < 1) {
        SysLogError("%s:%d Failed to NLIBNetGetPsIf()=[%d], nimberr=0x%04X", DMS_SOURCE_FILE, __LINE__, count,
                    static_cast<unsigned>(NLIBCErrGet()));
        return 0;
    }
    int index = 0;
    for (int i = 1; i < count; ++i) {
        if (interfaces[static_cast<std::size_t>(i)].name == wanted) index = i;
    }
    return index;
}

std::string SelectAddress() {
    InterfaceInfo record;
    return NIMBNetGetCard1(ConfiguredInterface(), 0, record) == 1 ? record.ip_address : std::string();
}

/// The names that a browser on the network may use for this machine.
std::vector<std::string> HostNames() {
    std::vector<std::string> names{"localhost"};
    if (const auto host = HostName(); host && !host->empty()) {
        names.push_back(*host);
        names.push_back(*host + ".local");
    }
    return names;
}

bool EnsureTempDir() {
    std::error_code ignored;
    const std::string path = SystemPath(kTempDir);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    if (std::filesystem::create_directory(path, ignored)) {
        std::filesystem::permissions(path, std::filesystem::perms::all, ignored);
    }
    return std::filesystem::is_directory(path, ignored);
}

/// What a person can do about a library that does not start.
std::string ExplainInitError(int error, const std::string& address, std::uint16_t port) {
    const std::string place = "port " + std::to_string(port) + (address.empty() ? "" : " on " + address);
    if (error == UPNP_E_SOCKET_BIND) {
        return place + " is in use; stop the program that listens there (another media server?) and start again";
    }
    if (address.empty()) {
        return "no network interface with an IPv4 address was found; connect this machine to a network, or name an "
               "interface as network_mediaservice in \"" +
               SystemPath(kOptionFile) + "\"";
    }
    return "could not start the UPnP library on " + place + ": " + UpnpGetErrorMessage(error);
}

}  // namespace

int DMSDevice::Fail(std::string problem, bool finish_library, int result) {
    problem_ = std::move(problem);
    if (finish_library) library_.UpnpFinish();
    return result;
}

int DMSDevice::Start(int argc, char** argv) {
    const StartGate::Closed starting(start_gate_);
    const std::string address = SelectAddress();
    WriteAddressFile(address);
    PrepareTables(argc, argv);
    if (!ImportStrings())
        return Fail("the menu texts in \"" + SystemPath(kStringsDir) + "\" could not be read", true, 0);
    if (const int error = InitLibrary(address); error != UPNP_E_SUCCESS) {
        return Fail(ExplainInitError(error, IsLocalServer() ? kLocalServerAddress : address, port_), true, 0);
    }
    Load(SystemPath(kClientListFile), SystemPath(kProfileFile));
    if (!PrepareWebServer()) return Fail("the folder \"" + web_server_root_ + "\" could not be served", false, 1);
    if (!PrepareDescriptions()) return Fail("the folder \"" + SystemPath(kTempDir) + "\" could not be made", true, 0);
    if (!RegisterDevice()) {
        return Fail("the device could not be registered from \"" + DataFile(kRegistrationDescription) + "\"", false, 1);
    }
    if (!SetupServices()) {
        DMSPrintf(0, "Error Setup Services\n");
        return Fail("the services could not be set up", true, 0);
    }
    if (!RegisterControlPoint()) return Fail("the search for renderers could not be started", false, 1);
    LoadMenu();
    Advertise();
    problem_.clear();
    return 1;
}

/// Options, log, known clients.
void DMSDevice::PrepareTables(int argc, char** argv) {
    options_.Read(argc, argv);
    if (IsLocalServer()) port_ = kLocalServerPort;
    SetAccessRightsDisabled(options_.Get(Option::kDisableAccessRight) == "yes");
    const std::string log_file = SystemPath(kLogFile);
    if (!DMSLOGInit(log_file.c_str())) SysLogError("could not open log file \"%s\"", log_file.c_str());
    DMSLOGSetLevel(ToInt(options_.Get(Option::kLogLevel)));
    DMSClientChecker::InitProfileList(SystemPath(kProfileFile));
    const std::string client_list = SystemPath(kClientListFile);
    if (!NLIBCFileExist(client_list.c_str())) WriteNewFile(client_list);
}

bool DMSDevice::ImportStrings() {
    strings_ = std::make_unique<DMSStringBundle>(options_.Get(Option::kLanguage));
    if (strings_->ImportStrings()) return true;
    SysLogError("%s:%d Failed to import strings", DMS_SOURCE_FILE, __LINE__);
    return false;
}

int DMSDevice::InitLibrary(const std::string& address) {
    library_.SetHostNames(HostNames());
    const int error = library_.UpnpInit(IsLocalServer() ? kLocalServerAddress : address, port_);
    if (error != UPNP_E_SUCCESS) {
        SysLogError("%s:%d Failed to init UPNP, err=%d", DMS_SOURCE_FILE, __LINE__, error);
        return error;
    }
    if (port_ == 0) port_ = library_.UpnpGetServerPort();
    return UPNP_E_SUCCESS;
}

bool DMSDevice::PrepareWebServer() {
    library_.UpnpSetMaxContentLength(kMaxContentLength);
    const std::string address = library_.UpnpGetServerIpAddress();
    DMSPrintf(2, "MediaServer bind to %s:%d\n", address.c_str(), port_);
    description_url_ = "http://" + address + ":" + std::to_string(port_) + "/desc/" + description_file_name_;
    DMSPrintf(2, "MediaServer device desc:%s\n", description_url_.c_str());
    if (const int error = library_.UpnpSetWebServerRootDir(web_server_root_); error != UPNP_E_SUCCESS) {
        SysLogError("%s:%d Error specifying webserver root directory -- %s: %d", DMS_SOURCE_FILE, __LINE__,
                    web_server_root_.c_str(), error);
        return false;
    }
    LearnInterfaces();
    virtual_dirs_ = std::make_unique<VirtualDirs>(
        WebContext{Directory(), *this,
                   [this](const std::string& user_agent) { return descriptions_.SelectDescription(user_agent); },
                   [this](const std::string& client) { return MacOfClient(client); }});
    virtual_dirs_->RegisterVirtualDirs(library_);
    return true;
}

bool DMSDevice::PrepareDescriptions() {
    if (!EnsureTempDir()) {
        SysLogError("%s:%d Failed to init DMS Temp Dir", DMS_SOURCE_FILE, __LINE__);
        return false;
    }
    // A local server is started for each user session; its addresses never change, so the first one's files serve all.
    // Some may still be missing: the first one was killed while it wrote them, or the temporary directory was emptied.
    const bool has_first = IsLocalServer() && NLIBCFileExist(DataFile(kRegistrationDescription).c_str());
    descriptions_.WriteAll(library_.UpnpGetServerIpAddress(), port_, has_first);
    for (const char* icon : kIcons) FileCopy(DataFile(icon), SystemPath(std::string(kTempDir) + "/" + icon));
    return true;
}

bool DMSDevice::RegisterDevice() {
    const std::string url =
        "http://" + library_.UpnpGetServerIpAddress() + ":" + std::to_string(port_) + "/" + kRegistrationDescription;
    int error = library_.UpnpRegisterRootDevice(url, DeviceCallback, this, &device_handle_);
    // The library takes the device only now; without it nothing would be announced and every action would be unknown.
    if (error == UPNP_E_SUCCESS) error = library_.UpnpSetDescURL(device_handle_, description_url_);
    if (error == UPNP_E_SUCCESS) return true;
    DMSPrintf(0, "Error registering the rootdevice : %d\n", error);
    return false;
}

bool DMSDevice::RegisterControlPoint() {
    if (const int error = library_.UpnpRegisterClient(DeviceCallback, this, &client_handle_); error != UPNP_E_SUCCESS) {
        DMSPrintf(0, "Error registering as client : %d\n", error);
        return false;
    }
    if (const int error = library_.UpnpSearchAsync(client_handle_, kSearchSeconds, kRendererType, this);
        error != UPNP_E_SUCCESS) {
        DMSPrintf(0, "Error UpnpSearchAsync : %d\n", error);
        return false;
    }
    return true;
}

void DMSDevice::LoadMenu() {
    const bool with_radio = options_.Get(Option::kRadio) == "yes";
    if (IsLocalServer()) {
        Directory().LoadMenu(options_.Get(Option::kLocalMenu), {}, with_radio);
        return;
    }
    const std::string style = options_.Get(Option::kMenuStyle);
    const bool is_built_in =
        std::find(std::begin(kBuiltInStyles), std::end(kBuiltInStyles), style) != std::end(kBuiltInStyles);
    const std::string dir(is_built_in ? kPackageDataDir : kPackageConfigDir);
    const std::string video_library = options_.Get(Option::kReelhouse);
    Directory().LoadMenu(
        SystemPath(dir + "/menu_" + style + ".xml"),
        {.in_template = EqualsIgnoreCase(video_library, "yes"), .in_full_menu = video_library == "yes"}, with_radio);
}

void DMSDevice::Advertise() {
    if (IsLocalServer()) return;
    const int seconds = std::max(kMinAdvertisementSeconds, ToInt(options_.Get(Option::kAdvertisementExpiry)));
    if (const int error = library_.UpnpSendAdvertisement(device_handle_, seconds); error != UPNP_E_SUCCESS) {
        DMSPrintf(0, "Error sending advertisements : %d\n", error);
    }
}

}  // namespace MediaServer
