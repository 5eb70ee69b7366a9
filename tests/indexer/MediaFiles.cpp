#include "indexer/MediaFiles.h"

#include <map>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include "indexer/MediaReader.h"
#include "indexer/MediaTypes.h"
#include "platform/system/Files.h"

namespace MediaServer {

MediaFiles::MediaFiles() {
    std::filesystem::permissions(Root(), std::filesystem::perms(0755));
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
        song = ReadWholeFile(Path(".song"), 1 << 20).value();
        std::filesystem::remove(Path(".song"));
    }
    Write(name, song);
}

std::optional<NIMB_MEDIA_INFO> ReadFacts(const std::string& path, std::string& reason) {
    NIMB_MEDIA_INFO record;
    record.path = path;
    record.title = "name of the file";
    record.timetaken = "1970-01-01 00:00:00";
    record.filesize = static_cast<std::int64_t>(std::filesystem::file_size(path));
    if (!ReadMedia(FindMediaKind(path).value(), record, reason)) return std::nullopt;
    return record;
}

}  // namespace MediaServer
