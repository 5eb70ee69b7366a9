#include "platform/clients/DMSClientChecker.h"

#include <algorithm>
#include <mutex>

#include "platform/clients/ClientProfile.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr std::size_t kMaxProfileFileBytes = 1024 * 1024;

/// The process's profile list. Readers take a snapshot, so a reload never changes a request under way.
struct ProfileStore {
    std::mutex mutex;
    std::shared_ptr<const ProfileList> list = std::make_shared<ProfileList>();  // guarded by mutex

    void Replace(ProfileList profiles) {
        auto fresh = std::make_shared<const ProfileList>(std::move(profiles));
        std::lock_guard lock(mutex);
        list.swap(fresh);
    }
};

ProfileStore& Store() {
    static ProfileStore store;
    return store;
}

std::shared_ptr<const ClientProfile> FindByName(const ProfileList& list, std::string_view name) {
    const auto found =
        std::find_if(list.begin(), list.end(), [&](const auto& profile) { return profile->name == name; });
    return found == list.end() ? nullptr : *found;
}

bool NameMatches(const std::string& rule, const std::string& stored) {
    return rule == "*" || EqualsIgnoreCase(rule, stored);
}

}  // namespace

std::shared_ptr<const ProfileList> CurrentProfiles() {
    std::lock_guard lock(Store().mutex);
    return Store().list;
}

void DMSClientChecker::InitProfileList(const std::string& profile_file) {
    const auto text = ReadWholeFile(profile_file, kMaxProfileFileBytes);
    if (!text)
        DMSPrintf(0, "could not read profile file \"%s\", every client gets the default profile", profile_file.c_str());
    Store().Replace(ParseProfiles(text.value_or(""), [&](int line, const std::string& reason) {
        DMSPrintf(0, "skipped line %d of profile file \"%s\": %s", line, profile_file.c_str(), reason.c_str());
    }));
}

void DMSClientChecker::ReleaseClientList() {
    Store().Replace({});
}

DMSClientChecker::DMSClientChecker(std::string_view user_agent, std::string_view wanted_profile,
                                   bool no_agent_is_dlna) {
    const auto list = CurrentProfiles();
    // The default name is what routing hands over when it found nothing (a client without a known MAC address, say):
    // no decision, so the user agent may still tell.
    if (wanted_profile != kDefaultProfile) profile_ = FindByName(*list, wanted_profile);
    if (profile_ == nullptr) {
        profile_ = FindProfile(*list, [&](const ClientProfile::MatchRule& rule) -> std::vector<std::string> {
            if (rule.is_header && rule.key == "user-agent") return {std::string(user_agent)};
            return {};
        });
    }
    const bool is_recognised = profile_ != nullptr;
    if (!is_recognised) profile_ = FindByName(*list, kDefaultProfile);
    if (profile_ != nullptr) {
        profile_name = profile_->name;
        for (const auto& [member, value] : profile_->switches) this->*member = value;
        flags = profile_->flags;
        offending_ = profile_->offending;
    }
    // Programs that send no user agent, or one that nobody knows, are mostly plain UPnP players: some stop at the first
    // DLNA field that they do not understand, others (certified televisions) refuse media without it. Only the owner
    // knows which kind is in the house, so the option decides for both.
    if (!is_recognised && !no_agent_is_dlna) dlna_parameters = false;
}

std::string DMSClientChecker::getVideoProfileName(const NIMB_MEDIA_INFO& media) const {
    if (profile_ == nullptr) return {};
    for (const auto& rule : profile_->video_rules) {
        const bool fits =
            rule.max_width == 0 || (media.resolutionx <= rule.max_width && media.resolutiony <= rule.max_height);
        if (fits && NameMatches(rule.container, media.container_type) && NameMatches(rule.codec, media.video_codec)) {
            return rule.profile_name;
        }
    }
    return {};
}

}  // namespace MediaServer
