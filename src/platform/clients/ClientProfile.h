#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/clients/DMSClientChecker.h"

namespace MediaServer {

/// One section of agent.conf. Plain data, never changed once it is in a list.
struct ClientProfile {
    /// Holds when the value that the client sent (or, for a renderer, announced) contains the pattern.
    struct MatchRule {
        std::string key;      ///< "modelName", "user-agent", … ; `is_header` says which of the two kinds
        std::string pattern;  ///< see MatchesPattern
        bool is_header = false;
    };
    /// DLNA profile name for videos of a container and codec up to a size.
    struct VideoRule {
        std::string container;  ///< as stored by the indexer, any case, "*" for all
        std::string codec;
        std::int32_t max_width = 0;  ///< pixels; 0: any
        std::int32_t max_height = 0;
        std::string profile_name;
    };

    std::string name;
    std::vector<MatchRule> rules;  ///< one that holds is enough
    std::vector<std::pair<bool DMSClientChecker::*, bool>> switches;
    std::uint32_t flags = 0;
    std::string offending;
    std::vector<VideoRule> video_rules;  ///< the first that holds decides
};

/// In the order of the file: the first profile that matches wins.
using ProfileList = std::vector<std::shared_ptr<const ClientProfile>>;

/// True when `text` contains `pattern`; a "*" in the pattern stands for any text. Case counts, as in the product
/// tokens of HTTP user agents. The empty pattern matches nothing.
bool MatchesPattern(std::string_view pattern, std::string_view text);

/// Reads the text of agent.conf. What cannot be used is told to `complain` (line number from 1, reason) and skipped;
/// the rest of the file still counts.
ProfileList ParseProfiles(std::string_view text, const std::function<void(int, const std::string&)>& complain);

/// Looks up the value of a rule's key; returns an empty text for a key that the client did not send. A header may have
/// come with more than one kind of request, so a rule's key may have several values.
using RuleValues = std::function<std::vector<std::string>(const ClientProfile::MatchRule&)>;
/// The first profile with a rule that holds, or null.
std::shared_ptr<const ClientProfile> FindProfile(const ProfileList& list, const RuleValues& values);

/// The list in force; never null, and never changed after it was handed out. Threads: any.
std::shared_ptr<const ProfileList> CurrentProfiles();

}  // namespace MediaServer
