#include "model/PropertyFilter.h"

#include <algorithm>
#include <iterator>

namespace MediaServer {

namespace {

struct PropertyBit {
    std::string_view name;
    std::uint32_t bit;
};
constexpr PropertyBit kProperties[] = {
    {"res", Property::kRes},
    {"res@resolution", Property::kResResolution},
    {"res@protocolInfo", Property::kResProtocolInfo},
    {"res@size", Property::kResSize},
    {"res@duration", Property::kResDuration},
    {"res@bitrate", Property::kResBitrate},
    {"res@sampleFrequency", Property::kResSampleFrequency},
    {"res@bitsPerSample", Property::kResBitsPerSample},
    {"res@nrAudioChannels", Property::kResNrAudioChannels},
    {"dc:creator", Property::kCreator},
    {"dc:date", Property::kDate},
    {"upnp:genre", Property::kGenre},
    {"upnp:album", Property::kAlbum},
    {"upnp:originalTrackNumber", Property::kTrackNumber},
    {"upnp:albumArtURI", Property::kAlbumArtURI},
    {"upnp:artist", Property::kArtist},
    {"@childCount", Property::kChildCount},
    {"dc:description", Property::kDescription},
    {"upnp:albumArtURI@dlna:profileID", Property::kAlbumArtProfile},
    {"upnp:author", Property::kAuthor},
    {"upnp:albumArtist", Property::kAlbumArtist},
    {"upnp:storageUsed", Property::kStorageUsed},
    {"upnp:actor", Property::kActor},
    {"upnp:director", Property::kDirector},
    {"upnp:rating", Property::kRating},
    {"upnp:channelName", Property::kChannelName},
    {"upnp:longDescription", Property::kLongDescription},
    {"*", Property::kAll},
};

std::uint32_t BitOf(std::string_view name) {
    const auto found = std::find_if(std::begin(kProperties), std::end(kProperties),
                                    [name](const PropertyBit& row) { return row.name == name; });
    return found == std::end(kProperties) ? 0 : found->bit;
}

}  // namespace

std::uint32_t FilterMask(std::string_view filter) {
    std::uint32_t mask = 0;
    while (true) {
        const std::size_t comma = filter.find(',');
        mask |= BitOf(filter.substr(0, comma));
        if (comma == std::string_view::npos) return mask;
        filter.remove_prefix(comma + 1);
    }
}

}  // namespace MediaServer
