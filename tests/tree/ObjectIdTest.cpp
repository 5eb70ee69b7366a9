#include "tree/ObjectId.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

TEST(ObjectId, SplitsAtTheFirstSeparator) {
    struct Case {
        std::string_view id, separator, key, sub_id;
    };
    constexpr Case kCases[] = {
        {"0", "$", "0", ""},      {"21$7$@9", "$", "21", "7$@9"}, {"21$", "$", "21", ""},
        {"0/12", "/", "0", "12"}, {"0/12", "$", "0/12", ""},      {"", "$", "", ""},
        {"$7", "$", "", "7"},
    };
    for (const Case& c : kCases) {
        const ObjectIdParts parts = SplitObjectId(c.id, c.separator);
        EXPECT_EQ(parts.key, c.key) << c.id;
        EXPECT_EQ(parts.sub_id, c.sub_id) << c.id;
    }
}

TEST(ObjectId, OnlyALastFieldWithAtNamesAnItem) {
    EXPECT_TRUE(NamesContainer("21", "$"));
    EXPECT_TRUE(NamesContainer("@21", "$")) << "a menu node, whatever its name";
    EXPECT_TRUE(NamesContainer("21$@7$", "$"));
    EXPECT_TRUE(NamesContainer("21$@7$8", "$"));
    EXPECT_FALSE(NamesContainer("21$8$@7", "$"));
    EXPECT_TRUE(NamesContainer("21$8$@7", "/"));
}

using namespace std::string_view_literals;

// What a stranger may send where a row id belongs.
constexpr std::string_view kHostileRows[] = {"-1",
                                             "+1",
                                             " 1",
                                             "1 ",
                                             "0x1",
                                             "1.5",
                                             "4294967296",
                                             "2147483648",
                                             "1e3",
                                             "1--",
                                             "../1",
                                             "1 OR 1=1",
                                             "1;DROP TABLE music",
                                             "'",
                                             "1\0"sv,
                                             "١",
                                             "",
                                             "99999999999999999999999999"};

TEST(ObjectId, FolderTargets) {
    using Kind = FolderTarget::Kind;
    struct Case {
        std::string_view sub_id;
        Kind kind;
        std::int32_t row;
    };
    constexpr Case kCases[] = {{"", Kind::Node, 0},
                               {"7", Kind::Directory, 7},
                               {"c7", Kind::Directory, 7},
                               {"@7", Kind::File, 7},
                               {"2147483647", Kind::Directory, 2147483647}};
    for (const Case& c : kCases) {
        const auto target = ParseFolderTarget(c.sub_id);
        ASSERT_TRUE(target) << c.sub_id;
        EXPECT_EQ(target->kind, c.kind) << c.sub_id;
        EXPECT_EQ(target->row, c.row) << c.sub_id;
    }
    for (const std::string_view row : kHostileRows) {
        if (!row.empty()) {
            EXPECT_FALSE(ParseFolderTarget(row)) << row;
        }
        EXPECT_FALSE(ParseFolderTarget("@" + std::string(row))) << row;
        EXPECT_FALSE(ParseFolderTarget("c" + std::string(row))) << row;
    }
    EXPECT_FALSE(ParseFolderTarget("@c7"));
    EXPECT_FALSE(ParseFolderTarget("7$8"));
}

TEST(ObjectId, CategoryFields) {
    using Kind = CategoryField::Kind;
    struct Case {
        std::string_view field, inner;
        Kind kind;
        std::int32_t row = 0;
        char letter = 0;
    };
    constexpr Case kCases[] = {{"0", "#", Kind::ShowAll},         {"7", "#", Kind::Value, 7},
                               {"@7", "#", Kind::Item, 7},        {"#B", "#", Kind::Letter, 0, 'B'},
                               {"#0", "#", Kind::Letter, 0, '0'}, {"##", "#", Kind::OtherLetters},
                               {"$B", "$", Kind::Letter, 0, 'B'}, {"$$", "$", Kind::OtherLetters}};
    for (const Case& c : kCases) {
        const auto field = ParseCategoryField(c.field, c.inner);
        ASSERT_TRUE(field) << c.field;
        EXPECT_EQ(field->kind, c.kind) << c.field;
        EXPECT_EQ(field->row, c.row) << c.field;
        EXPECT_EQ(field->letter, c.letter) << c.field;
    }
    for (const std::string_view field : {"#", "#b", "#'", "#%", "#BC", "###", "#é", "$B", "B"}) {
        EXPECT_FALSE(ParseCategoryField(field, "#")) << field;
    }
    for (const std::string_view row : kHostileRows) {
        EXPECT_FALSE(ParseCategoryField(row, "#")) << row;
        EXPECT_FALSE(ParseCategoryField("@" + std::string(row), "#")) << row;
    }
}

TEST(ObjectId, ChildIdsAreCutAtTheirLimit) {
    ChildId ids(std::string(25, 'x'), "$", kMaxFolderId);
    EXPECT_EQ(ids.Row(12345), std::string(25, 'x') + "$12345");
    EXPECT_EQ(ids.Row(123456), std::string(25, 'x') + "$12345");
    EXPECT_EQ(ids.Item(1234), std::string(25, 'x') + "$@1234");
}

}  // namespace
}  // namespace MediaServer
