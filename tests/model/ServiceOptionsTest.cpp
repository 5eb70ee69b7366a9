#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/ServiceOptions.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

class ServiceOptionsTest : public testing::Test {
protected:
    void WriteFile(std::string_view text) { dir_.Write("dmsinfo.conf", text); }
    void ReadWith(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "dms");
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        const std::vector<char*> before = argv;
        options_.Read(static_cast<int>(arguments.size()), argv.data());
        EXPECT_EQ(argv, before) << "the command line was reordered";
    }
    void Reread() { options_.Read(0, nullptr); }

    TempSysroot dir_;
    ServiceOptions options_{dir_ / "dmsinfo.conf"};
};

TEST_F(ServiceOptionsTest, WithoutAFileTheDefaultsStand) {
    std::string defaults;
    for (unsigned id = 0; id <= 22; ++id) defaults += options_.Get(id) + "|";
    EXPECT_EQ(defaults, "enu|simple|no|1|yes|title|1900|no|no|no|no|no|no|no|yes|no|no|" + dir_.Path() +
                            "/var/packages/MediaServer/target/etc/menu_local.xml|no||no|no||");
}

TEST_F(ServiceOptionsTest, OnlyYesNoOptionsAreNormalised) {
    struct Case {
        const char *why, *line;
        unsigned id;
        const char* value;
    };
    constexpr Case kCases[] = {
        {"yes in any case", "sendthumb_mediaservice=YES", Option::kSendThumb, "yes"},
        {"anything else is no", "sendthumb_mediaservice=1", Option::kSendThumb, "no"},
        {"empty is no", "noagentdlna_mediaservice=", Option::kNoAgentDlna, "no"},
        {"text stays as it stands", "uctt_mediaservice=YES", Option::kConformanceTest, "YES"},
        {"so does this one", "integrateReelhouse_mediaservice=Yes", Option::kReelhouse, "Yes"},
        {"31 characters are kept", "language_mediaservice=0123456789012345678901234567890123456789", Option::kLanguage,
         "0123456789012345678901234567890"},
        {"empty text is a value", "menustyle_mediaservice=", Option::kMenuStyle, ""},
        {"a key in another case is another key", "LANGUAGE_MEDIASERVICE=ger", Option::kLanguage, "enu"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.why);
        WriteFile(c.line);
        ServiceOptions options(dir_ / "dmsinfo.conf");
        options.Read(0, nullptr);
        EXPECT_EQ(options.Get(c.id), c.value);
    }
}

constexpr const char* kEverythingOn =
    "sendthumb_mediaservice=yes\nflactranscoding_mediaservice=yes\naactranscoding_mediaservice=yes\n"
    "oggtranscoding_mediaservice=yes\naifftranscoding_mediaservice=yes\n"
    "downsample_audiotranscoding_mediaservice=yes\ncmzalbumart_mediaservice=yes\nebdvideoinfo_mediaservice=yes\n"
    "uctt_mediaservice=yes\nloglevel_mediaservice=4\n";

TEST_F(ServiceOptionsTest, LocalServerModeDoesWithoutTheTranscoder) {
    ReadWith({});
    EXPECT_EQ(options_.OptionFlags(), 0U) << "without a file";
    WriteFile(kEverythingOn);
    ReadWith({});
    EXPECT_EQ(options_.OptionFlags(), 0x37FU);
    ReadWith({"-localserver"});
    EXPECT_EQ(options_.OptionFlags(), 0x2E1U);
}

TEST_F(ServiceOptionsTest, TheCommandLineBeatsTheFileUntilTheNextRead) {
    WriteFile("loglevel_mediaservice=3\n");
    ReadWith({"--localserver"});
    EXPECT_EQ(options_.Get(Option::kLogLevel), "1");
    Reread();
    EXPECT_EQ(options_.Get(Option::kLogLevel), "3");
    EXPECT_EQ(options_.Get(Option::kLocalServer), "yes") << "a re-read keeps what the command line set";
}

TEST_F(ServiceOptionsTest, KeysThatLeaveTheFileKeepTheirValue) {
    WriteFile("language_mediaservice=ger\nfakecldcnt_mediaservice=yes\n");
    Reread();
    WriteFile("fakecldcnt_mediaservice=no\n");
    Reread();
    EXPECT_EQ(options_.Get(Option::kLanguage), "ger");
    EXPECT_EQ(options_.Get(Option::kFakeChildCount), "no");
    std::filesystem::remove(dir_ / "dmsinfo.conf");
    Reread();
    EXPECT_EQ(options_.Get(Option::kLanguage), "ger");
}

TEST_F(ServiceOptionsTest, MenuFileMustExist) {
    const std::string standard = options_.Get(Option::kLocalMenu);
    ReadWith({"--menustyle", dir_ / "absent.xml"});
    EXPECT_EQ(options_.Get(Option::kLocalMenu), standard);
    const std::string menu = dir_.Write("menu with a name longer than any value of the file.xml", "<menu/>");
    ReadWith({"file", "--foreground", "-menustyle", menu, "--unknown=1", "--menustyle"});
    EXPECT_EQ(options_.Get(Option::kLocalMenu), menu) << "switches of other readers are passed over";
    EXPECT_EQ(options_.Get(Option::kLocalServer), "no");
}

TEST_F(ServiceOptionsTest, LogsValuesAsReadInTheOrderOfReading) {
    LogCapture log(2);
    const std::string menu = dir_.Write("menu.xml", "<menu/>");
    WriteFile(
        "fakecldcnt_mediaservice=YES\nlanguage_mediaservice=ger\nsuppradio_mediaservice=maybe\n"
        "sendthumb_mediaservice=no\n");
    ReadWith({"--menustyle=" + menu});
    const std::string text = log.Text();
    std::vector<std::string> labels;
    for (std::size_t at = 0; (at = text.find("OPT_DMS", at)) != std::string::npos;) {
        const std::size_t end = text.find('\n', at);
        labels.push_back(text.substr(at, end - at));
        at = end;
    }
    EXPECT_THAT(labels,
                testing::ElementsAre("OPT_DMS_SEND_THUMB: no", "OPT_DMS_ENABLE_IRADIO: maybe", "OPT_DMS_MENU_LANG: ger",
                                     "OPT_DMS_LOCAL_MENU_STYLE: " + menu, "OPT_DMS_FAKE_CHILDCOUNT: YES"));
}

TEST_F(ServiceOptionsTest, AReaderNeverSeesHalfOfARead) {
    std::string all_off = kEverythingOn;
    for (std::size_t at = 0; (at = all_off.find("=yes", at)) != std::string::npos;) all_off.replace(at, 4, "=no");
    WriteFile(all_off);
    std::atomic<bool> done = false;
    std::thread reader([&] {
        while (!done) {
            const std::uint32_t flags = options_.OptionFlags();
            ASSERT_TRUE(flags == 0U || flags == 0x37FU) << std::hex << flags;
        }
    });
    for (int i = 0; i < 100; ++i) {
        WriteFile(i % 2 == 0 ? kEverythingOn : all_off.c_str());
        Reread();
    }
    done = true;
    reader.join();
}

}  // namespace
}  // namespace MediaServer
