#include "indexer/MediaFiles.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

namespace MediaServer {
namespace {

std::string ReadAll(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

}  // namespace

MediaFiles::MediaFiles() {
    char name[] = "/tmp/dms-media-XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    root_ = name;
    std::filesystem::permissions(root_, std::filesystem::perms(0755));
}

MediaFiles::~MediaFiles() {
    std::error_code error;
    std::filesystem::remove_all(root_, error);
}

void MediaFiles::Make(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {"ffmpeg", "-v", "error", "-nostdin", "-y"};
    for (const std::string& argument : arguments) {
        command.push_back(argument.starts_with("@/") ? Path(argument.substr(2)) : argument);
    }
    std::vector<char*> pointers;
    for (std::string& argument : command) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    ASSERT_EQ(posix_spawnp(&child, "ffmpeg", nullptr, nullptr, pointers.data(), environ), 0);
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0) << "ffmpeg " << arguments.back();
}

void MediaFiles::AddSong(const std::string& name, const std::string& title) const {
    static std::map<std::string, std::string> songs;
    std::string& song = songs[title];
    if (song.empty()) {
        Make({"-f", "lavfi", "-i", "sine=d=1", "-metadata", "title=" + title, "-metadata", "artist=Artist", "-b:a",
              "64k", "-f", "mp3", "@/.song"});
        song = ReadAll(Path(".song"));
        std::filesystem::remove(Path(".song"));
    }
    Write(name, song);
}

void MediaFiles::Write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::ofstream(Path(name), std::ios::binary) << content;
}

}  // namespace MediaServer
