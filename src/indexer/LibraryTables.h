#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "indexer/FolderWalker.h"
#include "platform/database/Database.h"
#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// How long a statement of the indexer may take before the server is given up on; its own limit ends it earlier.
inline constexpr std::chrono::minutes kStatementPatience{11};
/// Tells the other programs that the library has changed.
inline constexpr char kRaiseGeneration[] = "UPDATE library SET generation = generation + 1";

/// A row that the database holds about a file or directory.
struct KnownRow {
    MediaKind kind;
    std::int32_t id;
    std::string path;
    FileState state;
};

/// A row to write.
struct MediaRow {
    NIMB_MEDIA_INFO record;
    std::int32_t parent_id = 0;
    FileState state;
};

/// The indexer's side of the media database, on one connection. Every operation that changes a table raises the
/// library's generation in the same statement. Errors: a failed operation throws DatabaseError after the reason was
/// logged; what was done before it stands. Threads: one at a time; each thread has its own.
class LibraryTables {
public:
    explicit LibraryTables(PGconn* connection);

    /// Files and directories directly in a directory.
    std::vector<KnownRow> ChildrenOf(std::int32_t directory_id);
    /// Files of any kind with one of these inodes.
    std::vector<KnownRow> FilesByInode(std::span<const std::int64_t> inodes);
    /// Row id of a directory; 0 when it has no row.
    std::int32_t FindDirectory(const std::string& path);
    bool IsEmpty();
    /// The photos with the next higher row ids, at most `most`. @param directories  null: of all directories.
    std::vector<KnownRow> PhotosAfter(std::int32_t id, const std::set<std::int32_t>* directories, int most);

    /// Adds a directory or brings its row up to date; changes nothing when it is. @param parent_id  0 for the top of a
    /// shared folder. @return its row id.
    std::int32_t PutDirectory(const std::string& path, const std::string& title, std::int32_t parent_id,
                              std::int64_t mtime);
    /// A file got another name: its row keeps its id. @return false when the new name has a row already.
    bool Rename(const KnownRow& row, const std::string& path, std::int32_t parent_id);
    /// Adds files or brings their rows up to date. @return the rows that the database refused, after logging each.
    std::size_t PutFiles(MediaKind kind, std::span<const MediaRow> rows);

    /// Remembers rows that have gone, until RemoveGone; a row that is renamed meanwhile stays.
    void MarkGone(const KnownRow& row);
    /// The same for everything in directories that lie in no shared folder any more.
    void MarkUnshared(const FolderSet& folders);
    /// @return number of rows removed.
    std::size_t RemoveGone();

    /// Lets the planner know tables of another size, and keeps index-only reads possible.
    void Analyze();

private:
    PgResult Run(const std::string& sql, std::span<const char* const> params, const char* what);
    bool TryPutFiles(MediaKind kind, std::span<const MediaRow> rows, std::string& reason);
    void MarkAllGone(const std::string& condition);
    const std::string& InsertText(MediaKind kind);

    PGconn* connection_;
    std::string insert_texts_[4];
};

/// The database did not do what it was asked; the reason is in the log.
struct DatabaseError {};

}  // namespace MediaServer
