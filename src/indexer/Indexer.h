#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <set>
#include <string>

#include "indexer/FolderWalker.h"
#include "indexer/LibraryTables.h"
#include "indexer/Progress.h"

namespace MediaServer {

class MediaPool;
class ThumbnailPass;
class VideoCatalogue;

/// What a scan did.
struct ScanResult {
    bool complete = false;  ///< false when the database failed or the scan was stopped
    std::size_t unchanged = 0, stored = 0, renamed = 0, removed = 0, broken = 0;
    std::size_t described = 0;  ///< videos that the video library tells about anew
    bool Changed() const { return stored + renamed + removed + described > 0; }
};

/// Brings the media database in line with the shared folders. A second run over the same files changes nothing.
/// Errors: files and directories that cannot be read cost one log line each and keep the rows that they have.
/// Threads: one; reads files with two more of its own.
class Indexer {
public:
    /// @param stop  ends a scan early when set; may be set by a signal handler.
    /// @param listener  told the path of each directory before it is listed.
    /// @param thumbnails  told of the directories with new photos, outlives this; null: nobody makes thumbnails.
    Indexer(const FolderSet& folders, Progress& progress, const std::atomic<bool>& stop,
            FolderWalker::Listener listener = {}, ThumbnailPass* thumbnails = nullptr);

    /// Scans all shared folders.
    ScanResult ScanAll();
    /// Scans these directories, and below them only what is new.
    ScanResult ScanDirectories(const std::set<std::string>& paths);

private:
    ScanResult Scan(const std::function<void(FolderWalker&)>& walk);
    void WalkAll(FolderWalker& walker);
    std::size_t CountFiles();
    void Visit(Listing& listing);
    void VisitFiles(const Listing& listing, std::vector<KnownRow>& known);
    void VisitDirectories(Listing& listing, std::vector<KnownRow>& known);
    void TakeOverRenamed(const Listing& listing, const std::vector<const FoundFile*>& files);

    const FolderSet& folders_;
    Progress& progress_;
    const std::atomic<bool>& stop_;
    FolderWalker::Listener listener_;
    ThumbnailPass* const thumbnails_;

    // Of the scan under way.
    LibraryTables* tables_ = nullptr;
    MediaPool* pool_ = nullptr;
    VideoCatalogue* catalogue_ = nullptr;
    bool was_empty_ = false;
    bool only_new_ = false;  ///< whether known subdirectories are left alone
    ScanResult result_;
};

}  // namespace MediaServer
