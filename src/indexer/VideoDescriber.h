#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "indexer/VideoDetails.h"

namespace MediaServer {

/// A video as the media database has it.
struct CatalogueFile {
    std::int32_t id;
    std::string path, title, date;
};

/// What the library says about a file, and from what.
struct VideoDescription {
    VideoDetails video;
    bool has_nfo = false;
    VideoDetails show;  ///< of an episode
    bool show_has_nfo = false;
};

/// Describes videos from their names and from the descriptions beside them: "<name>.nfo" (the name also without "cd1",
/// "part2" at its end), "movie.nfo" in the folder, and of episodes "tvshow.nfo" in the folder or in the one above that
/// of the season. A description says what a video is, whatever its name says.
/// Threads: one. Keeps what it read last, for files of one folder come one after the other.
class VideoDescriber {
public:
    /// What Describe would go by, without reading it: equal stamps mean equal descriptions.
    std::string StampOf(const CatalogueFile& file) const;
    VideoDescription Describe(const CatalogueFile& file);
    /// Whether a client finds subtitles beside the video: "<name>.srt".
    static bool HasSubtitle(const std::string& path);

private:
    struct Nfo {
        std::string path;
        std::optional<VideoDetails> details;
    };
    const std::optional<VideoDetails>& Read(const std::string& path, Nfo& kept);
    const VideoDetails* FindOwn(const std::string& path);
    void DescribeShow(const std::string& path, VideoDescription& description);

    Nfo own_, of_folder_, of_show_;
};

}  // namespace MediaServer
