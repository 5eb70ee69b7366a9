#include "videolib/FolderKey.h"

#include <optional>
#include <vector>

#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {

std::string MakeFolderKey(LibReelhouse::VideoMetadataAPI& library, std::string_view directory) {
    const std::string dir(directory);
    if (dir.empty()) {
        SysLogError("%s:%d Bad parameter", kFolderSource, __LINE__);
        return {};
    }
    std::string file_id, file_path;
    if (!library.GetFileIdPathByDirPath(dir, file_id, file_path)) {
        SysLogError("%s:%d Failed to get id and path by directory path [dir=%s]", kFolderSource, __LINE__, dir.c_str());
        return {};
    }
    return MakeFolderKey(dir, file_id, file_path);
}

std::string MakeFolderKey(std::string_view directory, std::string_view file_id, std::string_view file_path) {
    const std::string dir(directory), file(file_path);
    const std::size_t dir_parts = StringExplode(dir, "/").size(), file_parts = StringExplode(file, "/").size();
    if (dir_parts == 0 || file_parts == 0) {
        SysLogError("%s:%d Error: wrong path [Dir = %s, file = %s]", kFolderSource, __LINE__, dir.c_str(),
                    file.c_str());
        return {};
    }
    const std::string levels = std::to_string(static_cast<long>(file_parts) - static_cast<long>(dir_parts) - 1);
    if (levels.starts_with('-')) {
        SysLogError("%s:%d Error: wrong levels [levels = %s]", kFolderSource, __LINE__, levels.c_str());
        return {};
    }
    return std::string(file_id) + "L" + levels;
}

std::string ResolveFolderKey(LibReelhouse::VideoMetadataAPI& library, std::string_view key) {
    if (key.empty()) {
        SysLogError("%s:%d Bad parameter", kFolderSource, __LINE__);
        return {};
    }
    const std::vector<std::string> fields = Split(key, 'L');
    const std::optional<std::int32_t> levels = fields.size() == 2 ? ParseRowId(fields[1]) : std::nullopt;
    if (!levels || !ParseRowId(fields[0])) {
        SysLogError("%s:%d Error: wrong itemID = %.*s", kFolderSource, __LINE__, static_cast<int>(key.size()),
                    key.data());
        return {};
    }
    const std::string path = library.GetFieldValueById("video_file", fields[0], "path");
    const std::vector<std::string_view> parts = StringExplode(path, "/");
    std::string directory;
    for (std::size_t i = 0; i + static_cast<std::size_t>(*levels) + 1 < parts.size(); ++i) {
        directory.append("/").append(parts[i]);
    }
    return directory;
}

}  // namespace MediaServer
