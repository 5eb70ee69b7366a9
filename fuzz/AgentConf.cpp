// agent.conf, which its owner edits, and the patterns in it against what clients send. The text up to a line "--" is
// the file; each line after it a User-Agent.
#include <algorithm>
#include <set>

#include "InputFile.h"
#include "Target.h"
#include "platform/clients/ClientProfile.h"
#include "platform/clients/DMSClientChecker.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    const std::string_view file = TakePart(text);

    const int lines = static_cast<int>(std::count(file.begin(), file.end(), '\n')) + 1;
    int last_line = 0;
    const ProfileList list = ParseProfiles(file, [&](int line, const std::string& reason) {
        Require(line > last_line && line <= lines && !reason.empty(), "each broken line is told once, in order");
        last_line = line;
    });
    std::set<std::string> names;
    for (const auto& profile : list) {
        Require(!profile->name.empty() && names.insert(profile->name).second, "names of profiles are unique");
        for (const auto& rule : profile->rules)
            Require(rule.pattern.find_first_not_of('*') != std::string::npos, "no rule matches every client");
        for (const auto& rule : profile->video_rules)
            Require(!rule.profile_name.empty() && rule.max_width >= 0 && (rule.max_width > 0) == (rule.max_height > 0),
                    "a video rule is complete");
    }

    const InputFile stored(file);
    DMSClientChecker::InitProfileList(stored.Path());
    while (!text.empty()) {
        const std::string_view agent = TakeLine(text);
        const DMSClientChecker checker(agent, {}, true);
        Require(checker.profile_name == kDefaultProfile || names.count(checker.profile_name) == 1,
                "a client gets a profile of the file or the default one");
        const DMSClientChecker again("", checker.profile_name, true);
        Require(again.profile_name == checker.profile_name && again.flags == checker.flags,
                "a profile is found again by its name");
    }
    DMSClientChecker::ReleaseClientList();
    return 0;
}
