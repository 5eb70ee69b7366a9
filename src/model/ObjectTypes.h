#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace MediaServer {

/// Integer class of an object: odd codes are containers, even codes items.
using ObjectTypeCode = std::int32_t;

namespace ObjectType {
inline constexpr ObjectTypeCode kItem = 0, kContainer = 1, kAudioItem = 2, kImageItem = 4, kPlaylist = 5,
                                kVideoItem = 6, kGenre = 9, kStorageFolder = 15, kMusicItem = 18, kMusicArtist = 19,
                                kMusicAlbum = 23, kMusicGenre = 25, kPhotoAlbum = 39, kMovieGenre = 41;
}
constexpr bool IsContainerType(ObjectTypeCode code) {
    return (code & 1) != 0;
}

/// upnp:class of a type code (UPnP ContentDirectory:1, appendix C); empty for an unknown code.
std::string_view UpnpClassOf(ObjectTypeCode code);

/// What every object of the tree has. Menu nodes derive from it; the simple serializer collects it bare.
class CDSObject {
public:
    CDSObject(std::string object_title, std::string object_id, std::string parent_id, ObjectTypeCode code)
        : title(std::move(object_title)), id(std::move(object_id)), parentId(std::move(parent_id)), typeCode(code) {}
    virtual ~CDSObject() = default;
    CDSObject(const CDSObject&) = default;
    CDSObject& operator=(const CDSObject&) = default;

    std::string title;     ///< display title, already translated
    std::string id;        ///< object identifier
    std::string parentId;  ///< "-1" for a root
    ObjectTypeCode typeCode;
};

}  // namespace MediaServer
