#include "platform/clients/ClientProfile.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

struct SwitchName {
    std::string_view name;
    bool DMSClientChecker::*member;
};
constexpr SwitchName kSwitches[] = {
    {"full-menu", &DMSClientChecker::full_menu},
    {"flat-menu", &DMSClientChecker::flat_menu},
    {"audio-only", &DMSClientChecker::audio_only},
    {"numbered-containers", &DMSClientChecker::numbered_containers},
    {"dlna-parameters", &DMSClientChecker::dlna_parameters},
    {"role-attributes", &DMSClientChecker::role_attributes},
    {"full-metadata", &DMSClientChecker::full_metadata},
    {"large-photo", &DMSClientChecker::large_photo},
    {"always-art-profile", &DMSClientChecker::always_art_profile},
};

struct FlagName {
    std::string_view name;
    std::uint32_t bit;
};
constexpr FlagName kFlags[] = {
    {"no-thumbnails", ClientFlag::kNoThumbnails},
    {"no-l16", ClientFlag::kNoL16},
    {"l16-only", ClientFlag::kL16Only},
    {"no-album-art", ClientFlag::kNoAlbumArt},
    {"thumbnails-first", ClientFlag::kThumbnailsFirst},
    {"no-video-cover", ClientFlag::kNoVideoCover},
    {"transcode-mkv", ClientFlag::kTranscodeMkv},
    {"video-album-art", ClientFlag::kVideoAlbumArt},
    {"subtitle-resource", ClientFlag::kSubtitleResource},
    {"photo-1280", ClientFlag::kPhoto1280},
    {"text-items", ClientFlag::kTextItems},
    {"force-jpeg-lrg", ClientFlag::kForceJpegLarge},
    {"mpeg-mapping", ClientFlag::kMpegMapping},
    {"small-640", ClientFlag::kSmall640},
    {"slash-separator", ClientFlag::kSlashSeparator},
    {"original-art", ClientFlag::kOriginalArt},
    {"video-details", ClientFlag::kVideoDetails},
    {"video-file-names", ClientFlag::kVideoFileNames},
};

/// What a rule compares: a name that a renderer's description announces.
struct AnnouncedName {
    std::string_view setting, key;
};
constexpr AnnouncedName kAnnouncedNames[] = {
    {"model-name", "modelName"},
    {"model-description", "modelDescription"},
    {"manufacturer", "manufacturer"},
    {"friendly-name", "friendlyName"},
};

constexpr std::string_view kHeaderPrefix = "header.";
constexpr std::string_view kSectionPrefix = "[profile ";
constexpr std::string_view kBlanks = " \t";

/// The row of a table with that name, or null.
template <typename Row, std::size_t Size>
const Row* FindRow(const Row (&table)[Size], std::string_view Row::*field, std::string_view name) {
    const Row* row = std::find_if(std::begin(table), std::end(table), [&](const Row& r) { return r.*field == name; });
    return row == std::end(table) ? nullptr : row;
}

std::optional<bool> ParseYesNo(std::string_view value) {
    if (value == "yes") return true;
    if (value == "no") return false;
    return std::nullopt;
}

/// The rule that a setting states, or nothing when the setting is none.
std::optional<ClientProfile::MatchRule> ParseRule(std::string_view setting, std::string_view value) {
    if (setting == "user-agent") return ClientProfile::MatchRule{"user-agent", std::string(value), true};
    if (setting.starts_with(kHeaderPrefix) && setting.size() > kHeaderPrefix.size()) {
        return ClientProfile::MatchRule{StringToLower(setting.substr(kHeaderPrefix.size())), std::string(value), true};
    }
    if (const auto* name = FindRow(kAnnouncedNames, &AnnouncedName::setting, setting)) {
        return ClientProfile::MatchRule{std::string(name->key), std::string(value), false};
    }
    return std::nullopt;
}

/// "mp4 h264 1920x1080 AVC_MP4_HP_HD_AAC"; the size may be "*".
std::optional<ClientProfile::VideoRule> ParseVideoRule(std::string_view value) {
    ClientProfile::VideoRule rule;
    rule.container = NLIBCStrTokIndex(value, kBlanks, 0);
    rule.codec = NLIBCStrTokIndex(value, kBlanks, 1);
    const std::string size = NLIBCStrTokIndex(value, kBlanks, 2);
    rule.profile_name = NLIBCStrTokIndex(value, kBlanks, 3);
    if (rule.profile_name.empty() || !NLIBCStrTokIndex(value, kBlanks, 4).empty()) return std::nullopt;
    char rest = 0;
    if (size != "*" && (std::sscanf(size.c_str(), "%5dx%5d%c", &rule.max_width, &rule.max_height, &rest) != 2 ||
                        rule.max_width <= 0 || rule.max_height <= 0)) {
        return std::nullopt;
    }
    return rule;
}

/// Adds the profile that the head of a section names to the list. @return null, and the reason, when it cannot be used.
std::shared_ptr<ClientProfile> StartSection(std::string_view head, ProfileList& list, std::string& problem) {
    if (!head.starts_with(kSectionPrefix) || head.back() != ']') {
        problem = "a section starts with \"[profile NAME]\"";
        return nullptr;
    }
    const std::string_view name =
        TrimBlanks(head.substr(kSectionPrefix.size(), head.size() - kSectionPrefix.size() - 1));
    const bool is_taken = std::any_of(list.begin(), list.end(), [&](const auto& p) { return p->name == name; });
    if (name.empty()) problem = "the section has no name";
    if (is_taken) problem = "there is already a profile \"" + std::string(name) + "\"";
    if (!problem.empty()) return nullptr;
    auto profile = std::make_shared<ClientProfile>();
    profile->name = name;
    list.push_back(profile);
    return profile;
}

/// Applies one `setting = value` line. @return the reason why it cannot be used, empty when it could.
std::string ApplySetting(ClientProfile& profile, std::string_view setting, std::string_view value) {
    if (setting == "offending-characters") {
        profile.offending = value;
        return {};
    }
    if (setting == "video-profile") {
        auto rule = ParseVideoRule(value);
        if (!rule) return "video-profile wants \"container codec WIDTHxHEIGHT name\"";
        profile.video_rules.push_back(std::move(*rule));
        return {};
    }
    if (auto rule = ParseRule(setting, value)) {
        if (rule->pattern.find_first_not_of('*') == std::string::npos) return "the rule would match every client";
        profile.rules.push_back(std::move(*rule));
        return {};
    }
    const auto* on_off = FindRow(kSwitches, &SwitchName::name, setting);
    const auto* flag = FindRow(kFlags, &FlagName::name, setting);
    if (on_off == nullptr && flag == nullptr) return "unrecognized setting \"" + std::string(setting) + "\"";
    const auto yes = ParseYesNo(value);
    if (!yes) return "\"" + std::string(setting) + "\" is yes or no, not \"" + std::string(value) + "\"";
    if (on_off != nullptr) {
        profile.switches.emplace_back(on_off->member, *yes);
    } else {
        profile.flags = *yes ? profile.flags | flag->bit : profile.flags & ~flag->bit;
    }
    return {};
}

}  // namespace

bool MatchesPattern(std::string_view pattern, std::string_view text) {
    if (pattern.empty()) return false;
    std::size_t position = 0;
    for (;;) {
        const std::size_t star = pattern.find('*');
        const std::string_view piece = pattern.substr(0, star);
        position = text.find(piece, position);
        if (position == std::string_view::npos) return false;
        if (star == std::string_view::npos) return true;
        position += piece.size();
        pattern.remove_prefix(star + 1);
    }
}

ProfileList ParseProfiles(std::string_view text, const std::function<void(int, const std::string&)>& complain) {
    ProfileList list;
    std::shared_ptr<ClientProfile> current;  // null before the first section, and inside one that cannot be used
    bool skipping = false;
    int number = 1;
    const char* counted = text.data();
    for (std::string_view line; NextConfigLine(text, line);) {
        number += static_cast<int>(std::count(counted, line.data(), '\n'));
        counted = line.data();
        if (line.front() == '[') {
            std::string problem;
            current = StartSection(line, list, problem);
            skipping = current == nullptr;
            if (skipping) complain(number, problem);
            continue;
        }

        const auto equals = line.find('=');
        if (current == nullptr) {
            // The lines of a section that was refused have been reported with its head.
            if (!skipping) complain(number, "the line stands before the first section");
        } else if (equals == std::string_view::npos) {
            complain(number, "the line is not \"setting = value\"");
        } else {
            const std::string problem =
                ApplySetting(*current, TrimBlanks(line.substr(0, equals)), TrimBlanks(line.substr(equals + 1)));
            if (!problem.empty()) complain(number, problem);
        }
    }
    return list;
}

std::shared_ptr<const ClientProfile> FindProfile(const ProfileList& list, const RuleValues& values) {
    for (const auto& profile : list) {
        for (const auto& rule : profile->rules) {
            for (const std::string& value : values(rule)) {
                if (MatchesPattern(rule.pattern, value)) return profile;
            }
        }
    }
    return nullptr;
}

}  // namespace MediaServer
