#include <cerrno>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class LogTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(DMSLOGInit(path_.c_str()));
        DMSLOGSetLevel(4);
    }
    void TearDown() override {
        DMSLogClose();
        DMSLOGSetLevel(1);
    }
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::string_view rest = text_ = ReadWholeFile(path_, 100'000'000).value_or("");
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
            lines.emplace_back(rest.substr(0, end));
            rest.remove_prefix(end + 1);
        }
        return lines;
    }

    TempDir dir_;
    const std::string path_ = dir_ / "log/dms.log";
    mutable std::string text_;
};

TEST_F(LogTest, WritesWhatTheLevelAsksFor) {
    DMSLOGSetLevel(2);
    DMSPrintf(2, "kept %d\n", 2);
    DMSPrintf(3, "dropped %d\n", 3);
    DMSPrintf(0, "kept %d", 0);
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], EndsWith("kept 2"));
    EXPECT_THAT(lines[1], EndsWith("kept 0"));
}

TEST_F(LogTest, AValueCannotForgeALine) {
    DMSPrintf(1, "ID %s is too long\n", "0$1\n2030-01-01 err: all is lost\r\x1b[2J");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], EndsWith("ID 0$1\\n2030-01-01 err: all is lost\\x0d\\x1b[2J is too long"));
}

TEST_F(LogTest, DocumentsKeepTheirLinesIndented) {
    DMSPrintf(4, "\n%s\n", "<a>\n<b/>\n</a>");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[0], EndsWith("<a>"));
    EXPECT_EQ(lines[1], "\t<b/>");
    EXPECT_EQ(lines[2], "\t</a>");
}

TEST_F(LogTest, LongMessagesAreWholeAndErrnoStays) {
    errno = ENOTTY;
    for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 70'000U}) {
        const std::string text(size, 'q');
        DMSPrintf(2, "%s|", text.c_str());
        EXPECT_EQ(errno, ENOTTY);
        EXPECT_THAT(Lines().back(), EndsWith(" " + text + "|")) << size;
    }
}

TEST_F(LogTest, ThreadsNeverMixTheirLines) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            const std::string text(200, static_cast<char>('a' + t));
            for (int i = 0; i < 200; ++i) DMSPrintf(1, "<%s>", text.c_str());
        });
    for (std::thread& thread : threads) thread.join();
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 800U);
    for (const std::string& line : lines) {
        const std::size_t start = line.find('<');
        ASSERT_NE(start, std::string::npos);
        ASSERT_EQ(line.substr(start), "<" + std::string(200, line[start + 1]) + ">");
    }
}

TEST_F(LogTest, RotationBoundsTheDisk) {
    const std::string text(100'000, 'r');
    for (int i = 0; i < 300; ++i) DMSPrintf(0, "%s", text.c_str());
    std::uintmax_t bytes = 0;
    for (const auto& file : std::filesystem::directory_iterator(dir_ / "log")) bytes += file.file_size();
    EXPECT_LT(bytes, 21U * 1024 * 1024);
    EXPECT_GT(bytes, 5U * 1024 * 1024);
}

TEST(Log, SilentBeforeItIsOpenUnlessStandardErrorIsAskedFor) {
    DMSLogClose();
    testing::internal::CaptureStderr();
    DMSPrintf(0, "into the void");
    DMSLOGToStderr(true);
    DMSPrintf(0, "for the eyes");
    SysLogError("%s:%d also there", "main.cpp", 12);
    for (int i = 0; i < 1000; ++i) SysLogError("whatever a stranger sends");
    DMSLOGToStderr(false);
    const std::string seen = testing::internal::GetCapturedStderr();
    EXPECT_THAT(seen, testing::Not(HasSubstr("void")));
    EXPECT_THAT(seen, HasSubstr("for the eyes\n"));
    EXPECT_THAT(seen, HasSubstr("main.cpp:12 also there\n"));
    EXPECT_LT(seen.size(), 10'000U) << "lines that a stranger can have written are few";
}

TEST(Log, AFileThatCannotBeOpenedIsToldAndHarmless) {
    EXPECT_FALSE(DMSLOGInit("/proc/nowhere/dms.log"));
    DMSPrintf(0, "dropped");
}

}  // namespace
}  // namespace MediaServer
