#include "service/DeviceDescriptions.h"

#include <array>

#include <unistd.h>

#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/system/Product.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr std::size_t kMaxTemplateBytes = 256 * 1024;
constexpr std::size_t kPortText = 16;
constexpr std::int32_t kDefaultAdminPort = 5000;
constexpr const char* kConformanceTemplate = "uctt.xml";

enum class When { Always, ConformanceTest, Normally };

/// One document to make. The console's name for the model is the only one that it lists as a media server.
struct Generation {
    const char* template_name;
    std::string_view output_dir;
    const char* output_name;
    const char* model_name;  ///< null: the product's own
    When when;
};
constexpr Generation kGenerations[] = {
    {"uctt.xml", kPackageDataDir, "initall.xml", nullptr, When::ConformanceTest},
    {"uctt.xml", kTempDir, "s_uctt.xml", nullptr, When::ConformanceTest},
    {"allservices.xml", kPackageDataDir, "initall.xml", nullptr, When::Normally},
    {"allservices.xml", kTempDir, "s_allservices.xml", nullptr, When::Always},
    {"device.xml", kTempDir, "s_device.xml", nullptr, When::Always},
    {"device_xbox.xml", kTempDir, "s_device_xbox.xml", "Windows Media Player Sharing", When::Always},
    {"device_win.xml", kTempDir, "s_device_win.xml", nullptr, When::Always},
};

/// Which clients get which document: the first word that the user agent contains decides.
struct Variant {
    std::string_view agent_part;
    const char* output_name;
};
constexpr Variant kVariants[] = {
    {"Xbox", "s_device_xbox.xml"},  // before the next: consoles name that player, too
    {"Windows-Media-Player", "s_device_win.xml"},
    {"Mozilla", "s_device_win.xml"},
};

std::string PathIn(std::string_view dir, std::string_view name) {
    return SystemPath(std::string(dir) + "/" + std::string(name));
}

}  // namespace

bool FillTemplate(std::string_view text, const std::string* values, std::size_t count, std::string& filled) {
    std::size_t used = 0;
    filled.clear();
    while (true) {
        const auto percent = text.find('%');
        filled.append(text.substr(0, percent));
        if (percent == std::string_view::npos) return used == count;
        const std::string_view conversion = text.substr(percent, 2);
        if (conversion == "%%") {
            filled.push_back('%');
        } else if (conversion == "%s" && used < count) {
            filled.append(values[used++]);
        } else {
            return false;
        }
        text.remove_prefix(percent + 2);
    }
}

bool DeviceDescriptions::IsConformanceTest() const {
    return options_.Get(Option::kConformanceTest) == "yes" &&
           NLIBCFileExist(PathIn(kPackageDataDir, kConformanceTemplate).c_str());
}

void DeviceDescriptions::WriteAll(const std::string& address, std::uint16_t port, bool only_missing) {
    address_ = address;
    port_ = port;
    const bool is_test = IsConformanceTest();
    for (const Generation& row : kGenerations) {
        if (row.when != When::Always && is_test != (row.when == When::ConformanceTest)) continue;
        const std::string output = PathIn(row.output_dir, row.output_name);
        if (only_missing && NLIBCFileExist(output.c_str())) continue;
        WriteDescription(row.model_name == nullptr ? DMSGetProductModel() : row.model_name,
                         PathIn(kPackageDataDir, row.template_name), output);
    }
}

std::string DeviceDescriptions::PresentationUrl(std::string_view template_path) const {
    // The conformance tester follows the link and wants a page of the device itself; everybody else gets the
    // administration page.
    const bool is_test = BaseName(template_path) == kConformanceTemplate;
    std::int32_t port = port_;
    if (!is_test) {
        char text[kPortText] = "";
        const int found = NLIBCFileGetKeyValue(SystemPath(kOptionFile).c_str(), "admin_port", text, sizeof text, 0);
        port = found > 0 ? ToInt(text) : kDefaultAdminPort;
    }
    return "http://" + address_ + ":" + std::to_string(port) + "/" + (is_test ? "desc/device.xml" : "");
}

bool DeviceDescriptions::WriteDescription(const std::string& model_name, const std::string& template_path,
                                          const std::string& output_path) {
    const auto host = HostName();
    if (!host) return false;
    const auto text = ReadWholeFile(template_path, kMaxTemplateBytes);
    if (!text) {
        // Said of a template that does not open, as the message has it; one that opens and does not read is skipped.
        if (access(template_path.c_str(), R_OK) != 0) {
            DMSPrintf(0, "Failed to open device desc %s\n", template_path.c_str());
        }
        return false;
    }
    const std::array<std::string, 5> values{XMLEscape(*host), XMLEscape(model_name), XMLEscape(DMSGetProductSerial()),
                                            XMLEscape(DMSGetProductUDN()), XMLEscape(PresentationUrl(template_path))};
    std::string filled;
    if (!FillTemplate(*text, values.data(), values.size(), filled)) {
        DMSPrintf(0,
                  "cannot use device description template \"%s\": it must have exactly %zu \"%%s\" and write \"%%\" as "
                  "\"%%%%\"",
                  template_path.c_str(), values.size());
        return false;
    }
    if (!WriteFileAtomically(output_path, filled)) {
        DMSPrintf(0, "Failed to open device desc %s\n", output_path.c_str());
        return false;
    }
    return true;
}

std::string DeviceDescriptions::SelectDescription(std::string_view user_agent) const {
    const std::string tester = PathIn(kTempDir, "s_uctt.xml");
    if (options_.Get(Option::kConformanceTest) == "yes" && NLIBCFileExist(tester.c_str())) return tester;
    if (user_agent.empty()) return PathIn(kTempDir, "s_allservices.xml");
    for (const Variant& variant : kVariants) {
        if (user_agent.find(variant.agent_part) != std::string_view::npos) return PathIn(kTempDir, variant.output_name);
    }
    return PathIn(kTempDir, "s_device.xml");
}

}  // namespace MediaServer
