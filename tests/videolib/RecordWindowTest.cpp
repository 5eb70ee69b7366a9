#include <random>

#include <gtest/gtest.h>

#include "videolib/RecordWindow.h"

namespace MediaServer {
namespace {

TEST(RecordWindow, IsAPageOfAllListsTogether) {
    std::mt19937 random(7);
    const auto upto = [&](int most) { return std::uniform_int_distribution(0, most)(random); };
    for (int round = 0; round < 300; ++round) {
        const int sizes[] = {upto(600), upto(3), upto(300)};
        const int start = upto(700), count = upto(4) * upto(200);
        std::vector<int> all, page;
        RecordWindow window(start, count);
        int first = 0;
        for (const int size : sizes) {
            const auto write = [&](const Json::Value& record) {
                page.push_back(record.asInt());
                return page.back() % 7 != 0;
            };
            if (size < 3) {
                window.AppendWhole(static_cast<Json::ArrayIndex>(size),
                                   [&](Json::ArrayIndex i) { return write(first + static_cast<int>(i)); });
            } else {
                const auto fetch = [&](LibReelhouse::Page wanted, Json::Value& records, std::int32_t& total) {
                    EXPECT_GT(wanted.limit, 0) << "that would be all";
                    EXPECT_LE(wanted.limit, 256);
                    for (int i = wanted.offset; i < std::min(size, wanted.offset + wanted.limit); ++i) {
                        records.append(first + i);
                    }
                    total = size;
                    return true;
                };
                EXPECT_TRUE(window.Append(fetch, write));
            }
            for (int i = 0; i < size; ++i) all.push_back(first + i);
            first += size;
        }
        const int end = count == 0 ? first : std::min(first, start + count);
        const std::vector<int> expected(all.begin() + std::min(start, first),
                                        all.begin() + std::max(end, std::min(start, first)));
        ASSERT_EQ(page, expected) << "start " << start << " count " << count;
        EXPECT_EQ(window.Written(), std::count_if(page.begin(), page.end(), [](int i) { return i % 7 != 0; }));
        EXPECT_EQ(window.Total(), start < first ? first : 0);
    }
}

}  // namespace
}  // namespace MediaServer
