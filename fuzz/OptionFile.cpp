// dmsinfo.conf, which its owner edits: the key=value reader and the option table.
#include <array>

#include "InputFile.h"
#include "Target.h"
#include "model/ServiceOptions.h"
#include "platform/system/Files.h"

using namespace MediaServer;

namespace {

void TryValue(const std::string& path, const std::string& key) {
    std::array<char, 300> longer{};
    std::array<char, 16> shorter;
    shorter.fill('x');
    const int whole = NLIBCFileGetKeyValue(path.c_str(), key.c_str(), longer.data(), longer.size(), 0);
    const int cut = NLIBCFileGetKeyValue(path.c_str(), key.c_str(), shorter.data(), shorter.size(), 0);
    Require((whole > 0) == (cut > 0) && whole >= 0, "a key is found whatever the buffer");
    if (whole == 0) return;
    Require(cut <= static_cast<int>(shorter.size()) && shorter[static_cast<std::size_t>(cut) - 1] == '\0',
            "a value ends within its buffer");
    Require(
        std::string_view(longer.data(), static_cast<std::size_t>(whole)).substr(0, static_cast<std::size_t>(cut) - 1) ==
            std::string_view(shorter.data(), static_cast<std::size_t>(cut) - 1),
        "a cut value is the beginning of the whole one");
    Require(std::string_view(longer.data()).find('\n') == std::string_view::npos, "a value is one line");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = AsText(data, size);
    const InputFile file(text);
    ServiceOptions options(file.Path());
    const ServiceOptions defaults("");
    options.Read(0, nullptr);

    constexpr unsigned kYesNoOptions[] = {Option::kSendThumb,       Option::kRadio,          Option::kFlacTranscoding,
                                          Option::kAacTranscoding,  Option::kOggTranscoding, Option::kAiffTranscoding,
                                          Option::kDownsampleAudio, Option::kFolderArt,      Option::kNoAgentDlna,
                                          Option::kFakeChildCount};
    for (const unsigned id : kYesNoOptions)
        Require(options.Get(id) == "yes" || options.Get(id) == "no", "a yes/no option is yes or no");
    Require(options.Get(Option::kLocalServer) == "no", "the file cannot switch the local-server mode on");
    if (text.find('=') == std::string_view::npos)
        for (unsigned id = 0; id <= Option::kDisableAccessRight; ++id)
            Require(options.Get(id) == defaults.Get(id), "without a key every option keeps its default");
    for (const char* key : {"language_mediaservice", "menustyle_mediaservice", "network_mediaservice"})
        TryValue(file.Path(), key);
    return 0;
}
