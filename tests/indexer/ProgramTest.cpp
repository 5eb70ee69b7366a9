#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include "indexer/MediaFiles.h"
#include "platform/database/TestDatabase.h"

namespace MediaServer {
namespace {

namespace fs = std::filesystem;
constexpr char kFoldersFile[] = "var/packages/MediaServer/etc/media_folders.conf";

/// The program itself, in a system root of its own.
class ProgramTest : public DatabaseTest {
protected:
    ProgramTest() {
        setenv("DMS_SYSROOT", system_root.Root().c_str(), 1);
        fs::create_directories(system_root.Path("var/packages/MediaServer/target/etc"));
        fs::create_directory_symlink(DMS_SOURCE_DIR "/share/schema",
                                     system_root.Path("var/packages/MediaServer/target/etc/schema"));
        system_root.Write(kFoldersFile, "music = " + files.Root() + "\n");
    }
    ~ProgramTest() override {
        if (program > 0) Stop(SIGKILL);
        unsetenv("DMS_SYSROOT");
    }

    void Start(const std::string& option) {
        std::string name = DMS_INDEXER, argument = option, quiet = "--quiet";
        char* const arguments[] = {name.data(), argument.data(), quiet.data(), nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 2, system_root.Path("errors").c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0600);
        ASSERT_EQ(posix_spawn(&program, name.c_str(), &actions, nullptr, arguments, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
    }
    /// @return the exit status. Signal 0 just waits for the end.
    int Stop(int signal) {
        if (signal != 0) kill(program, signal);
        int status = -1;
        waitpid(program, &status, 0);
        program = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// The titles of all songs as soon as they are the expected ones, at the latest after some seconds.
    std::string Titles(const std::string& expected) {
        std::string titles;
        for (int i = 0; i < 300; ++i) {
            titles = database.Value("SELECT string_agg(title, ' ' ORDER BY title) FROM music");
            if (titles == expected) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return titles;
    }

    MediaFiles files, system_root;
    pid_t program = 0;
};

TEST_F(ProgramTest, OnceTellsByItsStatus) {
    files.AddSong("1.mp3", "One");
    Start("--once");
    EXPECT_EQ(Stop(0), 0);
    EXPECT_EQ(Titles("One"), "One");
    database.Stop();
    Start("--once");
    EXPECT_EQ(Stop(0), 1);
    EXPECT_GT(fs::file_size(system_root.Path("errors")), 0U);
    database.Start();
    Start("--no-such-option");
    EXPECT_EQ(Stop(0), 2);
}

TEST_F(ProgramTest, WatchFollowsFilesFoldersAndTheDatabase) {
    files.AddSong("1.mp3", "One");
    Start("--watch");
    EXPECT_EQ(Titles("One"), "One");

    files.AddSong("new/2.mp3", "Two");
    EXPECT_EQ(Titles("One Two"), "One Two");
    files.AddSong("new/3.mp3", "Three");
    EXPECT_EQ(Titles("One Three Two"), "One Three Two") << "a directory that came later is watched too";
    const std::string id = database.Value("SELECT id FROM music WHERE title = 'Two'");
    fs::rename(files.Path("new"), files.Path("old"));
    fs::remove(files.Path("old/3.mp3"));
    EXPECT_EQ(Titles("One Two"), "One Two");
    EXPECT_EQ(database.Value("SELECT id FROM music WHERE path = '" + files.Path("old/2.mp3") + "'"), id);

    const MediaFiles more;
    more.AddSong("4.mp3", "Four");
    system_root.Write(kFoldersFile, "music = " + files.Root() + "\nmusic = " + more.Root() + "\n");
    EXPECT_EQ(Titles("Four One Two"), "Four One Two");

    database.Stop();
    files.AddSong("5.mp3", "Five");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    database.Start();
    EXPECT_EQ(Titles("Five Four One Two"), "Five Four One Two");
    EXPECT_EQ(Stop(SIGTERM), 0);
}

}  // namespace
}  // namespace MediaServer
