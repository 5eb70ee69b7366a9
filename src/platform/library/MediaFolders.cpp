#include "platform/library/MediaFolders.h"

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

using Folders = std::vector<MediaFolder>;

/// One line "kind = path | name"; nothing, after the reason was logged, when it is broken.
std::optional<MediaFolder> ParseLine(const std::string& file, std::string_view line) {
    const auto reject = [&](const char* reason) {
        DMSPrintf(0, "ignoring line \"%s\" of \"%s\": %s", std::string{line}.c_str(), file.c_str(), reason);
        return std::nullopt;
    };
    const auto pair = ParseKeyValue(line);
    if (!pair) return reject("not of the form kind = path");
    const auto& [kind, value] = *pair;
    // The last one, so that a line with a display name can have any path.
    constexpr std::string_view kBar = " |";
    const std::size_t bar = value.rfind(kBar);
    const std::string_view path = TrimBlanks(value.substr(0, bar));
    if (!path.starts_with('/')) return reject("the path is not absolute");

    MediaFolder folder;
    folder.path = GetAbsolutePath(path);
    if (folder.path == "/") return reject("the root of the system cannot be shared");
    if (bar != std::string_view::npos) folder.name = TrimBlanks(value.substr(bar + kBar.size()));
    if (folder.name.empty()) folder.name = BaseName(folder.path);
    const bool all = kind == "all";
    folder.music = all || kind == "music";
    folder.video = all || kind == "video";
    folder.photo = all || kind == "photo";
    if (!folder.music && !folder.video && !folder.photo) return reject("the kind is none of music, video, photo, all");
    return folder;
}

/// A folder that several lines name is one folder with all their kinds; the first line gives the name.
void AddFolder(Folders& folders, MediaFolder folder) {
    for (MediaFolder& known : folders) {
        if (known.path != folder.path) continue;
        known.music |= folder.music;
        known.video |= folder.video;
        known.photo |= folder.photo;
        return;
    }
    folders.push_back(std::move(folder));
}

/// Appends, in parentheses, what `suffix_of` gives to each name that occurs more than once.
template <typename SuffixOf>
void TellEqualNamesApart(Folders& folders, SuffixOf suffix_of) {
    std::map<std::string, int> uses;
    for (const MediaFolder& folder : folders) ++uses[folder.name];
    for (MediaFolder& folder : folders)
        if (uses[folder.name] > 1) folder.name.append(" (").append(suffix_of(folder)).append(")");
}

Folders Parse(const std::string& file) {
    Folders folders;
    const auto text = ReadWholeFile(file, kMaxConfigFileBytes);
    std::string_view rest = text ? *text : std::string_view{};
    for (std::string_view line; NextConfigLine(rest, line);)
        if (auto folder = ParseLine(file, line)) AddFolder(folders, std::move(*folder));
    TellEqualNamesApart(folders, [](const MediaFolder& folder) { return BaseName(DirName(folder.path)); });
    TellEqualNamesApart(folders, [](const MediaFolder& folder) { return std::string_view{folder.path}; });
    return folders;
}

/// The file as it was read last, kept for as long as it has not changed.
class FolderCache {
public:
    std::shared_ptr<const Folders> Get() {
        const std::string file = SystemPath(kFoldersFile);
        const Version version{file, StateOf(file)};
        const std::scoped_lock lock(mutex_);
        if (!folders_ || version != version_) {
            folders_ = std::make_shared<const Folders>(version.second ? Parse(file) : Folders{});
            version_ = version;
        }
        return folders_;
    }

private:
    using Version = std::pair<std::string, std::optional<FileState>>;

    std::mutex mutex_;
    Version version_;  // guarded by mutex_
    // Guarded by mutex_. Shared, because a reader may still walk the folders when a change replaces them.
    std::shared_ptr<const Folders> folders_;
};

std::shared_ptr<const Folders> CurrentFolders() {
    static FolderCache cache;
    return cache.Get();
}

bool Holds(const MediaFolder& folder, MediaKind kind) {
    switch (kind) {
        case MediaKind::Music:
        case MediaKind::Playlist:
            return folder.music;
        case MediaKind::Video:
            return folder.video;
        case MediaKind::Photo:
            return folder.photo;
        case MediaKind::Directory:
            return true;
    }
    return false;
}

}  // namespace

std::vector<MediaFolder> ReadMediaFolders() {
    return *CurrentFolders();
}

std::string DMSGetMediaFolderPath(MediaKind kind) {
    const auto folders = CurrentFolders();
    for (const MediaFolder& folder : *folders)
        if (Holds(folder, kind)) return folder.path;
    return {};
}

std::map<std::string, std::string> GetIndexLoacationPath(MediaKind kind) {
    std::map<std::string, std::string> locations;
    const auto folders = CurrentFolders();
    for (const MediaFolder& folder : *folders)
        if (Holds(folder, kind)) locations.emplace(folder.path, folder.name);
    return locations;
}

}  // namespace MediaServer
