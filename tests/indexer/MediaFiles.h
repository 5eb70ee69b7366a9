#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/media/NIMB_MEDIA_INFO.h"
#include "support/TempDir.h"

namespace MediaServer {

/// A directory of real media files that goes with its owner.
class MediaFiles {
public:
    MediaFiles();

    const std::string& Root() const { return directory_.Path(); }
    std::string Path(const std::string& name) const { return directory_ / name; }

    /// Runs ffmpeg with these arguments, its working directory being the root; a failure fails the test.
    void Make(const std::vector<std::string>& arguments) const;
    /// A copy of a short song whose title is `title`, with parent directories; ffmpeg runs once for each title.
    void AddSong(const std::string& name, const std::string& title = "Song") const;
    void Write(const std::string& name, const std::string& content) const { directory_.Write(name, content); }

private:
    TempDir directory_;
};

/// What the indexer reads of a file, "name of the file" being its title without tags. None, and why, when it cannot.
std::optional<NIMB_MEDIA_INFO> ReadFacts(const std::string& path, std::string& reason);

}  // namespace MediaServer
