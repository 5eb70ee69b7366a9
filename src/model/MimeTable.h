#pragma once

#include <map>
#include <string>
#include <string_view>

namespace MediaServer {

/// File-name extension to MIME type. Threads: filled before sharing, read by any number afterwards.
class MimeTable {
public:
    /// Adds whitespace-separated pairs "extension type"; a later pair replaces an earlier one, a trailing single
    /// token is ignored.
    void AddPairs(std::string_view text);
    /// Adds "extension=type" tokens split at ","; tokens without "=" are skipped.
    void AddCustom(std::string_view list);
    /// Type by the lower-cased extension of a file name or path, or "application/octet-stream".
    const std::string& GetMimeType(std::string_view name) const;

private:
    std::map<std::string, std::string, std::less<>> types_;
};

}  // namespace MediaServer
