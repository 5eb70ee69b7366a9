#include <map>
#include <set>

#include <gtest/gtest.h>

#include "platform/system/Files.h"
#include "platform/system/Paths.h"
#include "platform/text/DMSStringBundle.h"
#include "platform/text/Text.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

std::string StringsFile(std::string_view language) {
    return std::string{kStringsDir} + "/" + std::string{language} + ".txt";
}

TEST(DMSStringBundle, FallsBackToEnglishThenToTheKey) {
    TempSysroot root;
    root.Write(StringsFile("enu"), "music = Music\nalbum=Album\nempty=x\n");
    root.Write(StringsFile("ger"), "# comment\nmusic=\"Musik = gut\"\r\nempty=\n");
    DMSStringBundle bundle("ger");
    ASSERT_TRUE(bundle.ImportStrings());
    EXPECT_EQ(bundle.Translate("music"), "Musik = gut");
    EXPECT_EQ(bundle.Translate("album"), "Album");
    EXPECT_EQ(bundle.Translate("empty"), "x");
    EXPECT_EQ(bundle.Translate("All Musics"), "All Musics");
    EXPECT_EQ(bundle.Translate(""), "");
}

TEST(DMSStringBundle, UnknownLanguageIsEnglish) {
    TempSysroot root;
    root.Write(StringsFile("enu"), "music=Music\n");
    root.Write("outside.txt", "music=Secret\n");
    for (const char* language : {"xxx", "", "../../../../../../outside"}) {
        DMSStringBundle bundle(language);
        ASSERT_TRUE(bundle.ImportStrings()) << language;
        EXPECT_EQ(bundle.Translate("music"), "Music") << language;
    }
}

/// The files that are shipped, read as they are at run time.
class ShippedStrings : public testing::TestWithParam<const char*> {};

std::map<std::string, std::string> ReadShipped(const std::string& language) {
    std::map<std::string, std::string> strings;
    const auto text = ReadWholeFile(DMS_SOURCE_DIR "/share/strings/" + language + ".txt", kMaxConfigFileBytes);
    EXPECT_TRUE(text) << language;
    std::string_view rest = text ? *text : std::string_view{};
    for (std::string_view line; NextConfigLine(rest, line);) {
        const auto pair = ParseKeyValue(line);
        EXPECT_TRUE(pair && !pair->second.empty()) << language << ": " << line;
        if (pair) {
            EXPECT_TRUE(strings.emplace(pair->first, pair->second).second) << "twice: " << pair->first;
        }
    }
    return strings;
}

TEST_P(ShippedStrings, AreWholeAndCleanText) {
    const auto english = ReadShipped("enu");
    const auto translated = ReadShipped(GetParam());
    for (const auto& [key, text] : english) EXPECT_TRUE(translated.contains(key)) << key;
    for (const auto& [key, text] : translated) {
        EXPECT_TRUE(english.contains(key)) << key;
        EXPECT_EQ(XMLEscape(text).find("\uFFFD"), std::string::npos) << key;
    }
}

TEST_P(ShippedStrings, ContainersOfOneMenuLevelDiffer) {
    const auto strings = ReadShipped(GetParam());
    for (const std::string_view level : {"class_music_", "class_video_", "class_photo_", "unknown_music_"}) {
        std::set<std::string> seen;
        for (const auto& [key, text] : strings) {
            if (key.starts_with(level)) {
                EXPECT_TRUE(seen.insert(text).second) << key << ": " << text;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedStrings,
                         testing::Values("enu", "ger", "fre", "spn", "ita", "nld", "jpn", "sve"));

}  // namespace
}  // namespace MediaServer
