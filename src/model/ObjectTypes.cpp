#include "model/ObjectTypes.h"

#include <algorithm>
#include <iterator>

namespace MediaServer {

namespace {

struct TypeClass {
    ObjectTypeCode code;
    std::string_view upnp_class;
};
constexpr TypeClass kClasses[] = {
    {ObjectType::kItem, "object.item"},
    {ObjectType::kAudioItem, "object.item.audioItem"},
    {ObjectType::kVideoItem, "object.item.videoItem"},
    {ObjectType::kImageItem, "object.item.imageItem"},
    {ObjectType::kMusicArtist, "object.container.person.musicArtist"},
    {ObjectType::kMusicAlbum, "object.container.album.musicAlbum"},
    {ObjectType::kPhotoAlbum, "object.container.album.photoAlbum"},
    {ObjectType::kGenre, "object.container.genre"},
    {ObjectType::kMusicGenre, "object.container.genre.musicGenre"},
    {ObjectType::kMovieGenre, "object.container.genre.movieGenre"},
    {ObjectType::kPlaylist, "object.container.playlistContainer"},
    {ObjectType::kContainer, "object.container"},
    {ObjectType::kStorageFolder, "object.container.storageFolder"},
};

}  // namespace

std::string_view UpnpClassOf(ObjectTypeCode code) {
    const auto found = std::find_if(std::begin(kClasses), std::end(kClasses),
                                    [code](const TypeClass& row) { return row.code == code; });
    return found == std::end(kClasses) ? std::string_view{} : found->upnp_class;
}

}  // namespace MediaServer
