#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Profile of the clients that nothing in agent.conf recognises. A section of that name sets what applies to them.
inline constexpr std::string_view kDefaultProfile = "Default Profile";

/// Bits of the recognition flags; the capability word is the same word. What each does is said where it is set, in
/// agent.conf, by the name in parentheses.
namespace ClientFlag {
inline constexpr std::uint32_t kNoThumbnails = 0x1;  ///< no extra thumbnail resources (no-thumbnails)
inline constexpr std::uint32_t kNoL16 = 0x2;         ///< no L16 transcoded resource (no-l16)
inline constexpr std::uint32_t kL16Only = 0x4;       ///< transcode ".wav", transcoded audio as L16 only (l16-only)
inline constexpr std::uint32_t kNoAlbumArt = 0x8;    ///< no album art (no-album-art)
inline constexpr std::uint32_t kThumbnailsFirst =
    0x10;                                              ///< photo thumbnails before the main resource (thumbnails-first)
inline constexpr std::uint32_t kNoVideoCover = 0x20;   ///< no cover art on videos (no-video-cover)
inline constexpr std::uint32_t kTranscodeMkv = 0x40;   ///< Matroska as MPEG-2 transport stream (transcode-mkv)
inline constexpr std::uint32_t kVideoAlbumArt = 0x80;  ///< video cover as upnp:albumArtURI (video-album-art)
inline constexpr std::uint32_t kSubtitleResource = 0x100;  ///< subtitle res on videos (subtitle-resource)
inline constexpr std::uint32_t kPhoto1280 = 0x200;         ///< 1280-pixel photo renditions, "xlp" (photo-1280)
inline constexpr std::uint32_t kTextItems = 0x400;  ///< lists subtitle files; file names with extension (text-items)
inline constexpr std::uint32_t kForceJpegLarge = 0x800;   ///< JPEG_LRG for larger JPEGs (force-jpeg-lrg)
inline constexpr std::uint32_t kMpegMapping = 0x1000;     ///< size-based MPEG profile names (mpeg-mapping)
inline constexpr std::uint32_t kSmall640 = 0x2000;        ///< 640-pixel small photo renditions (small-640)
inline constexpr std::uint32_t kSlashSeparator = 0x4000;  ///< identifiers use "/" and "$" (slash-separator)
inline constexpr std::uint32_t kOriginalArt = 0x8000;     ///< art in original size (original-art)
inline constexpr std::uint32_t kVideoDetails =
    0x10000;  ///< people, genres and summaries of the video library, if the filter asks (video-details)
inline constexpr std::uint32_t kVideoFileNames =
    0x20000;  ///< video titles are file names with extension (video-file-names)
}  // namespace ClientFlag

/// The profile of one recognised client: a plain record, cheap to copy, built anew for every request.
class DMSClientChecker {
public:
    /// Reads agent.conf for the whole process; a broken line is logged at level 0 with its number and skipped, a
    /// missing file leaves only "Default Profile". Called again, it replaces the list (requests under way keep theirs).
    static void InitProfileList(const std::string& profile_file);
    static void ReleaseClientList();

    /// A known profile name decides; else the first profile whose user-agent rule matches; else the default profile.
    /// @param no_agent_is_dlna  a client whose user agent is missing or matches no profile is treated as a DLNA client;
    ///                          when false it gets no DLNA parameters. Recognised clients are not affected.
    /// Threads: any, at once.
    DMSClientChecker(std::string_view user_agent, std::string_view profile_name, bool no_agent_is_dlna);

    std::string profile_name{kDefaultProfile};
    bool full_menu = false;   ///< console kind: "ContainerID", full built-in menu, searches as browses; it is also
                              ///< the full-metadata flag A: filter forced to all, ".wav" offered transcoded
    bool flat_menu = false;   ///< flat built-in menu, class searches from the root
    bool audio_only = false;  ///< music-only menu
    bool numbered_containers =
        false;                     ///< numbered menu for "1" and "6", SQL search, search capabilities "*" (Roku kind)
    bool dlna_parameters = true;   ///< off: the fourth protocolInfo field is "*"
    bool role_attributes = false;  ///< upnp:artist and upnp:author with role attributes
    bool full_metadata = false;    ///< full-metadata flag B: filter forced to all
    bool large_photo = false;      ///< photos too large for JPEG_LRG are announced as such, at 1024x1024
    bool always_art_profile = false;  ///< dlna:profileID on every album art URI
    std::uint32_t flags = 0;          ///< ClientFlag bits

    bool Has(std::uint32_t flag) const { return (flags & flag) != 0; }
    /// Separator between the fields of an object identifier, and the one inside a field.
    std::string_view Separator() const { return Has(ClientFlag::kSlashSeparator) ? "/" : "$"; }
    std::string_view InnerSeparator() const { return Has(ClientFlag::kSlashSeparator) ? "$" : "#"; }

    /// Characters that this client's parser cannot take, empty for most.
    const std::string& GetOffendChar() const { return offending_; }
    /// Profile name that this client wants for a video, by container, codec and size rules of its profile; empty
    /// without a rule.
    std::string getVideoProfileName(const NIMB_MEDIA_INFO& media) const;

private:
    std::string offending_;
    std::shared_ptr<const struct ClientProfile> profile_;  // shared with the list, which may be replaced meanwhile
};

}  // namespace MediaServer
