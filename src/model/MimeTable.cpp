#include "model/MimeTable.h"

#include <algorithm>

#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

/// Takes the next word off `rest`; empty at the end.
std::string_view NextWord(std::string_view& rest) {
    constexpr std::string_view kBlanks = " \t\r\n\v\f";
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    const std::string_view word = rest.substr(0, rest.find_first_of(kBlanks));
    rest.remove_prefix(word.size());
    return word;
}

}  // namespace

void MimeTable::AddPairs(std::string_view text) {
    while (true) {
        const std::string_view extension = NextWord(text);
        const std::string_view type = NextWord(text);
        if (type.empty()) return;
        types_.insert_or_assign(std::string{extension}, std::string{type});
    }
}

void MimeTable::AddCustom(std::string_view list) {
    for (const std::string& token : Split(list, ',')) {
        const std::size_t equals = token.find('=');
        if (equals == std::string::npos) continue;
        const std::string_view view = token;
        types_.insert_or_assign(std::string{TrimBlanks(view.substr(0, equals))},
                                std::string{TrimBlanks(view.substr(equals + 1))});
    }
}

const std::string& MimeTable::GetMimeType(std::string_view name) const {
    static const std::string kUnknown = "application/octet-stream";
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot + 1 == name.size()) return kUnknown;
    const auto found = types_.find(StringToLower(name.substr(dot + 1)));
    return found == types_.end() ? kUnknown : found->second;
}

}  // namespace MediaServer
