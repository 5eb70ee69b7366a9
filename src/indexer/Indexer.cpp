#include "indexer/Indexer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>

#include "indexer/MediaPool.h"
#include "indexer/Thumbnails.h"
#include "indexer/VideoCatalogue.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

constexpr int kReaderThreads = 2;
/// After this many changed files the planner's idea of the tables is worth renewing at once.
constexpr std::size_t kManyFiles = 500;

bool IsGone(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

/// Whether a row that a whole listing lacks may be removed: not when the file is there and merely cannot be asked.
bool MayRemove(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 || IsGone(path);
}

/// Takes the row of that path out of `known`; rows that remain at the end are of what has gone.
std::optional<KnownRow> TakeRow(std::vector<KnownRow>& known, MediaKind kind, const std::string& path) {
    auto row = std::lower_bound(known.begin(), known.end(), path,
                                [](const KnownRow& a, const std::string& b) { return a.path < b; });
    for (; row != known.end() && row->path == path; ++row) {
        if (row->kind != kind || row->id == 0) continue;
        KnownRow taken = *row;
        row->id = 0;
        return taken;
    }
    return std::nullopt;
}

}  // namespace

Indexer::Indexer(const FolderSet& folders, Progress& progress, const std::atomic<bool>& stop,
                 FolderWalker::Listener listener, ThumbnailPass* thumbnails)
    : folders_(folders), progress_(progress), stop_(stop), listener_(std::move(listener)), thumbnails_(thumbnails) {}

ScanResult Indexer::ScanAll() {
    only_new_ = false;
    progress_.Begin(progress_.WantsTotal() ? CountFiles() : 0);
    return Scan([this](FolderWalker& walker) { WalkAll(walker); });
}

ScanResult Indexer::ScanDirectories(const std::set<std::string>& paths) {
    only_new_ = true;
    progress_.Begin(0);
    return Scan([&](FolderWalker& walker) {
        for (const std::string& path : paths) {
            const std::int32_t id = tables_->FindDirectory(path);
            if (id != 0 && !IsGone(path)) walker.Walk(path, id, [this](Listing& listing) { Visit(listing); });
        }
    });
}

ScanResult Indexer::Scan(const std::function<void(FolderWalker&)>& walk) {
    result_ = {};
    try {
        LibraryTables tables(ThreadDBConnection());
        MediaPool pool(kReaderThreads, progress_);
        VideoCatalogue catalogue(ThreadDBConnection());
        tables_ = &tables;
        catalogue_ = &catalogue;
        pool_ = &pool;
        was_empty_ = tables.IsEmpty();
        FolderWalker walker(folders_, stop_, true, listener_);
        walk(walker);
        result_.complete = pool.Finish() && !stop_;
        result_.stored = pool.Stored();
        result_.broken = pool.Broken();
        // Only a whole look at the folders tells what has gone from what was not reached.
        if (result_.complete) result_.removed = tables.RemoveGone();
        if (result_.stored + result_.removed >= kManyFiles) tables.Analyze();
        if (result_.complete) result_.described = catalogue.Update(stop_);
        result_.complete = result_.complete && !stop_;
    } catch (const DatabaseError&) {
        result_.complete = false;
    }
    return result_;
}

void Indexer::WalkAll(FolderWalker& walker) {
    tables_->MarkUnshared(folders_);
    for (const MediaFolder& folder : folders_.Outermost()) {
        struct stat status;
        const char* problem = ProblemOfPath(folder.path);
        if (!problem && stat(folder.path.c_str(), &status) != 0) problem = std::strerror(errno);
        if (problem) {
            DMSPrintf(0, "could not read shared folder \"%s\": %s", folder.path.c_str(), problem);
            continue;
        }
        const std::int32_t id = tables_->PutDirectory(folder.path, folder.name, 0, StateOf(status).mtime);
        walker.Walk(folder.path, id, [this](Listing& listing) { Visit(listing); });
    }
}

std::size_t Indexer::CountFiles() {
    std::size_t count = 0;
    FolderWalker walker(folders_, stop_, false);
    for (const MediaFolder& folder : folders_.Outermost()) {
        walker.Walk(folder.path, 0, [&](const Listing& listing) { count += listing.files.size(); });
    }
    return count;
}

void Indexer::Visit(Listing& listing) {
    std::vector<KnownRow> known;
    if (!was_empty_) known = tables_->ChildrenOf(listing.id);
    std::sort(known.begin(), known.end(), [](const KnownRow& a, const KnownRow& b) { return a.path < b.path; });
    VisitFiles(listing, known);
    VisitDirectories(listing, known);
    if (thumbnails_) RemoveStaleThumbnails(listing.path);
    catalogue_->See(listing);
    for (const KnownRow& row : known) {
        if (row.id != 0 && MayRemove(row.path)) tables_->MarkGone(row);
    }
}

void Indexer::VisitFiles(const Listing& listing, std::vector<KnownRow>& known) {
    std::vector<const FoundFile*> added, changed;
    for (const FoundFile& file : listing.files) {
        const auto row = TakeRow(known, file.kind, listing.path + "/" + file.name);
        if (!row) added.push_back(&file);
        if (row && row->state != file.state) changed.push_back(&file);
    }
    const std::size_t unchanged = listing.files.size() - added.size() - changed.size();
    result_.unchanged += unchanged;
    progress_.Step(unchanged);

    if (!was_empty_ && !added.empty()) TakeOverRenamed(listing, added);
    std::copy(changed.begin(), changed.end(), std::back_inserter(added));
    for (const FoundFile* file : added) {
        if (thumbnails_ && file->kind == MediaKind::Photo) thumbnails_->AddDirectory(listing.id);
        pool_->Add({listing.path + "/" + file->name, file->kind, file->state, listing.id});
    }
}

/// A file that moved keeps its row, and so its place in the clients' lists and playlists. It is read again all the
/// same: its title may come from its name.
void Indexer::TakeOverRenamed(const Listing& listing, const std::vector<const FoundFile*>& files) {
    std::vector<std::int64_t> inodes;
    inodes.reserve(files.size());
    for (const FoundFile* file : files) inodes.push_back(file->state.inode);
    const std::vector<KnownRow> rows = tables_->FilesByInode(inodes);
    for (const FoundFile* file : files) {
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const KnownRow& candidate) {
            return candidate.kind == file->kind && candidate.state == file->state && IsGone(candidate.path);
        });
        if (row == rows.end()) continue;
        if (tables_->Rename(*row, listing.path + "/" + file->name, listing.id)) ++result_.renamed;
    }
}

void Indexer::VisitDirectories(Listing& listing, std::vector<KnownRow>& known) {
    for (FoundDirectory& directory : listing.directories) {
        const std::string path = listing.path + "/" + directory.name;
        if (const auto row = TakeRow(known, MediaKind::Directory, path)) {
            directory.id = row->id;
            directory.descend = !only_new_;
        } else {
            directory.id = tables_->PutDirectory(path, directory.name, listing.id, directory.state.mtime);
        }
    }
}

}  // namespace MediaServer
