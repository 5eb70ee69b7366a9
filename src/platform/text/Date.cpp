#include "platform/text/Date.h"

#include <chrono>

#include "platform/text/Text.h"

namespace MediaServer {

bool IsDate(std::string_view text) {
    constexpr std::string_view kForm = "dddd-dd-dd";
    if (text.size() != kForm.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kForm[i] == 'd' ? text[i] < '0' || text[i] > '9' : text[i] != kForm[i]) return false;
    }
    const std::chrono::year_month_day date{std::chrono::year(ToInt(text.substr(0, 4))),
                                           std::chrono::month(static_cast<unsigned>(ToInt(text.substr(5, 2)))),
                                           std::chrono::day(static_cast<unsigned>(ToInt(text.substr(8, 2))))};
    return date.ok() && date.year() > std::chrono::year(0);
}

}  // namespace MediaServer
