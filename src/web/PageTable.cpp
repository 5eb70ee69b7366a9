#include "web/PageTable.h"

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace MediaServer {

PageTable::~PageTable() {
    for (const Page& page : pages_) ::unlink(page.path.c_str());
}

/// Moves the oldest page that is not being sent to `expired` when there are `most` of those that count.
/// @return false when there still are.
template <typename Counts>
bool PageTable::MakeRoomLocked(std::size_t most, Counts counts, Pages& expired) {
    if (static_cast<std::size_t>(std::count_if(pages_.begin(), pages_.end(), counts)) < most) return true;
    const auto oldest =
        std::find_if(pages_.begin(), pages_.end(), [&](const Page& page) { return counts(page) && !page.open; });
    if (oldest == pages_.end()) return false;
    expired.splice(expired.end(), pages_, oldest);
    return true;
}

bool PageTable::Add(const std::string& url, const std::string& client, const std::string& path,
                    Clock::time_point now) try {
    // All that needs memory comes first.
    Pages page, expired;
    page.push_back({url, client, path, now, false});
    bool added = false;
    {
        const std::lock_guard lock(mutex_);
        for (auto other = pages_.begin(); other != pages_.end();) {
            const auto next = std::next(other);
            if (!other->open && now - other->rendered > kStaleAfter) expired.splice(expired.end(), pages_, other);
            other = next;
        }
        const auto of_address = [&](const Page& other) { return other.client == client; };
        const auto any = [](const Page&) { return true; };
        added = MakeRoomLocked(kMostOfAddress, of_address, expired) && MakeRoomLocked(kMostPages, any, expired);
        (added ? pages_ : expired).splice(added ? pages_.end() : expired.end(), page);
    }
    for (const Page& other : expired) ::unlink(other.path.c_str());
    return added;
} catch (...) {
    ::unlink(path.c_str());
    throw;
}

std::optional<std::string> PageTable::Open(const std::string& url, const std::string& client) {
    const std::lock_guard lock(mutex_);
    const auto page = std::find_if(pages_.rbegin(), pages_.rend(), [&](const Page& candidate) {
        return !candidate.open && candidate.url == url && candidate.client == client;
    });
    if (page == pages_.rend()) return std::nullopt;
    page->open = true;
    return page->path;
}

void PageTable::Remove(const std::string& path) {
    {
        const std::lock_guard lock(mutex_);
        const auto page =
            std::find_if(pages_.begin(), pages_.end(), [&](const Page& candidate) { return candidate.path == path; });
        if (page != pages_.end()) pages_.erase(page);
    }
    ::unlink(path.c_str());
}

}  // namespace MediaServer
