#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/text/Text.h"
#include "platform/text/TextBuffer.h"

namespace MediaServer {
namespace {

using namespace std::string_view_literals;

struct EscapeCase {
    const char* why;
    std::string_view text, offending, escaped;
};

constexpr EscapeCase kXmlCases[] = {
    {"nothing to do", "Plain title", "", "Plain title"},
    {"every entity", "<a b=\"c\" d='e'>&", "", "&lt;a b=&quot;c&quot; d=&apos;e&apos;&gt;&amp;"},
    {"what is escaped already is escaped again", "&amp;", "", "&amp;amp;"},
    {"valid UTF-8 of every length", "\u00e9\u20ac\U0001F3B5", "", "\u00e9\u20ac\U0001F3B5"},
    {"blanks that XML allows", "a\tb\nc\rd", "", "a\tb\nc\rd"},
    {"control characters that it forbids", "a\x01\x1F\0b"sv, "", "a\uFFFD\uFFFD\uFFFDb"},
    {"Latin-1 byte", "caf\xE9 x", "", "caf\uFFFD x"},
    {"sequence cut off at the end", "x\xE2\x82", "", "x\uFFFD\uFFFD"},
    {"broken sequence keeps the markup after it", "\xE2<b", "", "\uFFFD&lt;b"},
    {"overlong slash", "\xC0\xAF", "", "\uFFFD\uFFFD"},
    {"surrogate", "\xED\xA0\x80", "", "\uFFFD\uFFFD\uFFFD"},
    {"beyond Unicode", "\xF4\x90\x80\x80", "", "\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"noncharacter U+FFFF", "\xEF\xBF\xBF", "", "\uFFFD"},
    {"offending characters", "a:b*c", ":*", "a_b_c"},
    {"offending goes before entities", "R&B <1>", "&", "R_B &lt;1&gt;"},
    {"offending beyond ASCII goes as a whole", "a\u00e9b\u00e8", "\u00e9", "a_b\u00e8"},
    {"a byte of an offending character alone is not it", "\u00c3", "\u00e9", "\u00c3"},
};

TEST(XMLEscape, IsAlwaysWellFormed) {
    for (const EscapeCase& c : kXmlCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(XMLEscape(c.text, c.offending), c.escaped);
        TextBuffer buffer;
        AppendXMLEscaped(buffer, c.text, c.offending);
        EXPECT_EQ(buffer.View(), c.escaped);
    }
}

TEST(SQLEscape, NothingLeavesTheLiteral) {
    struct Case {
        const char* why;
        std::string_view value, literal, condition;
    };
    constexpr Case kCases[] = {
        {"quotes", "O'Brien''s", "O''Brien''''s", "O''Brien''''s"},
        {"LIKE metacharacters", "100%_\\", "100%_\\", "100\\%\\_\\\\"},
        {"a backslash protects no quote", "\\'; drop", "\\''; drop", "\\\\''; drop"},
        {"a NUL byte ends the text", "ab\0' or 1"sv, "ab", "ab"},
        {"a cut sequence must not swallow the quote", "x\xE2\x82' or 1", "x'' or 1", "x'' or 1"},
        {"overlong quote", "\xC0\xA7", "", ""},
        {"UTF-8 stays", "\u65e5\u672c", "\u65e5\u672c", "\u65e5\u672c"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(SQLEscapeString(c.value), c.literal);
        EXPECT_EQ(SQLEscapeCondition(c.value), c.condition);
    }
}

TEST(URLEncode, RoundTripOfEveryByte) {
    std::string bytes;
    for (int i = 1; i < 256; ++i) bytes.push_back(static_cast<char>(i));
    EXPECT_EQ(URLDecode(URLEncode(bytes)), bytes);
    EXPECT_EQ(URLEncode("a/b c~\u00e9"), "a%2Fb%20c~%C3%A9");
}

TEST(URLDecode, RefusesWhatIsBroken) {
    for (const std::string_view text : {"%"sv, "abc%4"sv, "%zz"sv, "%+1"sv, "a%00b"sv, "a\0b"sv}) {
        SCOPED_TRACE(std::string{text});
        EXPECT_EQ(URLDecode(text), std::nullopt);
    }
    EXPECT_EQ(URLDecode("a+b%2b"), "a+b+");
}

TEST(Numbers, AtTheLimitsOf32Bits) {
    struct Case {
        std::string_view text;
        bool plain, with_sign;
        std::int32_t value;
        bool is_row_id = plain;
    };
    constexpr Case kCases[] = {
        {"0", true, true, 0},
        {"2147483647", true, true, 2147483647},
        {"2147483648", true, true, 2147483647, false},
        {"-2147483648", false, true, -2147483647 - 1},
        {"-2147483649", false, true, -2147483647 - 1},
        {"99999999999999999999", true, true, 2147483647, false},
        {"00000000000000000007", true, true, 7},
        {"", false, false, 0},
        {"-", false, false, 0},
        {"--1", false, false, 0},
        {"+1", false, false, 1},
        {"+-1", false, false, 0},
        {" 12", false, false, 12},
        {"12 ", false, false, 12},
        {"12abc", false, false, 12},
        {"0x10", false, false, 0},
        {"1\0"sv, false, false, 1},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(std::string{c.text});
        EXPECT_EQ(StringIsNumeric(c.text, false), c.plain);
        EXPECT_EQ(StringIsNumeric(c.text, true), c.with_sign);
        EXPECT_EQ(ToInt(c.text), c.value);
        EXPECT_EQ(ParseRowId(c.text), c.is_row_id ? std::optional{c.value} : std::nullopt);
    }
}

TEST(Tokens, EmptyOnesCountOnlyForSplit) {
    EXPECT_THAT(Split("a,,b,", ','), testing::ElementsAre("a", "", "b", ""));
    EXPECT_THAT(Split("", ','), testing::ElementsAre(""));
    EXPECT_EQ(NLIBCStrTokIndex("::a:;b", ":;", 1), "b");
    EXPECT_EQ(NLIBCStrTokIndex("a:b", ":", 2), "");
    EXPECT_EQ(NLIBCStrTokIndex("a:b", ":", -1), "");
}

TEST(Paths, TakenApart) {
    struct Case {
        std::string_view path, directory, base, stem, extension;
    };
    constexpr Case kCases[] = {
        {"/music/a.b/Track.MP3", "/music/a.b", "Track.MP3", "Track", "MP3"},
        {"/music/a.b/README", "/music/a.b", "README", "README", ""},
        {"archive.", ".", "archive.", "archive.", ""},
        {"/x/.hidden", "/x", ".hidden", ".hidden", ""},
        {"/x/.hidden.jpg", "/x", ".hidden.jpg", ".hidden", "jpg"},
        {"/top", "/", "top", "top", ""},
        {"/", "/", "", "", ""},
        {"", ".", "", "", ""},
        {"/a//b//", "/a", "", "", ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(std::string{c.path});
        EXPECT_EQ(DirName(c.path), c.directory);
        EXPECT_EQ(BaseName(c.path), c.base);
        EXPECT_EQ(BaseNameWithoutExtension(c.path), c.stem);
        EXPECT_EQ(PathExtension(c.path), c.extension);
    }
}

TEST(GetAbsolutePath, NeverLeavesTheRoot) {
    constexpr std::pair<std::string_view, std::string_view> kCases[] = {
        {"", ""},       {"/", "/"},        {"a/b", "/a/b"},      {"/a//b/./c/", "/a/b/c"}, {"/a/../../b", "/b"},
        {"../..", "/"}, {"/a/b/..", "/a"}, {"/a/...", "/a/..."},
    };
    for (const auto& [path, absolute] : kCases) EXPECT_EQ(GetAbsolutePath(path), absolute) << path;
}

TEST(DMSFormat, DurationsAndDates) {
    EXPECT_EQ(DMSFormatUPNPDuration(200), "0:03:20");
    EXPECT_EQ(DMSFormatUPNPDuration(3600 * 100 + 59 * 60 + 59), "100:59:59");
    EXPECT_EQ(DMSFormatUPNPDuration(-5), "0:00:00");

    EXPECT_EQ(DMSFormatUPNPDate("2021-03-04 05:06:07"), "2021-03-04T05:06:07");
    EXPECT_EQ(DMSFormatUPNPDate("2021-03-04 05:06:07.123"), "2021-03-04T05:06:07");
    EXPECT_EQ(DMSFormatUPNPDate("2021-03-04"), "2021-03-04");
    EXPECT_EQ(DMSFormatUPNPDate("2021"), "2021");
    EXPECT_EQ(DMSFormatUPNPDate("yesterday evening"), "yesterday ");
}

TEST(TextBuffer, GrowsOverAnyLength) {
    TextBuffer buffer;
    std::string expected;
    for (const std::size_t size : {97U, 200U, 97U, 100'000U, 1U}) {
        const std::string piece(size, 'x');
        buffer.Appendf("<%zu>%s", size, piece.c_str());
        expected += "<" + std::to_string(size) + ">" + piece;
        ASSERT_EQ(buffer.View(), expected);
        EXPECT_EQ(buffer.View().data()[expected.size()], '\0');
    }
}

TEST(TextBuffer, TextThatCannotBeFormattedBreaksIt) {
    TextBuffer buffer;
    buffer.Append("half of ");
    buffer.Appendf("%ls", L"\xD800");  // no character in any encoding: vsnprintf() fails
    EXPECT_TRUE(buffer.IsBroken());
    buffer.Append("more");
    buffer.Appendf("%d", 1);
    EXPECT_TRUE(buffer.IsBroken());
    buffer.Clear();
    buffer.Append("new");
    EXPECT_EQ(buffer.View(), "new");
}

}  // namespace
}  // namespace MediaServer
