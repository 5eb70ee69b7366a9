#pragma once

#include <cstdint>
#include <string_view>

namespace MediaServer {

/// Bits of the Filter mask, one per optional DIDL-Lite property (UPnP ContentDirectory:1, 2.5.7).
namespace Property {
inline constexpr std::uint32_t kRes = 0x1, kResResolution = 0x2, kResProtocolInfo = 0x4, kResSize = 0x8,
                               kResDuration = 0x10, kResBitrate = 0x20, kResSampleFrequency = 0x40,
                               kResBitsPerSample = 0x80, kResNrAudioChannels = 0x100, kCreator = 0x200, kDate = 0x400,
                               kGenre = 0x800, kAlbum = 0x1000, kTrackNumber = 0x2000, kAlbumArtURI = 0x4000,
                               kArtist = 0x8000, kChildCount = 0x10000, kDescription = 0x20000,
                               kAlbumArtProfile = 0x40000, kAuthor = 0x80000, kAlbumArtist = 0x100000,
                               kStorageUsed = 0x200000, kActor = 0x400000, kDirector = 0x800000, kRating = 0x1000000,
                               kChannelName = 0x2000000, kLongDescription = 0x4000000, kAll = 0xFFFFFFFF;
}  // namespace Property

/// Mask of a Filter argument: names split at ",", compared exactly; unknown names add nothing, "*" adds all.
std::uint32_t FilterMask(std::string_view filter);

}  // namespace MediaServer
