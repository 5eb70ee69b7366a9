// Descriptions beside videos (.nfo): many come with the videos, from strangers.
#include <algorithm>

#include "Target.h"
#include "indexer/NfoReader.h"
#include "platform/text/Text.h"

using namespace MediaServer;

namespace {

/// What the database takes, and a client can show.
void RequireText(const std::string& text, std::size_t limit) {
    Require(text.size() <= limit, "texts are bounded");
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t length = Utf8SequenceLength(rest);
        Require(length > 0 && static_cast<unsigned char>(rest[0]) >= 0x20,
                "texts are UTF-8 without control characters");
        rest.remove_prefix(length);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view document = AsText(data, size);
    const std::optional<VideoDetails> details = ReadNfo(document);
    if (!details) return 0;
    constexpr std::size_t kTextBytes = 400, kNameBytes = 120, kSummaryBytes = 8000, kNames = 100;
    for (const std::string* text : {&details->title, &details->sort_title, &details->tag_line, &details->show}) {
        RequireText(*text, kTextBytes);
    }
    RequireText(details->summary, kSummaryBytes);
    for (const auto* names : {&details->actors, &details->directors, &details->writers, &details->genres}) {
        Require(names->size() <= kNames, "names are few");
        for (const std::string& name : *names) {
            RequireText(name, kNameBytes);
            Require(!name.empty() && std::count(names->begin(), names->end(), name) == 1, "each name is told once");
        }
    }
    Require(details->date.empty() || details->date.size() == 10, "a date is one");
    Require(details->year >= 0 && details->season >= -1 && details->episode >= -1, "numbers count");
    return 0;
}
