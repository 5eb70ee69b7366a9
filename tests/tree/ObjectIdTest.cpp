#include <gtest/gtest.h>

#include "tree/ObjectId.h"

namespace MediaServer {
namespace {

TEST(ObjectId, OnlyALastFieldWithAtNamesAnItem) {
    for (const char* id : {"21", "@21", "21$@7$", "21$@7$8"}) EXPECT_TRUE(NamesContainer(id, "$")) << id;
    EXPECT_FALSE(NamesContainer("21$8$@7", "$"));
    EXPECT_TRUE(NamesContainer("21$8$@7", "/"));
}

TEST(ObjectId, ChildIdsAreCutAtTheirLimit) {
    ChildId ids(std::string(25, 'x'), "$", kMaxFolderId);
    EXPECT_EQ(ids.Row(12345), std::string(25, 'x') + "$12345");
    EXPECT_EQ(ids.Row(123456), std::string(25, 'x') + "$12345");
    EXPECT_EQ(ids.Item(1234), std::string(25, 'x') + "$@1234");
}

}  // namespace
}  // namespace MediaServer
