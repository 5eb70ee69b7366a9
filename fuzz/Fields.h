#pragma once

#include <map>
#include <string>
#include <string_view>

#include "Target.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {

/// Header fields as they are sent, one a line, under their lower-cased names.
inline std::map<std::string, std::string> FieldsOf(std::string_view lines) {
    std::map<std::string, std::string> fields;
    while (!lines.empty()) {
        const std::string_view line = TakeLine(lines);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        fields.emplace(StringToLower(line.substr(0, colon)), TrimBlanks(line.substr(colon + 1)));
    }
    return fields;
}

}  // namespace MediaServer
