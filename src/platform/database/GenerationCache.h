#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace MediaServer {

/// Answers that stay true until the library changes, by the text of the question. Bounded: what would not fit makes
/// room by dropping everything.
/// Threads: any, at once.
template <typename Value>
class GenerationCache {
public:
    explicit GenerationCache(std::size_t max_bytes) : max_bytes_(max_bytes) {}

    std::optional<Value> Find(const std::string& question, std::int64_t generation) const {
        const std::scoped_lock lock(mutex_);
        if (generation != generation_) return std::nullopt;
        const auto found = answers_.find(question);
        return found == answers_.end() ? std::nullopt : std::optional<Value>(found->second);
    }

    /// @param generation  the library's generation read before the answer was made: an answer of a later one that is
    ///     kept under it is only ever given to who would have got the earlier one.
    void Keep(const std::string& question, std::int64_t generation, Value answer, std::size_t bytes) {
        constexpr std::size_t kEntryBytes = 100;
        bytes += question.size() + kEntryBytes;
        if (bytes > max_bytes_) return;
        const std::scoped_lock lock(mutex_);
        // Made by somebody slow. A new database, too, begins with a later one.
        if (generation < generation_) return;
        if (generation > generation_ || bytes_ + bytes > max_bytes_) {
            answers_.clear();
            bytes_ = 0;
            generation_ = generation;
        }
        if (answers_.insert_or_assign(question, std::move(answer)).second) bytes_ += bytes;
    }

private:
    const std::size_t max_bytes_;
    mutable std::mutex mutex_;
    std::int64_t generation_ = 0;                     // guarded by mutex_
    std::size_t bytes_ = 0;                           // guarded by mutex_
    std::unordered_map<std::string, Value> answers_;  // guarded by mutex_
};

}  // namespace MediaServer
