#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/Files.h"

namespace MediaServer {

/// Name and state of a file in a configuration folder.
struct ConfigFile {
    std::string path;
    FileState state;

    bool operator==(const ConfigFile&) const = default;
};

/// Regular files of `folder` with one of the extensions (without dot, any case), in name order; hidden ones are left
/// out, and what comes after the first kMaxConfigFiles. Empty for a folder that is missing.
std::vector<ConfigFile> ListConfigFiles(const std::string& folder, const std::vector<std::string_view>& extensions);
inline constexpr std::size_t kMaxConfigFiles = 1000;

/// Entry of a list by the position that a client names; null when there is none.
template <typename Value>
const Value* EntryAt(const std::vector<Value>& entries, std::int32_t index) {
    const bool is_there = index >= 0 && static_cast<std::size_t>(index) < entries.size();
    return is_there ? &entries[static_cast<std::size_t>(index)] : nullptr;
}

/// What the files of a configuration folder say, read again when one of them has changed.
/// Threads: any. What was handed out stays as it is.
template <typename Value>
class ConfigFolder {
public:
    using Values = std::vector<Value>;
    /// Reads one file into `values`; logs and leaves out what it cannot use.
    using Reader = std::function<void(const ConfigFile& file, Values& values)>;

    ConfigFolder(std::vector<std::string_view> extensions, Reader read)
        : extensions_(std::move(extensions)), read_(std::move(read)) {}

    /// @param folder  whose files are wanted; a few stats when nothing has changed.
    std::shared_ptr<const Values> Get(const std::string& folder) {
        std::vector<ConfigFile> files = ListConfigFiles(folder, extensions_);
        const std::scoped_lock lock(mutex_);
        if (!values_ || files != files_) {
            auto values = std::make_shared<Values>();
            for (const ConfigFile& file : files) read_(file, *values);
            values_ = std::move(values);
            files_ = std::move(files);
        }
        return values_;
    }

private:
    const std::vector<std::string_view> extensions_;
    const Reader read_;
    std::mutex mutex_;
    std::vector<ConfigFile> files_;         // guarded by mutex_
    std::shared_ptr<const Values> values_;  // guarded by mutex_; shared with who still reads an older one
};

}  // namespace MediaServer
