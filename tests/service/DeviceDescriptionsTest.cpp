#include <filesystem>

#include <unistd.h>

#include "platform/system/Files.h"
#include "platform/system/Product.h"
#include "service/DeviceDescriptions.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

constexpr const char* kData = "var/packages/MediaServer/target/etc/";
constexpr const char* kOptions = "var/packages/MediaServer/etc/dmsinfo.conf";

struct FillCase {
    const char* why;
    std::string_view text;
    bool is_filled;
    std::string_view result;
};
constexpr FillCase kFills[] = {
    {"in order, with a per cent sign", "<a>%s</a>50%%<b>%s</b>", true, "<a>1</a>50%<b>2</b>"},
    {"one too few would leave a value out", "%s", false, ""},
    {"one too many has no value", "%s%s%s", false, ""},
    {"another conversion", "%s%d", false, ""},
    {"a width is another conversion, too", "%s%2s", false, ""},
    {"a lone sign at the end", "%s%s%", false, ""},
};

TEST(FillTemplate, ExactlyTheConversionsThatHaveValues) {
    const std::string values[] = {"1", "2"};
    for (const auto& c : kFills) {
        SCOPED_TRACE(c.why);
        std::string filled;
        EXPECT_EQ(FillTemplate(c.text, values, 2, filled), c.is_filled);
        EXPECT_EQ(c.is_filled ? filled : "", c.result);
    }
}

class Descriptions : public ::testing::Test {
protected:
    Descriptions() {
        std::filesystem::create_directories(root_ / "tmp/dms");
        for (const char* name : {"allservices.xml", "device.xml", "device_xbox.xml", "device_win.xml"}) Template(name);
    }
    void Template(const std::string& name) { root_.Write(kData + name, name + "|%s|%s|%s|%s|%s"); }
    std::string Written(const std::string& name) { return ReadWholeFile(root_ / name, 4096).value_or("(none)"); }
    void WriteAll(const std::string& options) {
        root_.Write(kOptions, options);
        options_.Read(0, nullptr);
        descriptions_.WriteAll("10.0.0.5", 50001);
    }
    std::string Expected(const std::string& name, const std::string& model, const std::string& url) {
        char host[256] = "";
        gethostname(host, sizeof host);
        return name + "|" + host + "|" + model + "|" + DMSGetProductSerial() + "|" + DMSGetProductUDN() + "|" + url;
    }

    TempSysroot root_;
    ServiceOptions options_{root_ / kOptions};
    DeviceDescriptions descriptions_{options_};
};

TEST_F(Descriptions, EachVariantFromItsTemplate) {
    const std::string model = DMSGetProductModel();
    WriteAll("");
    EXPECT_EQ(Written(std::string(kData) + "initall.xml"), Expected("allservices.xml", model, "http://10.0.0.5:5000/"));
    EXPECT_EQ(Written("tmp/dms/s_device.xml"), Expected("device.xml", model, "http://10.0.0.5:5000/"));
    EXPECT_EQ(Written("tmp/dms/s_device_xbox.xml"),
              Expected("device_xbox.xml", "Windows Media Player Sharing", "http://10.0.0.5:5000/"));
    WriteAll("admin_port=8080\n");
    EXPECT_EQ(Written("tmp/dms/s_allservices.xml"), Expected("allservices.xml", model, "http://10.0.0.5:8080/"));
}

TEST_F(Descriptions, ConformanceTestNeedsOptionAndTemplate) {
    const std::string init = std::string(kData) + "initall.xml";
    WriteAll("uctt_mediaservice=yes\n");
    EXPECT_TRUE(Written(init).starts_with("allservices.xml|")) << "the template is missing";
    EXPECT_EQ(descriptions_.SelectDescription(""), root_ / "tmp/dms/s_allservices.xml");
    Template("uctt.xml");
    WriteAll("uctt_mediaservice=YES\n");
    EXPECT_TRUE(Written(init).starts_with("allservices.xml|")) << "the value is compared as it stands";
    WriteAll("uctt_mediaservice=yes\n");
    EXPECT_EQ(Written(init), Expected("uctt.xml", DMSGetProductModel(), "http://10.0.0.5:50001/desc/device.xml"));
    EXPECT_EQ(descriptions_.SelectDescription("Xbox"), root_ / "tmp/dms/s_uctt.xml") << "testers come first";
}

TEST_F(Descriptions, BrokenTemplateLeavesTheOlderFile) {
    WriteAll("");
    const std::string before = Written("tmp/dms/s_device.xml");
    root_.Write(std::string(kData) + "device.xml", "%s only one");
    WriteAll("");
    EXPECT_EQ(Written("tmp/dms/s_device.xml"), before);
    std::filesystem::remove(root_ / (std::string(kData) + "device_win.xml"));
    EXPECT_FALSE(descriptions_.WriteDescription("m", root_ / (std::string(kData) + "device_win.xml"), root_ / "out"));
    EXPECT_FALSE(
        descriptions_.WriteDescription("m", root_ / (std::string(kData) + "allservices.xml"), root_ / "no/out"));
}

TEST_F(Descriptions, OnlyATemplateThatDoesNotOpenIsTold) {
    const std::string templates = root_ / kData;
    std::filesystem::remove(templates + "device_win.xml");
    std::filesystem::remove(templates + "device.xml");
    std::filesystem::create_directory(templates + "device.xml");  // opens, but reads nothing
    LogCapture log;
    WriteAll("");
    const std::string text = log.Text();
    EXPECT_NE(text.find("Failed to open device desc " + templates + "device_win.xml\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("device.xml"), std::string::npos) << text;
}

TEST_F(Descriptions, ModelIsEscaped) {
    ASSERT_TRUE(descriptions_.WriteDescription("A & <B>", root_ / (std::string(kData) + "device.xml"), root_ / "out"));
    EXPECT_NE(Written("out").find("|A &amp; &lt;B&gt;|"), std::string::npos);
}

struct VariantCase {
    const char *why, *agent, *file;
};
constexpr VariantCase kVariants[] = {
    {"nothing known", "", "s_allservices.xml"},
    {"console", "Xbox/2.0", "s_device_xbox.xml"},
    {"console that names the player, too", "Windows-Media-Player/10 Xbox/2.0", "s_device_xbox.xml"},
    {"player", "Windows-Media-Player/12.0", "s_device_win.xml"},
    {"browser", "Mozilla/5.0 (X11)", "s_device_win.xml"},
    {"capitals count", "mozilla xbox", "s_device.xml"},
    {"everybody else", "VLC/3.0", "s_device.xml"},
};

TEST_F(Descriptions, VariantByUserAgent) {
    for (const auto& c : kVariants) {
        EXPECT_EQ(descriptions_.SelectDescription(c.agent), root_ / "tmp/dms" + ("/" + std::string(c.file))) << c.why;
    }
}

}  // namespace
}  // namespace MediaServer
