#include "platform/media/CoverArt.h"

namespace MediaServer {

const std::vector<std::string>& GetCoverList() {
    static const std::vector<std::string> kNames = {
        "folder.jpg",   "cover.jpg", "Folder.jpg", "Cover.jpg",         "front.jpg",  "Front.jpg",
        "albumart.jpg", "album.jpg", "poster.jpg", "AlbumArtSmall.jpg", "folder.png", "cover.png",
        "Folder.png",   "Cover.png", "front.png",  "Front.png",         "album.png",  "poster.png",
    };
    return kNames;
}

}  // namespace MediaServer
