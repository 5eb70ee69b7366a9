#include "web/VirtualDirs.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/database/MediaInfoDB.h"
#include "platform/media/MediaUrl.h"
#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "web/BrowsePage.h"

namespace MediaServer {

/// An open file of a transfer.
struct VirtualDirs::OpenFile {
    UniqueFd fd;
    std::string temp_path;  ///< page file to remove on close; empty for other files
};

namespace {

constexpr std::array<const char*, 9> kDirectories = {"/p/",  "/sp/",   "/bp/",  "/m/",       "/v/",
                                                     "/rh/", "/desc/", "/cds/", "/tmp_icon/"};
constexpr std::string_view kDescription = "/desc/device.xml";
constexpr std::string_view kIconMark = "/tmp_icon/dmsicon";
constexpr std::string_view kPagePattern = "/tmp/cdsXXXXXX";

struct Icon {
    std::string_view name, path, type;
};
constexpr std::array<Icon, 4> kIcons = {{
    {"dmsicon48.jpg", "/tmp/dms/dmsicon48.jpg", "image/jpeg"},
    {"dmsicon48.png", "/tmp/dms/dmsicon48.png", "image/png"},
    {"dmsicon120.jpg", "/tmp/dms/dmsicon120.jpg", "image/jpeg"},
    {"dmsicon120.png", "/tmp/dms/dmsicon120.png", "image/png"},
}};

/// What a name stands for, tested in this order.
enum class NameClass { Description, Icon, Page, Media };

NameClass Classify(std::string_view name) {
    if (name == kDescription) return NameClass::Description;
    if (name.find(kIconMark) != name.npos) return NameClass::Icon;
    if (name.starts_with(kPagePrefix)) return NameClass::Page;
    return NameClass::Media;
}

const Icon* FindIcon(std::string_view name) {
    for (const Icon& icon : kIcons) {
        if (name.find(icon.name) != name.npos) return &icon;
    }
    return nullptr;
}

std::string UserAgent(const WebRequest& request) {
    const auto agent = request.headers.find("user-agent");
    return agent == request.headers.end() ? std::string() : agent->second;
}

bool StatRegularFile(const std::string& path, WebFileInfo& info) {
    struct stat facts {};
    if (path.empty() || ::stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    info.length = static_cast<std::uint64_t>(facts.st_size);
    info.last_modified = facts.st_mtime;
    return true;
}

/// Media folders belong to the user: what lies there under an indexed name may meanwhile be a pipe, which must not
/// hold up a worker.
UniqueFd OpenRegularFile(const std::string& path) {
    UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat facts {};
    if (!file || ::fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return {};
    return file;
}

int ReadSome(int fd, char* buffer, std::size_t length) {
    constexpr std::size_t kMost = 1 << 20;  // the count comes back as an int
    ssize_t got = 0;
    do {
        got = ::read(fd, buffer, std::min(length, kMost));
    } while (got < 0 && errno == EINTR);
    return static_cast<int>(got);
}

/// One more at work, while it lives.
class CountedWork {
public:
    explicit CountedWork(std::atomic<int>& at_work) : at_work_(at_work), count_(++at_work) {}
    ~CountedWork() { --at_work_; }
    CountedWork(const CountedWork&) = delete;
    CountedWork& operator=(const CountedWork&) = delete;
    /// How many there were when this one began, itself included.
    int Count() const { return count_; }

private:
    std::atomic<int>& at_work_;
    const int count_;
};

/// The library is C and knows no exceptions; what fails here (memory) fails this one request.
template <typename Result, typename Call>
Result Guarded(Result on_failure, Call call) noexcept {
    try {
        return call();
    } catch (const std::exception& error) {
        DMSPrintf(0, "could not serve a web request: %s", error.what());
        return on_failure;
    }
}

}  // namespace

bool ResolveMediaPath(const std::string& url, std::string* file_path) {
    const std::optional<MediaUrl> media = ParseMediaUrl(url);
    if (!media) return false;
    const bool small = media->prefix == "sp";
    const bool big = media->prefix == "bp";
    if (!small && !big && media->prefix != "p" && media->prefix != "v" && media->prefix != "m") return false;
    std::string path;
    if (FindMediaPath(media->kind, media->id, path) != Lookup::Found) return false;
    *file_path = small || big ? PhotoThumbnailPath(path, big) : std::move(path);
    return true;
}

VirtualDirs::VirtualDirs(WebContext context) : context_(std::move(context)) {}

int VirtualDirs::RegisterVirtualDirs(UpnpLibrary& library) {
    library.UpnpSetVirtualDirCallbacks(Callbacks());
    for (const char* directory : kDirectories) {
        const int result = library.UpnpAddVirtualDir(directory);
        if (result != 0) DMSPrintf(0, "could not add virtual directory \"%s\": error %d", directory, result);
    }
    return 1;
}

VirtualDirCallbacks VirtualDirs::Callbacks() {
    const auto file_of = [](void* handle) { return static_cast<OpenFile*>(handle); };
    const auto fd_of = [file_of](void* handle) { return handle == nullptr ? -1 : file_of(handle)->fd.get(); };
    VirtualDirCallbacks callbacks;
    callbacks.get_info = [this](const WebRequest& request, const std::string& name, WebFileInfo& info) {
        return Guarded(false, [&] { return GetInfo(request, name, info); });
    };
    callbacks.open = [this](const WebRequest& request, const std::string& name, bool write) {
        return Guarded<void*>(nullptr, [&] { return Open(request, name, write); });
    };
    callbacks.read = [fd_of](void* handle, char* buffer, std::size_t length) {
        return ReadSome(fd_of(handle), buffer, length);
    };
    callbacks.seek = [fd_of](void* handle, std::int64_t offset, int origin) {
        return ::lseek(fd_of(handle), offset, origin) < 0 ? -1 : 0;
    };
    callbacks.close = [this, file_of](void* handle) {
        Close(file_of(handle));
        return 0;
    };
    // A page keeps its handle until it has been sent, so that the table knows which ones are; a file need not.
    callbacks.descriptor = [file_of, fd_of](void* handle) {
        return handle != nullptr && file_of(handle)->temp_path.empty() ? fd_of(handle) : -1;
    };
    return callbacks;
}

bool VirtualDirs::GetInfo(const WebRequest& request, const std::string& name, WebFileInfo& info) {
    switch (Classify(name)) {
        case NameClass::Description:
            info.content_type = "text/xml";
            return StatRegularFile(context_.select_description(UserAgent(request)), info);
        case NameClass::Icon: {
            const Icon* icon = FindIcon(name);
            if (icon == nullptr) return false;
            info.content_type = icon->type;
            return StatRegularFile(SystemPath(icon->path), info);
        }
        case NameClass::Page:
            return RenderPage(request, name, info);
        case NameClass::Media: {
            std::string path;
            if (IsRefused(FindMac(request.client_address)) || !ResolveMediaPath(name, &path)) return false;
            info.content_type = context_.directory.Mime().GetMimeType(name);
            return StatRegularFile(path, info);
        }
    }
    return false;
}

bool VirtualDirs::RenderPage(const WebRequest& request, const std::string& name, WebFileInfo& info) {
    const std::optional<std::string> mac = FindKnownMac(request.client_address);
    if (!mac || IsRefused(*mac)) return false;
    const CountedWork rendering(renderings_);
    info.is_busy = rendering.Count() > kMostRenderings;
    if (info.is_busy) return false;
    ClientRequest client;
    client.headers = request.headers;
    client.client_address = request.client_address;
    client.profile_name = context_.clients.FindKey(*mac, "profileName");

    std::string path = SystemPath(kPagePattern);
    info.length = 0;
    const UniqueFd file(::mkostemp(path.data(), O_CLOEXEC));
    if (!file) {
        DMSPrintf(0, "could not create page file \"%s\": %s", path.c_str(), std::strerror(errno));
        return false;
    }
    const bool written = Guarded(false, [&] {
        return RenderBrowsePage(context_.directory, client, name, [&](std::string_view text) {
            info.length += text.size();
            return WriteAll(file.get(), text);
        });
    });
    if (!written) {
        DMSPrintf(0, "could not write page file \"%s\": %s", path.c_str(), std::strerror(errno));
        ::unlink(path.c_str());
        return false;
    }
    info.last_modified = std::time(nullptr);
    info.content_type = "text/html";
    info.is_busy = !pages_.Add(name, request.client_address, path, PageTable::Clock::now());
    return !info.is_busy;
}

VirtualDirs::OpenFile* VirtualDirs::Open(const WebRequest& request, const std::string& name, bool write) {
    const NameClass name_class = Classify(name);
    const std::optional<std::string> mac = FindKnownMac(request.client_address);
    if (!mac) return nullptr;
    RecordClient(request, *mac, name);
    if (write) return nullptr;

    auto file = std::make_unique<OpenFile>();
    std::string path;
    switch (name_class) {
        case NameClass::Description:
            // By the agent as it came: a client without one gets the description for such clients, as GetInfo said,
            // though "No Open User Agent" is what its entry records.
            path = context_.select_description(UserAgent(request));
            break;
        case NameClass::Icon:
            if (const Icon* icon = FindIcon(name); icon != nullptr) path = SystemPath(icon->path);
            break;
        case NameClass::Page:
            path = pages_.Open(name, request.client_address).value_or("");
            file->temp_path = path;
            break;
        case NameClass::Media:
            if (IsRefused(*mac) || !ResolveMediaPath(name, &path)) return nullptr;
            DMSPrintf(2, "WebServOpen: ResultPath: %s\n", path.c_str());
            break;
    }
    file->fd = OpenRegularFile(path);
    if (!file->fd) {
        Close(file.release());
        return nullptr;
    }
    return file.release();
}

void VirtualDirs::Close(OpenFile* file) {
    const std::unique_ptr<OpenFile> owned(file);
    if (owned != nullptr && !owned->temp_path.empty()) pages_.Remove(owned->temp_path);
}

/// A description is fetched by who meets the server anew: another user agent then means another client behind the same
/// address, and what was learnt about the old one is forgotten.
void VirtualDirs::RecordClient(const WebRequest& request, const std::string& mac, const std::string& name) {
    HeaderMap headers = request.headers;
    std::string agent = UserAgent(request);
    if (name == kDescription) {
        if (agent.empty()) headers["user-agent"] = agent = "No Open User Agent";
        const std::string known = context_.clients.FindKey(mac, "open_user-agent");
        if (!known.empty() && known != DMSClientList::AsStored(agent)) context_.clients.EraseObject(mac);
    }
    context_.clients.UpdateKeys("WebSerOpen", mac, request.client_address, headers);
    DMSPrintf(2, "WebServOpen: %s, agent=%s\n", name.c_str(), agent.c_str());
}

/// A client whose access right was taken away sees that a server is there, but neither its pages nor its media.
bool VirtualDirs::IsRefused(const std::string& mac) const {
    return context_.clients.FindKey(mac, "isAccess") == "false";
}

/// The neighbour table comes before the client list: an address may have passed to another device since it was listed.
std::string VirtualDirs::FindMac(const std::string& address) const {
    std::string mac = context_.mac_of_client(address);
    if (mac != kUnknownMAC) return mac;
    mac = context_.clients.FindMacByIP(address);
    return mac.empty() ? kUnknownMAC : mac;
}

std::optional<std::string> VirtualDirs::FindKnownMac(const std::string& address) const {
    std::string mac = FindMac(address);
    if (mac != kUnknownMAC) return mac;
    DMSPrintf(2, "Warning: Get 00:00:00:00:00:00 MAC address by %s from ARP table\n", address.c_str());
    return std::nullopt;
}

}  // namespace MediaServer
