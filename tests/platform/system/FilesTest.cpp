#include <cerrno>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

constexpr const char* kConfig =
    "\xEF\xBB\xBF"
    "first=1\r\n"
    "# first=2\n"
    "  spaced  =  a value  \n"
    "quoted = \" kept \"\n"
    "half = \"open\n"
    "\n"
    "no equals sign\n"
    "=no key\n"
    "empty=\n"
    "twice=one\n"
    "twice=two\n"
    "url=http://x/?a=b\n"
    "last=no line end";

TEST(NLIBCFileGetKeyValue, ReadsWhatPeopleWrite) {
    struct Case {
        const char *why, *key;
        int result;
        const char* value;
    };
    constexpr Case kCases[] = {
        {"after a byte order mark, CR LF", "first", 2, "1"},
        {"blanks around both", "spaced", 8, "a value"},
        {"quotes keep blanks", "quoted", 7, " kept "},
        {"one quote is text", "half", 6, "\"open"},
        {"empty is found", "empty", 1, ""},
        {"first line wins", "twice", 4, "one"},
        {"only the first equals sign divides", "url", 14, "http://x/?a=b"},
        {"no line end", "last", 12, "no line end"},
        {"absent", "firs", 0, "untouched"},
        {"absent empty key", "", 0, "untouched"},
        {"a comment is no key", "# first", 0, "untouched"},
    };
    TempDir dir;
    const std::string path = dir.Write("conf", kConfig);
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        char buffer[32] = "untouched";
        EXPECT_EQ(NLIBCFileGetKeyValue(path.c_str(), c.key, buffer, sizeof buffer, 0), c.result);
        EXPECT_STREQ(buffer, c.value);
    }
}

TEST(NLIBCFileGetKeyValue, StaysWithinTheBuffer) {
    TempDir dir;
    const std::string path = dir.Write("conf", "key=0123456789\n");
    char buffer[] = "........";
    EXPECT_EQ(NLIBCFileGetKeyValue(path.c_str(), "key", buffer, 5, 0), 5);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(buffer[5], '.');
}

TEST(NLIBCFileGetKeyValue, TellsWhyAFileCannotBeRead) {
    TempDir dir;
    char buffer[8] = "";
    EXPECT_EQ(NLIBCFileGetKeyValue((dir / "absent").c_str(), "key", buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(NLIBCErrGet(), ENOENT);
    EXPECT_EQ(NLIBCFileGetKeyValue(dir.Path().c_str(), "key", buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(NLIBCErrGet(), EISDIR);
}

TEST(ReadWholeFile, KeepsToTheLimitAndNeverWaits) {
    TempDir dir;
    const std::string content(40'000, 'z');
    const std::string path = dir.Write("file", content);
    EXPECT_EQ(ReadWholeFile(path, content.size()), content);
    EXPECT_EQ(ReadWholeFile(path, content.size() - 1), std::nullopt);
    EXPECT_EQ(errno, EFBIG);
    const std::string pipe = dir / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(ReadWholeFile(pipe, 10), std::nullopt);
}

TEST(WriteFileAtomically, ReplacesContentAndKeepsAccessBits) {
    TempDir dir;
    const std::string path = dir.Write("file", "old");
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    ASSERT_TRUE(WriteFileAtomically(path, "new"));
    EXPECT_EQ(ReadWholeFile(path, 10), "new");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

/// A file size limit makes the write itself fail half way, as a full disk does.
TEST(WriteFileAtomically, AFailedWriteLeavesTheOldFileAlone) {
    TempDir dir;
    const std::string path = dir.Write("file", "old");
    const auto previous_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
    rlimit small = previous;
    small.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool written = WriteFileAtomically(path, std::string(1000, 'n'));
    const int error = errno;
    setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previous_handler);

    EXPECT_FALSE(written);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(ReadWholeFile(path, 10), "old");
    const std::filesystem::directory_iterator files(dir.Path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "a temporary file stayed behind";
}

TEST(WriteFileAtomically, RemovesWhatACrashLeft) {
    TempDir dir;
    const std::string path = dir / "file";
    const auto hour_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    for (const char* name : {"file.new-abcdef", "file.broken", "file.newer", "file2.new-abcdef"})
        std::filesystem::last_write_time(dir.Write(name, "x"), hour_ago);
    dir.Write("file.new-ghijkl", "somebody writes it now");
    EXPECT_TRUE(WriteFileAtomically(path, "content"));
    EXPECT_FALSE(NLIBCFileExist((dir / "file.new-abcdef").c_str()));
    const std::filesystem::directory_iterator files(dir.Path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 5) << "the others stay";
}

TEST(WriteFileAtomically, ReadersNeverSeeATornFile) {
    TempDir dir;
    const std::string path = dir.Write("file", std::string(50'000, 'a'));
    std::thread writer([&path] {
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(WriteFileAtomically(path, std::string(50'000, i % 2 ? 'a' : 'b')));
    });
    for (int i = 0; i < 200; ++i) {
        const auto content = ReadWholeFile(path, 100'000);
        if (!content || content->size() != 50'000 ||
            content->find_first_not_of(content->front()) != std::string::npos) {
            ADD_FAILURE() << "torn content in round " << i;
            break;
        }
    }
    writer.join();
}

}  // namespace
}  // namespace MediaServer
