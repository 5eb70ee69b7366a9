#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "indexer/Daemon.h"
#include "indexer/FolderWatch.h"
#include "indexer/MediaFiles.h"

namespace MediaServer {
namespace {

using std::chrono::milliseconds;
using Directories = std::set<std::string>;
constexpr milliseconds kPatience{3000};

TEST(FolderWatch, TellsTheDirectoriesThatChanged) {
    const MediaFiles files;
    files.Write("conf/media_folders.conf", "");
    for (const char* name : {"a/1.mp3", "b/2.mp3", "c/3.mp3"}) files.Write(name, "x");
    FolderWatch watch(files.Path("conf/media_folders.conf"));
    for (const char* name : {"a", "b", "c"}) watch.Add(files.Path(name));
    EXPECT_TRUE(watch.Wait(milliseconds(50)).None());

    files.Write("a/new.mp3", "x");
    files.Write("b/.hidden.mp3", "x");
    std::filesystem::remove(files.Path("c/3.mp3"));
    EXPECT_EQ(watch.Wait(kPatience).directories, (Directories{files.Path("a"), files.Path("c")}));

    {
        std::ofstream growing(files.Path("b/growing.mp3"));
        EXPECT_TRUE(watch.Wait(milliseconds(50)).None()) << "a file is looked at when it is complete";
    }
    EXPECT_EQ(watch.Wait(kPatience).directories, Directories{files.Path("b")});
    std::filesystem::create_symlink("1.mp3", files.Path("a/link.mp3"));
    EXPECT_EQ(watch.Wait(kPatience).directories, Directories{files.Path("a")});

    std::filesystem::rename(files.Path("a"), files.Path("renamed"));
    watch.Add(files.Path("renamed"));
    files.Write("renamed/4.mp3", "x");
    EXPECT_EQ(watch.Wait(kPatience).directories, Directories{files.Path("renamed")});

    files.Write("conf/other.conf", "x");
    EXPECT_FALSE(watch.Wait(kPatience).everything);
    files.Write("conf/new", "x");
    std::filesystem::rename(files.Path("conf/new"), files.Path("conf/media_folders.conf"));
    EXPECT_TRUE(watch.Wait(kPatience).everything);
    EXPECT_TRUE(watch.IsComplete());
    EXPECT_FALSE(FolderWatch(files.Path("nowhere/media_folders.conf")).IsComplete());
}

/// A child of that name, which ends with status 7 when it is told that the library changed.
pid_t StartProcess(const char* name) {
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGUSR1, [](int) { _exit(7); });
        prctl(PR_SET_NAME, name);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (int i = 0; i < 100; ++i) usleep(100000);
        _exit(1);
    }
    usleep(100000);
    return child;
}

TEST(NotifyDaemon, TellsOnlyTheDaemon) {
    const MediaFiles files;
    setenv("DMS_SYSROOT", files.Root().c_str(), 1);
    EXPECT_FALSE(NotifyDaemon()) << "no pid file";
    files.Write("var/run/dms.pid", "not a number");
    EXPECT_FALSE(NotifyDaemon());

    const pid_t stranger = StartProcess("stranger"), daemon = StartProcess("dms");
    files.Write("var/run/dms.pid", std::to_string(stranger) + "\n");
    EXPECT_FALSE(NotifyDaemon()) << "a number that another process got";
    files.Write("var/run/dms.pid", std::to_string(daemon) + "\n");
    EXPECT_TRUE(NotifyDaemon());
    int status = 0;
    waitpid(daemon, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_FALSE(NotifyDaemon()) << "the daemon has ended";
    kill(stranger, SIGKILL);
    waitpid(stranger, &status, 0);
    unsetenv("DMS_SYSROOT");
}

}  // namespace
}  // namespace MediaServer
