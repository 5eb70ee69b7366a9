#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/media/NIMB_MEDIA_INFO.h"
#include "support/TempDir.h"

namespace MediaServer {

/// A directory of real media files that goes with its owner.
class MediaFiles {
public:
    MediaFiles();

    const std::string& Root() const { return directory_.Path(); }
    std::string Path(const std::string& name) const { return directory_ / name; }

    /// Runs ffmpeg with these arguments, of which those that start with "@/" are files here; a failure fails the test.
    void Make(const std::vector<std::string>& arguments) const;
    /// A copy of a short song whose title is `title`, with parent directories; ffmpeg runs once for each title.
    void AddSong(const std::string& name, const std::string& title = "Song") const;
    void Write(const std::string& name, const std::string& content) const { directory_.Write(name, content); }

private:
    TempDir directory_;
};

/// What the indexer reads of files.
class ReaderTest : public ::testing::Test {
protected:
    /// Of a file that it can read, "name of the file" being the title without tags.
    NIMB_MEDIA_INFO Read(const std::string& name) const;
    /// Writes each file, of that name and content; none may give a record, and each a reason of one line.
    void ExpectUnreadable(const std::vector<std::pair<const char*, std::string>>& broken) const;
    MediaFiles files;
};

}  // namespace MediaServer
