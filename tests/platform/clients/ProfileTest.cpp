#include "platform/clients/ClientProfile.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using Complaints = std::vector<std::pair<int, std::string>>;

ProfileList Parse(std::string_view text, Complaints* complaints = nullptr) {
    return ParseProfiles(text, [&](int line, const std::string& reason) {
        if (complaints != nullptr) complaints->emplace_back(line, reason);
    });
}

struct PatternCase {
    const char* why;
    std::string_view pattern, text;
    bool matches;
};
constexpr PatternCase kPatterns[] = {
    {"a piece inside", "SEC_HHP", "DLNADOC/1.50 SEC_HHP_[TV]UE40/1.0", true},
    {"capitals count", "roku", "Roku/DVP-5.0", false},
    {"pieces in order", "Microsoft*DLNA", "Microsoft-Windows/10.0 UPnP/1.0 Microsoft-DLNA", true},
    {"pieces the wrong way round", "DLNA*Windows", "Microsoft-Windows Microsoft-DLNA", false},
    {"pieces may not overlap", "aba*ba", "aba", false},
    {"stars at both ends add nothing", "*VLC*", "VLC", true},
    {"no pattern matches nobody, or an empty value would match everybody", "", "", false},
};

TEST(Profile, Patterns) {
    for (const auto& c : kPatterns) EXPECT_EQ(MatchesPattern(c.pattern, c.text), c.matches) << c.why;
}

struct BadLineCase {
    const char *why, *text;
    int line;
};
constexpr BadLineCase kBadLines[] = {
    {"a word that is no setting", "[profile A]\nflat_menu = yes\nl16-only = yes\n", 2},
    {"neither yes nor no, behind a byte order mark",
     "\xEF\xBB\xBF[profile A]\r\nflat-menu = true\r\nl16-only = yes\r\n", 2},
    {"no equals sign", "[profile A]\nl16-only = yes\nflat-menu", 3},
    {"a rule that everybody meets", "[profile A]\nuser-agent = *\nl16-only = yes\n", 2},
    {"a size without a height", "[profile A]\nvideo-profile = mp4 h264 1920 X\nl16-only = yes\n", 2},
    {"a size with a tail", "[profile A]\nvideo-profile = mp4 h264 1920x1080p X\nl16-only = yes\n", 2},
    {"one word too many", "[profile A]\nvideo-profile = mp4 h264 * X Y\nl16-only = yes\n", 2},
    {"a setting before any section", "flat-menu = yes\n# ok\n[profile A]\nl16-only = yes\n", 1},
    {"a section without a name costs one line, not one for each inside",
     "[profile ]\nno-l16 = yes\n[profile A]\nl16-only = yes\n", 1},
    {"the second section of a name", "[profile A]\nl16-only = yes\n[profile A]\nno-l16 = yes\n", 3},
};

TEST(Profile, BrokenLineIsNamedAndTheRestCounts) {
    for (const auto& c : kBadLines) {
        SCOPED_TRACE(c.why);
        Complaints complaints;
        const ProfileList list = Parse(c.text, &complaints);
        ASSERT_EQ(complaints.size(), 1U);
        EXPECT_EQ(complaints[0].first, c.line);
        ASSERT_EQ(list.size(), 1U);
        EXPECT_EQ(list[0]->name, "A");
        EXPECT_EQ(list[0]->flags, ClientFlag::kL16Only);
        EXPECT_TRUE(list[0]->switches.empty());
        EXPECT_TRUE(list[0]->video_rules.empty());
    }
}

class Checker : public ::testing::Test {
protected:
    void Use(const std::string& text) { DMSClientChecker::InitProfileList(dir_.Write("agent.conf", text)); }
    void TearDown() override { DMSClientChecker::ReleaseClientList(); }

    TempDir dir_;
    std::string file_ = dir_ / "agent.conf";
};

TEST_F(Checker, NameDecidesThenUserAgentThenDefault) {
    Use("[profile TV]\nuser-agent = TV\naudio-only = yes\n"
        "[profile Box]\nuser-agent = Box\nslash-separator = yes\ndlna-parameters = no\noffending-characters = \"<\n");
    struct Case {
        const char* why;
        const char *agent, *name, *expected;
        bool no_agent, dlna;
    };
    for (const Case& c : {Case{"the name", "TV", "Box", "Box", true, false},
                          Case{"a name that was removed from the file", "TV", "Gone", "TV", true, true},
                          Case{"default by name is no decision", "Box", "Default Profile", "Box", true, false},
                          Case{"no agent, option on", "", "", "Default Profile", true, true},
                          Case{"no agent, option off", "", "", "Default Profile", false, false},
                          Case{"unknown agent, option off", "curl", "", "Default Profile", false, false},
                          Case{"the option does not touch known clients", "TV", "", "TV", false, true}}) {
        SCOPED_TRACE(c.why);
        const DMSClientChecker checker(c.agent, c.name, c.no_agent);
        EXPECT_EQ(checker.profile_name, c.expected);
        EXPECT_EQ(checker.dlna_parameters, c.dlna);
        EXPECT_EQ(checker.Separator(), std::string_view(c.expected) == "Box" ? "/" : "$");
        EXPECT_EQ(checker.GetOffendChar(), std::string_view(c.expected) == "Box" ? "\"<" : "");
    }
}

TEST_F(Checker, FirstVideoRuleThatFits) {
    Use("[profile TV]\nuser-agent = TV\n"
        "video-profile = mpeg_ts h264 720x576 SD\n"
        "video-profile = mpeg_ts h264 1920x1080 HD\n"
        "video-profile = avi * * ANY\n");
    const DMSClientChecker checker("TV", "", true);
    NIMB_MEDIA_INFO media;
    const auto name = [&](const char* container, const char* codec, int width, int height) {
        media.container_type = container;
        media.video_codec = codec;
        media.resolutionx = width;
        media.resolutiony = height;
        return checker.getVideoProfileName(media);
    };
    EXPECT_EQ(name("mpeg_ts", "h264", 720, 576), "SD");
    EXPECT_EQ(name("MPEG_TS", "H264", 720, 577), "HD");
    EXPECT_EQ(name("mpeg_ts", "h264", 1921, 1080), "");
    EXPECT_EQ(name("mpeg_ts", "mpeg2video", 720, 576), "");
    EXPECT_EQ(name("avi", "mpeg4", 9000, 9000), "ANY");
}

TEST_F(Checker, ReloadLeavesRequestsUnderWayAlone) {
    Use("[profile TV]\nuser-agent = TV\nvideo-profile = * * * OLD\n");
    const DMSClientChecker before("TV", "", true);
    Use("[profile TV]\nuser-agent = TV\nvideo-profile = * * * NEW\n");
    EXPECT_EQ(before.getVideoProfileName({}), "OLD");
    EXPECT_EQ(DMSClientChecker("TV", "", true).getVideoProfileName({}), "NEW");
    DMSClientChecker::InitProfileList(file_ + ".missing");
    EXPECT_EQ(DMSClientChecker("TV", "", true).profile_name, "Default Profile");
}

struct DeviceCase {
    const char *agent, *profile;
};
// As the devices really send them; each could fall to a section that it must not meet.
constexpr DeviceCase kDevices[] = {
    {"Xbox/2.0.17559.0 UPnP/1.0 Xbox/2.0.17559.0", "Xbox"},
    {"Windows-Media-Player/12.0.7601.17514 Xbox", "Xbox"},
    {"Windows-Media-Player/12.0.9600.17415", "Windows"},
    {"Roku SoundBridge/4.0", "Roku SoundBridge"},
    {"Roku/DVP-9.10 (519.10E04111A)", "Roku"},
    {"UPnP/1.0 DLNADOC/1.50 Kodi", "Kodi"},
    {"VLC/3.0.18 LibVLC/3.0.18", "VLC"},
    {"Linux/6.1.0, UPnP/1.0, Portable SDK for UPnP devices/1.14.13", "UPnP program"},
    {"DLNADOC/1.50 SEC_HHP_[TV]UE40D7000/1.0", "Samsung"},
    {"Linux/3.0.13 UPnP/1.0 LGE_DLNA_SDK/1.6.0", "LG"},
    {"INTEL_NMPR/2.1 DLNADOC/1.50 dma/3.0 alphanetworks", "Network media player"},
    {"Mozilla/5.0 (X11; Linux x86_64; rv:109.0) Gecko/20100101 Firefox/115.0", "Web browser"},
    {"curl/7.88.1", "Default Profile"},
};

TEST_F(Checker, InstalledFileIsCleanAndTellsDevicesApart) {
    const std::string installed = DMS_SOURCE_DIR "/share/agent.conf";
    Complaints complaints;
    const auto text = ReadWholeFile(installed, 1 << 20);
    ASSERT_TRUE(text);
    Parse(*text, &complaints);
    EXPECT_TRUE(complaints.empty()) << complaints[0].first << ": " << complaints[0].second;
    DMSClientChecker::InitProfileList(installed);
    for (const auto& c : kDevices) EXPECT_EQ(DMSClientChecker(c.agent, "", true).profile_name, c.profile) << c.agent;
}

}  // namespace
}  // namespace MediaServer
