#include "gateway/DescriptorCache.h"

#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace MediaServer {
namespace {

UniqueFd Duplicate(const UniqueFd& file) {
    return UniqueFd(fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
}

}  // namespace

UniqueFd DescriptorCache::Find(const std::string& key) {
    const std::scoped_lock lock(mutex_);
    const auto found = index_.find(key);
    if (found == index_.end()) return {};
    entries_.splice(entries_.begin(), entries_, found->second);
    return Duplicate(entries_.front().file);
}

void DescriptorCache::Add(const std::string& key, const UniqueFd& file) {
    struct stat info {};
    UniqueFd copy = Duplicate(file);
    if (!copy || fstat(copy.get(), &info) != 0) return;
    const auto bytes = static_cast<std::size_t>(info.st_size);
    const std::scoped_lock lock(mutex_);
    if (bytes > max_bytes_ || index_.contains(key)) return;
    while (!entries_.empty() && (entries_.size() == max_entries_ || bytes_ + bytes > max_bytes_)) {
        bytes_ -= entries_.back().bytes;
        index_.erase(entries_.back().key);
        entries_.pop_back();
    }
    std::list<Entry> added;
    added.push_front({key, std::move(copy), bytes});
    index_.emplace(added.front().key, added.begin());
    entries_.splice(entries_.begin(), added);
    bytes_ += bytes;
}

UniqueFd MakeAnonymousFile(std::string_view content, const struct timespec& modified) {
    UniqueFd file(memfd_create("picture", MFD_CLOEXEC));
    if (!file || !WriteAll(file.get(), content)) return {};
    const struct timespec times[] = {modified, modified};
    futimens(file.get(), times);
    return file;
}

}  // namespace MediaServer
