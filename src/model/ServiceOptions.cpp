#include "model/ServiceOptions.h"

#include <array>
#include <utility>
#include <vector>

#include <getopt.h>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

using Table = std::map<unsigned, std::string>;

constexpr std::size_t kValueBytes = 32;  // with the closing nul
constexpr int kInformation = 2;
constexpr std::string_view kLocalMenuFile = "/var/packages/MediaServer/target/etc/menu_local.xml";

enum class Kind { Text, YesNo };

struct FileKey {
    unsigned id;
    const char* key;
    const char* label;
    Kind kind;
};

// In the order in which they are read.
constexpr FileKey kKeysBeforeCommandLine[] = {
    {Option::kSendThumb, "sendthumb_mediaservice", "OPT_DMS_SEND_THUMB", Kind::YesNo},
    {Option::kRadio, "suppradio_mediaservice", "OPT_DMS_ENABLE_IRADIO", Kind::YesNo},
    {Option::kLanguage, "language_mediaservice", "OPT_DMS_MENU_LANG", Kind::Text},
    {Option::kMenuStyle, "menustyle_mediaservice", "OPT_DMS_MENU_STYLE", Kind::Text},
    {Option::kLogLevel, "loglevel_mediaservice", "OPT_DMS_LOGLEVEL", Kind::Text},
    {Option::kRokuSearch, "rokusearch_mediaservice", "OPT_DMS_ROKUSEARCH", Kind::Text},
    {Option::kMusicInfo, "musicinfo_mediaservice", "OPT_DMS_MUSIC_INFO", Kind::Text},
    {Option::kEmbeddedVideoInfo, "ebdvideoinfo_mediaservice", "OPT_DMS_SHOW_EBDVIDEO_INFO", Kind::Text},
    {Option::kReelhouse, "integrateReelhouse_mediaservice", "OPT_DMS_INTEGRATE_REELHOUSE", Kind::Text},
    {Option::kDisableAccessRight, "disable_access_right_mediaservice", "OPT_DMS_DISABLE_ACCESS_RIGHT", Kind::Text},
    {Option::kAdvertisementExpiry, "advrexpire_mediaservice", "OPT_DMS_ADVR_EXPIRE", Kind::Text},
    {Option::kConformanceTest, "uctt_mediaservice", "OPT_DMS_UCTT", Kind::Text},
    {Option::kFlacTranscoding, "flactranscoding_mediaservice", "OPT_DMS_FLAC_TRANSCODING", Kind::YesNo},
    {Option::kAacTranscoding, "aactranscoding_mediaservice", "OPT_DMS_AAC_TRANSCODING", Kind::YesNo},
    {Option::kOggTranscoding, "oggtranscoding_mediaservice", "OPT_DMS_OGG_TRANSCODING", Kind::YesNo},
    {Option::kAiffTranscoding, "aifftranscoding_mediaservice", "OPT_DMS_AIFF_TRANSCODING", Kind::YesNo},
    {Option::kDownsampleAudio, "downsample_audiotranscoding_mediaservice", "OPT_DMS_DOWNSAMPLE_AUDIO_TRANSCODING",
     Kind::YesNo},
    {Option::kFolderArt, "cmzalbumart_mediaservice", "OPT_DMS_FIND_FOLDER_ARTS", Kind::YesNo},
};
constexpr FileKey kKeysAfterCommandLine[] = {
    {Option::kNoAgentDlna, "noagentdlna_mediaservice", "OPT_DMS_NOAGNET_DLNA", Kind::YesNo},
    {Option::kFakeChildCount, "fakecldcnt_mediaservice", "OPT_DMS_FAKE_CHILDCOUNT", Kind::YesNo},
};

Table Defaults() {
    return {
        {Option::kSendThumb, "no"},
        {Option::kLanguage, "enu"},
        {Option::kMenuStyle, "simple"},
        {Option::kLogLevel, "1"},
        {Option::kRokuSearch, "yes"},
        {Option::kMusicInfo, "title"},
        {Option::kFlacTranscoding, "no"},
        {Option::kAacTranscoding, "no"},
        {Option::kOggTranscoding, "no"},
        {Option::kAiffTranscoding, "no"},
        {Option::kDownsampleAudio, "no"},
        {Option::kFolderArt, "no"},
        {Option::kConformanceTest, "no"},
        {Option::kLocalServer, "no"},
        {Option::kLocalMenu, SystemPath(kLocalMenuFile)},
        {Option::kNoAgentDlna, "yes"},
        {Option::kFakeChildCount, "no"},
        {Option::kRadio, "no"},
        {Option::kReelhouse, "no"},
        {Option::kDisableAccessRight, "no"},
        {Option::kAdvertisementExpiry, "1900"},
    };
}

template <std::size_t N>
void ReadKeys(const FileKey (&keys)[N], const std::string& file, Table& table) {
    for (const FileKey& key : keys) {
        std::array<char, kValueBytes> value{};
        if (NLIBCFileGetKeyValue(file.c_str(), key.key, value.data(), value.size(), 0) <= 0) continue;
        const bool normalise = key.kind == Kind::YesNo;
        table[key.id] = !normalise ? value.data() : EqualsIgnoreCase(value.data(), "yes") ? "yes" : "no";
        DMSPrintf(kInformation, "%s: %s\n", key.label, value.data());
    }
}

void ReadCommandLine(int argc, char** argv, Table& table) {
    enum { kLocalServerSwitch = 1, kMenuStyleSwitch };
    const option options[] = {{"localserver", no_argument, nullptr, kLocalServerSwitch},
                              {"menustyle", required_argument, nullptr, kMenuStyleSwitch},
                              {nullptr, 0, nullptr, 0}};
    // getopt reorders what it is given, and other readers of the command line want it as it came.
    std::vector<char*> arguments(argv, argv + argc);
    arguments.push_back(nullptr);
    optind = 0;  // starts a new scan, whoever scanned before
    opterr = 0;  // the switches of other readers are no errors
    for (int found; (found = getopt_long_only(argc, arguments.data(), "", options, nullptr)) != -1;) {
        if (found == kLocalServerSwitch) {
            table[Option::kLocalServer] = "yes";
            table[Option::kLogLevel] = "1";
        } else if (found == kMenuStyleSwitch && NLIBCFileExist(optarg)) {
            table[Option::kLocalMenu] = optarg;
            DMSPrintf(kInformation, "OPT_DMS_LOCAL_MENU_STYLE: %s\n", optarg);
        }
    }
}

struct FlagOption {
    std::uint32_t flag;
    unsigned id;
    bool in_local_server_mode;  ///< false: what needs the transcoder, which that mode does without
};
constexpr FlagOption kFlags[] = {
    {OptionFlag::kSendThumb, Option::kSendThumb, true},
    {OptionFlag::kFlac, Option::kFlacTranscoding, false},
    {OptionFlag::kAac, Option::kAacTranscoding, false},
    {OptionFlag::kOgg, Option::kOggTranscoding, false},
    {OptionFlag::kAiff, Option::kAiffTranscoding, false},
    {OptionFlag::kFolderArt, Option::kFolderArt, true},
    {OptionFlag::kEmbeddedVideoInfo, Option::kEmbeddedVideoInfo, true},
    {OptionFlag::kLocalServer, Option::kLocalServer, true},
    {OptionFlag::kDownsample, Option::kDownsampleAudio, false},
    {OptionFlag::kConformanceTest, Option::kConformanceTest, true},
};

bool IsYes(const Table& table, unsigned id) {
    const auto found = table.find(id);
    return found != table.end() && found->second == "yes";
}

}  // namespace

ServiceOptions::ServiceOptions(std::string option_file)
    : option_file_(std::move(option_file)), table_(std::make_shared<const Table>(Defaults())) {}

void ServiceOptions::Read(int argc, char** argv) {
    Table table = *Snapshot();
    ReadKeys(kKeysBeforeCommandLine, option_file_, table);
    if (argc != 0 && argv != nullptr) ReadCommandLine(argc, argv, table);
    ReadKeys(kKeysAfterCommandLine, option_file_, table);
    auto replacement = std::make_shared<const Table>(std::move(table));
    const std::scoped_lock lock(mutex_);
    table_ = std::move(replacement);
}

std::string ServiceOptions::Get(unsigned id) const {
    const auto table = Snapshot();
    const auto found = table->find(id);
    return found == table->end() ? std::string{} : found->second;
}

std::uint32_t ServiceOptions::OptionFlags() const {
    const auto table = Snapshot();
    const bool local_server = IsYes(*table, Option::kLocalServer);
    std::uint32_t flags = 0;
    for (const FlagOption& row : kFlags)
        if (IsYes(*table, row.id) && (row.in_local_server_mode || !local_server)) flags |= row.flag;
    return flags;
}

std::shared_ptr<const ServiceOptions::Table> ServiceOptions::Snapshot() const {
    const std::scoped_lock lock(mutex_);
    return table_;
}

}  // namespace MediaServer
