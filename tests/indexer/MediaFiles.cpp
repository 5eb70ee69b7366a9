#include "indexer/MediaFiles.h"

#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "indexer/MediaReader.h"
#include "indexer/MediaTypes.h"
#include "platform/system/Files.h"

namespace MediaServer {

MediaFiles::MediaFiles() {
    std::filesystem::permissions(Root(), std::filesystem::perms(0755));
}

void MediaFiles::Make(const std::vector<std::string>& arguments) const {
    std::string command = "ffmpeg -v error -nostdin -y";
    for (const std::string& argument : arguments) {
        command += " '" + (argument.starts_with("@/") ? Path(argument.substr(2)) : argument) + "'";
    }
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
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

namespace {

bool TryToRead(const std::string& path, NIMB_MEDIA_INFO& record, std::string& reason) {
    record.path = path;
    record.title = "name of the file";
    record.timetaken = "1970-01-01 00:00:00";
    record.filesize = static_cast<std::int64_t>(std::filesystem::file_size(path));
    return ReadMedia(FindMediaKind(path).value(), record, reason);
}

}  // namespace

NIMB_MEDIA_INFO ReaderTest::Read(const std::string& name) const {
    NIMB_MEDIA_INFO record;
    std::string reason;
    EXPECT_TRUE(TryToRead(files.Path(name), record, reason)) << name << ": " << reason;
    return record;
}

void ReaderTest::ExpectUnreadable(const std::vector<std::pair<const char*, std::string>>& broken) const {
    for (const auto& [name, content] : broken) {
        files.Write(name, content);
        NIMB_MEDIA_INFO record;
        std::string reason;
        EXPECT_FALSE(TryToRead(files.Path(name), record, reason)) << name;
        EXPECT_NE(reason, "") << name;
        EXPECT_EQ(reason.find('\n'), std::string::npos) << name;
    }
}

}  // namespace MediaServer
