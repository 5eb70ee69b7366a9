#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TempDir.h"
#include "web/PageTable.h"

namespace MediaServer {
namespace {

using std::chrono::seconds;

class PageTableTest : public ::testing::Test {
protected:
    std::string NewFile() {
        std::string path = directory / "cdsXXXXXX";
        ::close(::mkstemp(path.data()));
        return path;
    }
    std::size_t Files() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory.Path()), {}));
    }

    TempDir directory;
    PageTable::Clock::time_point now{seconds(1000)};
};

TEST_F(PageTableTest, EveryRequesterGetsTheOwnNewestPage) {
    PageTable pages;
    const std::string abandoned = NewFile(), mine = NewFile(), other = NewFile(), elsewhere = NewFile();
    pages.Add("/cds/21", "10.0.0.1", abandoned, now);
    pages.Add("/cds/21", "10.0.0.1", mine, now);
    pages.Add("/cds/21", "10.0.0.2", other, now);
    pages.Add("/cds/22", "10.0.0.1", elsewhere, now);
    EXPECT_EQ(pages.Open("/cds/21", "10.0.0.1"), mine) << "after a HEAD, the GET reads what it was told about";
    EXPECT_EQ(pages.Open("/cds/21", "10.0.0.1"), abandoned);
    EXPECT_EQ(pages.Open("/cds/21", "10.0.0.1"), std::nullopt) << "an open page belongs to its transfer";
    EXPECT_EQ(pages.Open("/cds/2", "10.0.0.2"), std::nullopt);
    pages.Remove(mine);
    EXPECT_EQ(Files(), 3U);
}

TEST_F(PageTableTest, StalePagesGoUnlessTheyAreBeingRead) {
    PageTable pages;
    const std::string read = NewFile();
    pages.Add("/cds/1", "c", read, now);
    ASSERT_TRUE(pages.Open("/cds/1", "c"));
    pages.Add("/cds/1", "c", NewFile(), now);
    pages.Add("/cds/2", "c", NewFile(), now + PageTable::kStaleAfter);
    EXPECT_EQ(Files(), 3U) << "not stale yet";
    pages.Add("/cds/3", "c", NewFile(), now + PageTable::kStaleAfter + seconds(1));
    EXPECT_EQ(Files(), 3U);
    EXPECT_TRUE(std::filesystem::exists(read));
}

TEST_F(PageTableTest, PagesAreBounded) {
    PageTable pages;
    for (std::size_t i = 0; i < 2 * PageTable::kMostPages; ++i) {
        EXPECT_TRUE(pages.Add("/cds/", std::to_string(i), NewFile(), now));
    }
    EXPECT_EQ(Files(), PageTable::kMostPages);
    EXPECT_FALSE(pages.Open("/cds/", "0")) << "the oldest made room";
    for (std::size_t i = 0; i < PageTable::kMostPages; ++i) {
        EXPECT_TRUE(pages.Open("/cds/", std::to_string(PageTable::kMostPages + i)));
    }
    EXPECT_FALSE(pages.Add("/cds/", "x", NewFile(), now)) << "all are being read";
    EXPECT_EQ(Files(), PageTable::kMostPages) << "the refused page's file is gone";
}

}  // namespace
}  // namespace MediaServer
