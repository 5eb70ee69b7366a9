#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "indexer/FolderWalker.h"
#include "indexer/VideoDescriber.h"
#include "platform/database/Database.h"

namespace MediaServer {

/// Keeps the catalogue of the video library in line with the table of videos and the descriptions beside them.
///
/// The database itself notes the directories in which videos came, changed or went; See() adds those whose descriptions
/// did. Update() works that list off, so that what one run could not do the next one does, and a run in which nothing
/// happened costs one question. Within a directory only files are described whose name, description or subtitles
/// changed. Errors: a failed operation throws DatabaseError after the reason was logged; nothing is then half done.
/// Threads: one; memory is that of one statement's files.
class VideoCatalogue {
public:
    explicit VideoCatalogue(PGconn* connection);

    /// Takes note of the descriptions that lie in a directory now.
    void See(const Listing& listing);
    /// @param stop  ends the work early, at a point where all done is done.
    /// @return number of files described anew.
    std::size_t Update(const std::atomic<bool>& stop);

private:
    struct Position {
        std::string directory = "0", file = "0";
    };

    PgResult Run(const std::string& sql, std::span<const char* const> params, const char* what);
    void RunPlain(const std::string& sql);
    void CompareSeen();
    std::string TakeDirectories();
    std::size_t DescribeDirectories(const std::string& directories);
    PgResult NextFiles(const std::string& directories, Position& position);
    std::size_t DescribeFiles(const PGresult* rows);
    void Store(const std::string& json);
    void CountDirectories();
    void Analyze();

    PGconn* connection_;
    VideoDescriber describer_;
    std::vector<std::pair<std::int32_t, std::int64_t>> seen_;  ///< directories and stamps, not yet compared
};

}  // namespace MediaServer
