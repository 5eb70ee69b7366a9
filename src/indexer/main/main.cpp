#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "indexer/Daemon.h"
#include "indexer/FolderWatch.h"
#include "indexer/Indexer.h"
#include "indexer/Progress.h"
#include "indexer/Thumbnails.h"
#include "platform/database/Database.h"
#include "platform/library/MediaFolders.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"

using namespace MediaServer;

namespace {

constexpr char kUsage[] =
    "usage: dms-indexer (--once [--thumbnails] | --watch) [--quiet]\n"
    "\n"
    "Brings the media database in line with the folders of media_folders.conf.\n"
    "  --once         scan the folders and exit; status 0 when all went well, 1 when the database failed\n"
    "  --thumbnails   then make the thumbnails that photos lack\n"
    "  --watch        scan, then make thumbnails and follow changes until SIGTERM\n"
    "  --quiet        print nothing but errors\n";

constexpr std::string_view kIndexerLogFile = "/var/log/dms-indexer.log";
constexpr std::chrono::minutes kRescanInterval{10};
constexpr std::chrono::seconds kFirstRetry{2}, kLastRetry{60};

std::atomic<bool> stop = false;

void HandleStop(int) {
    stop = true;
}

void CatchSignals() {
    struct sigaction action {};
    action.sa_handler = HandleStop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

std::string Summary(const ScanResult& result, std::chrono::duration<double> duration) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "%s: %zu files stored, %zu unchanged, %zu renamed, %zu rows removed, %zu unreadable; %.1f s",
                  result.complete ? "indexed" : "indexing was cut short", result.stored, result.unchanged,
                  result.renamed, result.removed, result.broken, duration.count());
    return text;
}

/// @param report  whether a scan that changed nothing is worth a line.
template <typename Scan>
bool RunScan(Progress& progress, bool report, Scan scan) {
    const auto begin = std::chrono::steady_clock::now();
    const ScanResult result = scan();
    progress.End(Summary(result, std::chrono::steady_clock::now() - begin), report || result.Changed());
    if (result.Changed()) NotifyDaemon();
    return result.complete;
}

bool PrepareDatabase() {
    PGconn* connection = ThreadDBConnection();
    return connection && MigrateSchema(connection, (SystemPath(kPackageDataDir) + "/schema").c_str());
}

/// @return false when the database failed.
bool MakeSomeThumbnails(ThumbnailPass& pass, std::size_t& made) {
    try {
        LibraryTables tables(ThreadDBConnection());
        made += pass.MakeSome(tables);
        return true;
    } catch (const DatabaseError&) {
        return false;
    }
}

bool MakeAllThumbnails(Progress& progress, ThumbnailPass& pass) {
    const auto begin = std::chrono::steady_clock::now();
    std::size_t made = 0;
    pass.AddAll();
    while (!stop && !pass.IsDone()) {
        if (!MakeSomeThumbnails(pass, made)) return false;
    }
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    char text[64];
    std::snprintf(text, sizeof text, "thumbnails of %zu photos made; %.1f s", made, duration.count());
    progress.End(text, true);
    return true;
}

bool ScanOnce(Progress& progress, bool with_thumbnails) {
    const FolderSet folders(ReadMediaFolders());
    ThumbnailPass pass(folders, stop);
    Indexer indexer(folders, progress, stop, {}, with_thumbnails ? &pass : nullptr);
    if (!PrepareDatabase() || !RunScan(progress, true, [&] { return indexer.ScanAll(); })) return false;
    return !with_thumbnails || MakeAllThumbnails(progress, pass);
}

bool Exists(const MediaFolder& folder) {
    return NLIBCFileExist(folder.path.c_str());
}

/// Scans once, then follows changes, and makes thumbnails while nothing changes, until something calls for another
/// whole scan.
/// @param thumbnails_are_complete  whether all photos of the library have been looked at for theirs.
/// @return false when the database failed.
bool WatchUntilRescan(Progress& progress, bool& thumbnails_are_complete) {
    const FolderSet folders(ReadMediaFolders());
    FolderWatch watch(SystemPath(kFoldersFile));
    ThumbnailPass pass(folders, stop);
    if (!thumbnails_are_complete) pass.AddAll();
    const auto watch_also = [&](const std::string& directory) { watch.Add(directory); };
    Indexer indexer(folders, progress, stop, watch_also, &pass);
    if (!PrepareDatabase() || !RunScan(progress, true, [&] { return indexer.ScanAll(); })) return false;

    // A folder that is not there cannot be watched for its coming either.
    const auto can_follow = [&] {
        return watch.IsComplete() && std::all_of(folders.All().begin(), folders.All().end(), Exists);
    };
    const auto rescan = std::chrono::steady_clock::now() + kRescanInterval;
    while (!stop && (can_follow() || std::chrono::steady_clock::now() < rescan)) {
        const FolderWatch::Changes changes = watch.Wait(std::chrono::seconds(pass.IsDone() ? 1 : 0));
        if (changes.everything) return true;
        std::size_t made = 0;
        const bool done = changes.None()
                              ? pass.IsDone() || MakeSomeThumbnails(pass, made)
                              : RunScan(progress, false, [&] { return indexer.ScanDirectories(changes.directories); });
        if (!done) return false;
        thumbnails_are_complete = thumbnails_are_complete || pass.IsDone();
    }
    return true;
}

void Watch(Progress& progress) {
    std::chrono::seconds retry = kFirstRetry;
    bool thumbnails_are_complete = false;
    while (!stop) {
        if (WatchUntilRescan(progress, thumbnails_are_complete)) {
            retry = kFirstRetry;
            continue;
        }
        for (auto waited = std::chrono::seconds(0); waited < retry && !stop; ++waited) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
        }
        retry = std::min(retry * 2, kLastRetry);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bool once = false, watch = false, quiet = false, thumbnails = false;
    for (const std::string_view argument : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (argument == "--help") return std::fputs(kUsage, stdout) < 0;
        bool* const option = argument == "--once"         ? &once
                             : argument == "--watch"      ? &watch
                             : argument == "--quiet"      ? &quiet
                             : argument == "--thumbnails" ? &thumbnails
                                                          : nullptr;
        if (!option) std::fprintf(stderr, "dms-indexer: unrecognized option \"%s\"\n", std::string(argument).c_str());
        if (!option) return 2;
        *option = true;
    }
    if (once == watch || (thumbnails && watch)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    CatchSignals();
    DMSLOGToStderr(true);
    DMSLOGInit(SystemPath(kIndexerLogFile).c_str());
    Progress progress(quiet);
    if (once) return ScanOnce(progress, thumbnails) ? 0 : 1;
    Watch(progress);
    return 0;
}
