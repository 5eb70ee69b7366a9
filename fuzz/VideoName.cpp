// Names of videos and of their folders, as the indexer finds them on disks.
#include <cstdio>

#include "Target.h"
#include "indexer/VideoNames.h"
#include "platform/text/Text.h"

using namespace MediaServer;

namespace {

bool IsDate(const std::string& text) {
    int year, month, day, hour = 0, minute = 0, second = 0;
    const int fields =
        std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second);
    return ((fields == 3 && text.size() == 10) || (fields == 6 && text.size() == 19)) && year >= 1880 && month >= 1 &&
           month <= 12 && day >= 1 && day <= 31 && hour <= 23 && minute <= 59 && second <= 59;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view path = AsText(data, size);
    const VideoDetails details = ReadVideoName(path);
    const bool is_episode = details.type == LibReelhouse::kEpisode, is_movie = details.type == LibReelhouse::kMovie,
               is_recording = details.type == LibReelhouse::kTvRecord;
    Require(is_episode == (details.episode >= 0) && is_episode == (details.season >= 0), "episodes have numbers");
    Require(is_movie == (details.year != 0) && (!is_movie || !details.title.empty()), "movies have a title and a year");
    Require(!is_recording || !details.title.empty(), "recordings have a title");
    Require(is_recording || details.channel.empty(), "only recordings have a channel");
    Require(!is_recording || !details.date.empty(), "recordings have a date");
    Require(details.date.empty() || IsDate(details.date), "a date is one");
    for (const std::string* text : {&details.title, &details.channel, &details.show}) {
        Require(text->size() <= path.size() + 3, "what is told stands in the path");
        Require(!IsUtf8(path) || IsUtf8(*text), "pieces of a text are texts");
    }

    const std::string_view name = BaseNameWithoutExtension(path), whole = WithoutPart(name);
    Require(name.find(whole) != std::string_view::npos && whole.empty() == name.empty(), "something of a name remains");
    std::int32_t year = 0;
    const std::string title = TakeYear(name, year);
    Require((year == 0) == (title == name) && title.empty() == name.empty(), "a year is taken or none is");
    return 0;
}
