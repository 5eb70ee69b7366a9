#include "web/PageTable.h"

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace MediaServer {

PageTable::~PageTable() {
    for (const Page& page : pages_) ::unlink(page.path.c_str());
}

bool PageTable::Add(const std::string& url, const std::string& client, const std::string& path, Clock::time_point now) {
    std::list<Page> expired;
    bool added = false;
    {
        const std::lock_guard lock(mutex_);
        for (auto page = pages_.begin(); page != pages_.end();) {
            const auto next = std::next(page);
            if (!page->open && now - page->rendered > kStaleAfter) expired.splice(expired.end(), pages_, page);
            page = next;
        }
        if (pages_.size() >= kMostPages) {
            const auto oldest = std::find_if(pages_.begin(), pages_.end(), [](const Page& page) { return !page.open; });
            if (oldest != pages_.end()) expired.splice(expired.end(), pages_, oldest);
        }
        added = pages_.size() < kMostPages;
        if (added) pages_.push_back({url, client, path, now, false});
    }
    for (const Page& page : expired) ::unlink(page.path.c_str());
    if (!added) ::unlink(path.c_str());
    return added;
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
