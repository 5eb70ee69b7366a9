#include "platform/upnp/UpnpWeb.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <fcntl.h>

#include "platform/http/HttpFile.h"

namespace MediaServer {

namespace {

struct RootFile {
    std::string_view name, content_type;
};
constexpr std::string_view kXml = "text/xml; charset=\"utf-8\"", kJpeg = "image/jpeg", kPng = "image/png";
// The configuration lies in the same folder, and so do the templates that the descriptions are made from.
constexpr RootFile kRootFiles[] = {
    {"initall.xml", kXml},           {"ContentDirectory.xml", kXml},
    {"ConnectionManager.xml", kXml}, {"X_MS_MediaReceiverRegistrar.xml", kXml},
    {"dmsicon48.jpg", kJpeg},        {"dmsicon48.png", kPng},
    {"dmsicon120.jpg", kJpeg},       {"dmsicon120.png", kPng},
};

/// An open handle of a virtual directory. Shared by the answer and the copies that its function type makes of it.
class OpenHandle {
public:
    explicit OpenHandle(const VirtualDirCallbacks& callbacks) : callbacks_(callbacks) {}
    ~OpenHandle() {
        if (handle_) callbacks_.close(handle_);
    }
    OpenHandle(const OpenHandle&) = delete;
    OpenHandle& operator=(const OpenHandle&) = delete;

    bool Open(const WebRequest& request, const std::string& name) {
        handle_ = callbacks_.open(request, name, false);
        return handle_ != nullptr;
    }
    std::ptrdiff_t Read(std::uint64_t offset, char* buffer, std::size_t size) {
        if (offset != position_ && callbacks_.seek(handle_, static_cast<std::int64_t>(offset), SEEK_SET) != 0)
            return -1;
        const int count = callbacks_.read(handle_, buffer, size);
        position_ = offset + static_cast<std::uint64_t>(std::max(count, 0));
        return count;
    }
    /// A descriptor of its own for the file behind the handle; none when there is no file.
    UniqueFd Descriptor() const {
        const int fd = callbacks_.descriptor ? callbacks_.descriptor(handle_) : -1;
        return UniqueFd(fd < 0 ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, 0));
    }

private:
    const VirtualDirCallbacks callbacks_;
    void* handle_ = nullptr;
    std::uint64_t position_ = 0;
};

}  // namespace

HttpResponse ServeVirtualFile(const HttpRequest& request, const VirtualDirCallbacks& callbacks) {
    const WebRequest web{request.headers, request.client_address};
    const std::string name = request.query.empty() ? request.path : request.path + "?" + request.query;
    WebFileInfo info;
    if (!callbacks.get_info || !callbacks.open || !callbacks.close) return PlainResponse(404);
    const bool is_known = callbacks.get_info(web, name, info);
    if (info.is_busy) return PlainResponse(503);
    if (!is_known || info.is_directory) return PlainResponse(404);
    if (!info.is_readable) return PlainResponse(403);
    const auto handle = std::make_shared<OpenHandle>(callbacks);
    if (!handle->Open(web, name)) return PlainResponse(404);
    if (UniqueFd file = handle->Descriptor()) return ServeDescriptor(request, std::move(file), info.content_type);

    HttpResponse response;
    response.headers.emplace_back("Content-Type", info.content_type);
    response.headers.emplace_back("Last-Modified", HttpDate(static_cast<std::time_t>(info.last_modified)));
    response.length = info.length;
    response.stream = [handle](std::uint64_t offset, char* buffer, std::size_t size) {
        return handle->Read(offset, buffer, size);
    };
    return response;
}

HttpResponse ServeRootFile(const HttpRequest& request, const std::string& root) {
    const std::string_view name = std::string_view(request.path).substr(1);
    const auto* file = std::find_if(std::begin(kRootFiles), std::end(kRootFiles),
                                    [&](const RootFile& candidate) { return candidate.name == name; });
    if (root.empty() || file == std::end(kRootFiles)) return PlainResponse(404);
    return ServeFile(request, root + request.path, file->content_type);
}

}  // namespace MediaServer
