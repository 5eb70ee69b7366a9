#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "indexer/FolderWalker.h"
#include "indexer/LibraryTables.h"
#include "indexer/Progress.h"

namespace MediaServer {

/// A file to read and store.
struct MediaJob {
    std::string path;
    MediaKind kind;
    FileState state;
    std::int32_t parent_id;
};

/// Threads that read files and store what they find, each on a database connection of its own, many rows at a time.
class MediaPool {
public:
    MediaPool(int threads, Progress& progress);
    ~MediaPool();

    /// Queues a file; waits while the queue is full, so that memory stays flat. Throws DatabaseError when the
    /// database has failed a thread.
    void Add(MediaJob job);
    /// Waits until all is stored. @return false when the database failed; the reason is in the log.
    bool Finish();

    std::size_t Stored() const { return stored_; }
    std::size_t Broken() const { return broken_; }

private:
    void Work();
    void StoreAll(LibraryTables& tables);
    bool Take(MediaJob& job);

    Progress& progress_;
    std::atomic<std::size_t> stored_ = 0, broken_ = 0;
    std::atomic<bool> failed_ = false;

    std::mutex mutex_;
    std::condition_variable not_empty_, not_full_;
    std::deque<MediaJob> queue_;  // guarded by mutex_
    bool closed_ = false;         // guarded by mutex_
    std::vector<std::thread> threads_;
};

}  // namespace MediaServer
