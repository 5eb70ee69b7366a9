#include "indexer/MediaPool.h"

#include <array>
#include <chrono>
#include <ctime>

#include "indexer/MediaReader.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr std::size_t kQueueLimit = 1024;
constexpr std::size_t kRowsPerStatement = 200;
constexpr std::chrono::seconds kLongestWait{3};

std::string LocalTime(std::int64_t nanoseconds) {
    const std::time_t seconds = nanoseconds / 1'000'000'000;
    std::tm parts{};
    char text[32] = "";
    // A file can carry any time; the database takes those that dates are for.
    constexpr std::time_t kYear9999 = 253370764800;
    if (seconds < 0 || seconds > kYear9999 || !localtime_r(&seconds, &parts)) return "1970-01-01 00:00:00";
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

MediaRow RowOf(MediaJob&& job) {
    MediaRow row;
    row.parent_id = job.parent_id;
    row.state = job.state;
    row.record.title = BaseNameWithoutExtension(job.path);
    row.record.date = LocalTime(job.state.mtime);
    row.record.timetaken = "1970-01-01 00:00:00";
    row.record.filesize = job.state.size;
    row.record.path = std::move(job.path);
    return row;
}

/// Rows of one thread that wait to be stored, by kind.
class Batches {
public:
    /// @return true when that kind has enough for a statement.
    bool Add(MediaKind kind, MediaRow row) {
        std::vector<MediaRow>& rows = rows_.at(static_cast<std::size_t>(kind));
        rows.push_back(std::move(row));
        return rows.size() >= kRowsPerStatement;
    }
    /// @return rows stored.
    std::size_t Store(LibraryTables& tables, MediaKind kind) {
        std::vector<MediaRow>& rows = rows_.at(static_cast<std::size_t>(kind));
        const std::size_t stored = rows.size() - tables.PutFiles(kind, rows);
        rows.clear();
        return stored;
    }

    std::size_t StoreAll(LibraryTables& tables) {
        std::size_t stored = 0;
        for (std::size_t kind = 0; kind < rows_.size(); ++kind) stored += Store(tables, static_cast<MediaKind>(kind));
        return stored;
    }

private:
    std::array<std::vector<MediaRow>, 4> rows_;
};

}  // namespace

MediaPool::MediaPool(int threads, Progress& progress) : progress_(progress) {
    for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { Work(); });
}

MediaPool::~MediaPool() {
    Finish();
}

void MediaPool::Add(MediaJob job) {
    if (failed_) throw DatabaseError{};
    std::unique_lock lock(mutex_);
    not_full_.wait(lock, [this] { return queue_.size() < kQueueLimit; });
    queue_.push_back(std::move(job));
    not_empty_.notify_one();
}

bool MediaPool::Finish() {
    {
        const std::scoped_lock lock(mutex_);
        closed_ = true;
    }
    not_empty_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    return !failed_;
}

bool MediaPool::Take(MediaJob& job) {
    std::unique_lock lock(mutex_);
    not_empty_.wait(lock, [this] { return closed_ || !queue_.empty(); });
    if (queue_.empty()) return false;
    job = std::move(queue_.front());
    queue_.pop_front();
    not_full_.notify_one();
    return true;
}

void MediaPool::Work() {
    try {
        LibraryTables tables(ThreadDBConnection());
        StoreAll(tables);
    } catch (const DatabaseError&) {
        failed_ = true;
        // Whoever fills the queue must not wait for ever.
        for (MediaJob job; Take(job);) {
        }
    }
}

void MediaPool::StoreAll(LibraryTables& tables) {
    Batches batches;
    auto stored_at = std::chrono::steady_clock::now();
    for (MediaJob job; !failed_ && Take(job);) {
        const MediaKind kind = job.kind;
        MediaRow row = RowOf(std::move(job));
        std::string reason;
        if (ReadMedia(kind, row.record, reason)) {
            if (batches.Add(kind, std::move(row))) stored_ += batches.Store(tables, kind);
        } else {
            ++broken_;
            DMSPrintf(0, "could not read \"%s\": %s", row.record.path.c_str(), reason.c_str());
        }
        progress_.Step();
        // Files that take long to read are shown before there are enough of them.
        if (const auto now = std::chrono::steady_clock::now(); now - stored_at > kLongestWait) {
            stored_ += batches.StoreAll(tables);
            stored_at = now;
        }
    }
    stored_ += batches.StoreAll(tables);
}

}  // namespace MediaServer
