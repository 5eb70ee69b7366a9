#include "indexer/NfoReader.h"

#include <algorithm>
#include <iterator>
#include <variant>

#include "indexer/MediaReader.h"
#include "platform/system/Files.h"
#include "platform/text/Date.h"
#include "platform/text/Text.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {
namespace {

constexpr int kMaxElements = 20000;
constexpr std::size_t kMaxNames = 100;  // of a kind
constexpr std::size_t kMaxNameBytes = 120;
constexpr std::size_t kMaxSummaryBytes = 8000;
constexpr std::size_t kMaxTextBytes = 16 * 1024;
/// Larger numbers are mistakes, and shows that count their episodes by the date fit.
constexpr std::int32_t kMaxNumber = 99'999'999;

using Text = std::string VideoDetails::*;
using Number = std::int32_t VideoDetails::*;
using Names = std::vector<std::string> VideoDetails::*;

struct NfoElement {
    std::string_view name;
    std::variant<Text, Number, Names> member;
};
constexpr NfoElement kElements[] = {
    {"title", &VideoDetails::title},        {"sorttitle", &VideoDetails::sort_title},
    {"tagline", &VideoDetails::tag_line},   {"plot", &VideoDetails::summary},
    {"premiered", &VideoDetails::date},     {"aired", &VideoDetails::date},
    {"showtitle", &VideoDetails::show},     {"year", &VideoDetails::year},
    {"season", &VideoDetails::season},      {"episode", &VideoDetails::episode},
    {"director", &VideoDetails::directors}, {"credits", &VideoDetails::writers},
    {"genre", &VideoDetails::genres},
};
constexpr NfoElement kActorName = {"name", &VideoDetails::actors};

struct NfoRoot {
    std::string_view name;
    LibReelhouse::_VIDEO_TABLE_TYPE_ type;
};
constexpr NfoRoot kRoots[] = {
    {"movie", LibReelhouse::kMovie}, {"tvshow", LibReelhouse::kTvShow}, {"episodedetails", LibReelhouse::kEpisode}};

template <typename Row, std::size_t size>
const Row* FindRow(const Row (&rows)[size], std::string_view name) {
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row& r) { return r.name == name; });
    return row == std::end(rows) ? nullptr : row;
}

void Store(std::string_view text, Text member, VideoDetails& details) {
    const bool is_summary = member == &VideoDetails::summary;
    std::string& value = details.*member;
    if (value.empty()) value = CleanText(text, is_summary ? kMaxSummaryBytes : kMaxTagBytes);
}

void Store(std::string_view text, Number member, VideoDetails& details) {
    text = TrimBlanks(text);
    if (StringIsNumeric(text, false)) details.*member = std::min(ToInt(text), kMaxNumber);
}

/// Several in one element are separated by " / ".
void Store(std::string_view text, Names member, VideoDetails& details) {
    std::vector<std::string>& names = details.*member;
    while (!text.empty() && names.size() < kMaxNames) {
        const std::size_t end = std::min(text.find(" / "), text.size());
        std::string name = CleanText(text.substr(0, end), kMaxNameBytes);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(std::move(name));
        }
        text.remove_prefix(std::min(end + 3, text.size()));
    }
}

/// Collects the text of one element at a time.
class NfoVisitor {
public:
    /// @return false at the end of the description, and of what is none.
    bool Visit(const XmlEvent& event) {
        switch (event.kind) {
            case XmlEvent::Kind::Start:
                return Start(event);
            case XmlEvent::Kind::Text:
                if (element_ && event.depth == depth_ && text_.size() < kMaxTextBytes) text_.append(event.text);
                return true;
            case XmlEvent::Kind::End:
                return End(event);
            case XmlEvent::Kind::Attribute:
                break;
        }
        return true;
    }

    bool IsComplete() const { return is_complete_; }
    VideoDetails Take() { return std::move(details_); }

private:
    bool Start(const XmlEvent& event) {
        if (event.depth == 0) {
            const NfoRoot* const root = FindRow(kRoots, event.name);
            if (root) details_.type = root->type;
            return root != nullptr;
        }
        if (event.depth == 1) is_actor_ = event.name == "actor";
        const bool is_name = event.depth == 2 && is_actor_ && event.name == kActorName.name;
        if (event.depth == 1 || is_name) {
            element_ = is_name ? &kActorName : FindRow(kElements, event.name);
            depth_ = event.depth;
            text_.clear();
        }
        return true;
    }

    bool End(const XmlEvent& event) {
        if (event.depth == 0) is_complete_ = true;
        if (element_ && event.depth == depth_) {
            std::visit([&](auto member) { Store(text_, member, details_); }, element_->member);
            element_ = nullptr;
        }
        return event.depth > 0;
    }

    VideoDetails details_;
    const NfoElement* element_ = nullptr;  ///< whose text is being collected
    int depth_ = 0;
    bool is_actor_ = false, is_complete_ = false;
    std::string text_;
};

/// The document up to the end of its first root element: an address often stands behind it, or another episode, which
/// no XML reader takes.
std::string_view FirstRoot(std::string_view document) {
    std::size_t length = document.size();
    for (const NfoRoot& root : kRoots) {
        const std::string end = "</" + std::string(root.name) + ">";
        const std::size_t at = document.find(end);
        if (at != std::string_view::npos) length = std::min(length, at + end.size());
    }
    return document.substr(0, length);
}

}  // namespace

std::optional<VideoDetails> ReadNfo(std::string_view document) {
    NfoVisitor visitor;
    ReadXml(FirstRoot(document), {.elements = kMaxElements, .bytes = kMaxNfoBytes},
            [&](const XmlEvent& event) { return visitor.Visit(event); });
    if (!visitor.IsComplete()) return std::nullopt;
    VideoDetails details = visitor.Take();
    details.date = details.date.substr(0, 10);
    // Dates are for sorting and for clients: what is none is not known.
    if (!IsDate(details.date)) details.date.clear();
    if (details.year == 0) details.year = ToInt(details.date.substr(0, 4));
    return details;
}

}  // namespace MediaServer
