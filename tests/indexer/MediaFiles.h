#pragma once

#include <string>
#include <vector>

namespace MediaServer {

/// A directory of real media files that goes with its owner.
class MediaFiles {
public:
    MediaFiles();
    ~MediaFiles();
    MediaFiles(const MediaFiles&) = delete;
    MediaFiles& operator=(const MediaFiles&) = delete;

    const std::string& Root() const { return root_; }
    std::string Path(const std::string& name) const { return root_ + "/" + name; }

    /// Runs ffmpeg with these arguments, its working directory being the root; a failure fails the test.
    void Make(const std::vector<std::string>& arguments) const;
    /// A copy of a short song whose title is `title`, with parent directories; ffmpeg runs once for each title.
    void AddSong(const std::string& name, const std::string& title = "Song") const;
    void Write(const std::string& name, const std::string& content) const;

private:
    std::string root_;
};

}  // namespace MediaServer
