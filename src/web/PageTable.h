#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <string>

namespace MediaServer {

/// The temporary files of rendered pages, from the get-info that rendered one to the end of the transfer that sends it,
/// when the handle is closed. They are bounded, altogether and for one address, and the transfers with them.
///
/// A page belongs to one requester (its URL and address), and every rendering makes a page of its own: requests for the
/// same URL at the same time neither share nor lose a file. A page that nobody opens (a HEAD, a client that went away)
/// is removed when it is stale or when room is needed. Threads: any, at once; no file is touched under the lock.
class PageTable {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kMostPages = 64;
    static constexpr std::size_t kMostOfAddress = 4;
    static constexpr std::chrono::seconds kStaleAfter{60};

    PageTable() = default;
    PageTable(const PageTable&) = delete;
    PageTable& operator=(const PageTable&) = delete;
    /// Removes the files that are left.
    ~PageTable();

    /// Takes over a file, whatever happens. @return false (the file is then removed) when all places, or those of the
    /// address, are taken by transfers under way.
    bool Add(const std::string& url, const std::string& client, const std::string& path, Clock::time_point now);
    /// The requester's newest page that is not open yet, which now is; its file then stays until Remove.
    std::optional<std::string> Open(const std::string& url, const std::string& client);
    /// Forgets the page with that file and removes the file.
    void Remove(const std::string& path);

private:
    struct Page {
        std::string url, client, path;
        Clock::time_point rendered;
        bool open;
    };
    using Pages = std::list<Page>;

    template <typename Counts>
    bool MakeRoomLocked(std::size_t most, Counts counts, Pages& expired);  // the caller holds mutex_

    std::mutex mutex_;
    Pages pages_;  // guarded by mutex_; oldest first, at most kMostPages
};

}  // namespace MediaServer
