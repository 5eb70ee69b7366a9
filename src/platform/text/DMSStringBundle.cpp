#include "platform/text/DMSStringBundle.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"

namespace MediaServer {

namespace {

constexpr const char* kFallbackLanguage = "enu";

using Strings = std::map<std::string, std::string, std::less<>>;

bool AddStringsOf(const std::string& language, Strings& strings) {
    const std::string path = SystemPath(kStringsDir) + "/" + language + ".txt";
    const auto text = ReadWholeFile(path, kMaxConfigFileBytes);
    if (!text) {
        DMSPrintf(0, "could not read strings file \"%s\": %s", path.c_str(), std::strerror(errno));
        return false;
    }
    std::string_view rest = *text;
    for (std::string_view line; NextConfigLine(rest, line);)
        if (const auto pair = ParseKeyValue(line); pair && !pair->second.empty())
            strings.insert_or_assign(std::string{pair->first}, std::string{pair->second});
    return true;
}

/// A code becomes part of a path, so nothing but letters may stand in it.
bool IsLanguageCode(std::string_view code) {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";
    return !code.empty() && code.find_first_not_of(kLetters) == std::string_view::npos;
}

}  // namespace

DMSStringBundle::DMSStringBundle(std::string language) : language_(std::move(language)) {}

bool DMSStringBundle::ImportStrings() {
    strings_.clear();
    if (!AddStringsOf(kFallbackLanguage, strings_)) return false;
    if (language_ == kFallbackLanguage) return true;
    if (IsLanguageCode(language_)) {
        AddStringsOf(language_, strings_);
    } else {
        DMSPrintf(0, "unrecognized menu language \"%s\": using English", language_.c_str());
    }
    return true;
}

std::string DMSStringBundle::Translate(std::string_view key) const {
    const auto found = strings_.find(key);
    return found == strings_.end() ? std::string{key} : found->second;
}

}  // namespace MediaServer
