#include "platform/media/CoverArt.h"

#include <initializer_list>

#include <sys/stat.h>

#include "platform/text/Text.h"

namespace MediaServer {

namespace {

bool IsRegularFile(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

/// The video's name with one of these ends, else the folder's cover.
std::string FindOwnPicture(std::string_view video_path, std::initializer_list<const char*> ends) {
    const std::string own = std::string(DirName(video_path)) + "/" + std::string(BaseNameWithoutExtension(video_path));
    for (const char* end : ends) {
        if (IsRegularFile(own + end)) return own + end;
    }
    return FindFolderCover(video_path);
}

}  // namespace

const std::vector<std::string>& GetCoverList() {
    static const std::vector<std::string> kNames = {
        "folder.jpg",   "cover.jpg", "Folder.jpg", "Cover.jpg",         "front.jpg",  "Front.jpg",
        "albumart.jpg", "album.jpg", "poster.jpg", "AlbumArtSmall.jpg", "folder.png", "cover.png",
        "Folder.png",   "Cover.png", "front.png",  "Front.png",         "album.png",  "poster.png",
    };
    return kNames;
}

std::string FindFolderCover(std::string_view song_path) {
    const std::string folder = std::string(DirName(song_path)) + "/";
    for (const std::string& name : GetCoverList()) {
        if (IsRegularFile(folder + name)) return folder + name;
    }
    return {};
}

std::string FindVideoCover(std::string_view video_path) {
    return FindOwnPicture(video_path, {".jpg", ".png"});
}

std::string FindVideoPoster(std::string_view video_path) {
    return FindOwnPicture(video_path, {".jpg", ".png", "-poster.jpg", "-poster.png"});
}

}  // namespace MediaServer
