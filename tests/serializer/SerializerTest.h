#pragma once

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "model/ObjectTypes.h"
#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "serializer/CDSDIDLSerializer.h"
#include "support/Records.h"

namespace MediaServer {

/// What one serializer is made of; a test changes what it is about.
struct SerializerSetup {
    DMSClientChecker client{"", "", true};
    std::uint32_t options = 0;
    std::uint32_t filter = Property::kAll;
    std::string title_format;
    MimeTable mime;

    SerializerSetup() {
        mime.AddPairs(
            "mp3 audio/mpeg flac audio/flac wav audio/wav l16 audio/L16;rate=44100;channels=2 m4a audio/mp4 "
            "ogg audio/ogg ape audio/x-ape aif audio/aiff jpg image/jpeg png image/png gif image/gif "
            "nef image/x-nikon-nef mkv video/x-matroska mpg video/mpeg m2ts video/mpeg srt text/srt");
    }
    /// With capability bits, and the bits below for members that are none.
    explicit SerializerSetup(std::uint32_t bits, std::uint32_t option_bits = 0,
                             std::uint32_t filter_bits = Property::kAll)
        : SerializerSetup() {
        client.flags = bits & ~(kNoDlna | kRoles | kLargePhoto | kFullMenu | kArtProfile);
        client.full_menu = (bits & kFullMenu) != 0;
        client.always_art_profile = (bits & kArtProfile) != 0;
        client.dlna_parameters = (bits & kNoDlna) == 0;
        client.role_attributes = (bits & kRoles) != 0;
        client.large_photo = (bits & kLargePhoto) != 0;
        options = option_bits;
        filter = filter_bits;
    }
    static constexpr std::uint32_t kNoDlna = 1U << 31, kRoles = 1U << 30, kLargePhoto = 1U << 29, kFullMenu = 1U << 28,
                                   kArtProfile = 1U << 27;

    std::string Write(const std::function<void(CDSDIDLSerializer&)>& calls) const {
        CDSDIDLSerializer serializer(client, mime, "10.0.0.7", 50001, options, filter, title_format);
        calls(serializer);
        return serializer.GetResult();
    }
};

inline NIMB_MEDIA_INFO Track() {
    NIMB_MEDIA_INFO track = RecordOf(SoundFacts{"mp3", 320000, 44100, 2});
    track.id = 42;
    track.path = "/music/a song.mp3";
    track.title = "Tom & Jerry";
    track.album = "B";
    track.artist = "A";
    track.album_artist = "AA";
    track.genre = "G";
    track.composer = "C";
    track.track = 3;
    track.year = 1999;
    track.duration = 200.9F;
    track.filesize = 8000000000;
    return track;
}

/// The texts between each `open` and the next `close`.
inline std::vector<std::string> Between(const std::string& text, const std::string& open, const std::string& close) {
    std::vector<std::string> found;
    for (std::size_t at = text.find(open); at != std::string::npos; at = text.find(open, at)) {
        at += open.size();
        found.push_back(text.substr(at, text.find(close, at) - at));
    }
    return found;
}

}  // namespace MediaServer
