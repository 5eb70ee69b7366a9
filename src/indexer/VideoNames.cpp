#include "indexer/VideoNames.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <optional>

#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using LibReelhouse::kEpisode;
using LibReelhouse::kMovie;
using LibReelhouse::kTvRecord;

constexpr std::string_view kBetween = " ._-";
constexpr std::int32_t kFirstYear = 1880, kLastYear = 2100;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Part of a letter or number; bytes above ASCII belong to letters.
bool IsWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || static_cast<unsigned char>(c) >= 0x80;
}

char At(std::string_view text, std::size_t at) {
    return at < text.size() ? text[at] : '\0';
}

bool IsOneOf(char c, std::string_view characters) {
    return c != '\0' && characters.find(c) != std::string_view::npos;
}

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBetween);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBetween) + 1 - begin);
}

/// A piece of a name as people write it: dots and underscores stand for blanks when there are none.
std::string Readable(std::string_view piece) {
    std::string text(Trim(piece));
    if (text.find(' ') != std::string::npos) return text;
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '.' || c == '_'; }, ' ');
    return text;
}

/// A step through a name, one pattern after the other; a pattern that does not match leaves it where it is.
class Scanner {
public:
    Scanner(std::string_view text, std::size_t at) : text_(text), at_(at) {}

    std::size_t Position() const { return at_; }
    char Next() const { return At(text_, at_); }

    /// A number of so many digits, and not one more.
    std::optional<std::int32_t> Number(std::size_t least, std::size_t most) {
        std::size_t end = at_;
        while (IsDigit(At(text_, end))) ++end;
        if (end - at_ < least || end - at_ > most) return std::nullopt;
        return Take(end - at_);
    }
    /// A number of exactly so many digits, whatever follows.
    std::optional<std::int32_t> Digits(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!IsDigit(At(text_, at_ + i))) return std::nullopt;
        }
        return Take(count);
    }
    bool Letter(std::string_view either_case) {
        const bool is_next = IsOneOf(Next(), either_case);
        if (is_next) ++at_;
        return is_next;
    }
    bool Word(std::string_view word) {
        const bool is_next = EqualsIgnoreCase(text_.substr(at_, word.size()), word);
        if (is_next) at_ += word.size();
        return is_next;
    }
    void Skip(std::string_view characters) {
        while (IsOneOf(Next(), characters)) ++at_;
    }

private:
    std::int32_t Take(std::size_t count) {
        const std::int32_t number = ToInt(text_.substr(at_, count));
        at_ += count;
        return number;
    }

    std::string_view text_;
    std::size_t at_;
};

bool BeginsWord(std::string_view text, std::size_t at) {
    return at == 0 || !IsWord(text[at - 1]);
}

struct EpisodeMark {
    std::size_t begin, end;
    std::int32_t season, episode;
};

/// "S01E02", "s1.e2", "S01E02E03" (the first counts) or "1x02".
std::optional<EpisodeMark> ReadEpisodeMark(std::string_view name, std::size_t at) {
    Scanner scan(name, at);
    std::optional<std::int32_t> season, episode;
    if (scan.Letter("sS")) {
        season = scan.Number(1, 4);
        if (season) scan.Skip(kBetween);
        if (season && scan.Letter("eE")) episode = scan.Number(1, 4);
    } else {
        season = scan.Number(1, 2);
        if (season && scan.Letter("xX")) episode = scan.Number(2, 3);
    }
    if (!episode) return std::nullopt;
    for (Scanner more = scan;; scan = more) {
        more.Skip("-");
        if (!more.Letter("eExX") || !more.Number(1, 4)) break;
    }
    if (IsWord(scan.Next())) return std::nullopt;
    return EpisodeMark{at, scan.Position(), *season, *episode};
}

std::optional<EpisodeMark> FindEpisodeMark(std::string_view name) {
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (!BeginsWord(name, at)) continue;
        if (const auto mark = ReadEpisodeMark(name, at)) return mark;
    }
    return std::nullopt;
}

/// In a season's folder a number in front is enough: "02 Title", "Episode 2", "E02".
std::optional<EpisodeMark> ReadEpisodeNumber(std::string_view name, std::int32_t season) {
    Scanner scan(name, 0);
    for (const std::string_view word : {"episode", "ep", "e"}) {
        if (scan.Word(word)) break;
    }
    scan.Skip(kBetween);
    const auto episode = scan.Number(1, 3);
    if (!episode || IsWord(scan.Next())) return std::nullopt;
    return EpisodeMark{0, scan.Position(), season, *episode};
}

std::optional<std::int32_t> SeasonOfFolder(std::string_view name) {
    if (EqualsIgnoreCase(name, "specials")) return 0;
    for (const std::string_view word : {"season", "series", "staffel", "saison", "temporada", "stagione", "s"}) {
        Scanner scan(name, 0);
        if (!scan.Word(word)) continue;
        scan.Skip(kBetween);
        const auto season = scan.Number(1, 4);
        if (season && scan.Next() == '\0') return season;
    }
    return std::nullopt;
}

struct DateMark {
    std::size_t begin, end;
    std::string date;
    bool has_time;
};

/// " 20-15", "_201500", "T20:15" after a date. @return " HH:MM:SS", or nothing.
std::string ReadTime(Scanner& scan) {
    Scanner ahead = scan;
    ahead.Skip(" _T-");
    const auto hour = ahead.Digits(2);
    ahead.Letter("-.:_h");
    const auto minute = ahead.Digits(2);
    if (ahead.Position() == scan.Position() || !hour || !minute || *hour > 23 || *minute > 59) return {};
    Scanner beyond = ahead;
    beyond.Letter("-.:_m");
    const auto second = beyond.Digits(2);
    const bool has_second = second && *second <= 59 && !IsDigit(beyond.Next());
    if (has_second) ahead = beyond;
    if (IsDigit(ahead.Next())) return {};
    scan = ahead;
    char text[16];
    std::snprintf(text, sizeof text, " %02d:%02d:%02d", *hour, *minute, has_second ? *second : 0);
    return text;
}

/// "2026-01-02" with any one separator, or "20260102".
std::optional<DateMark> ReadDate(std::string_view name, std::size_t at) {
    constexpr std::int32_t kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    Scanner scan(name, at);
    const auto year = scan.Digits(4);
    const bool has_separator = year && scan.Letter("-._ ");
    const auto month = year ? scan.Digits(2) : std::nullopt;
    if (!month || (has_separator && !scan.Letter("-._ "))) return std::nullopt;
    const auto day = scan.Digits(2);
    if (!day || *year < kFirstYear || *year > kLastYear || *month < 1 || *month > 12 || *day < 1 ||
        *day > kDays[*month - 1] || IsDigit(scan.Next())) {
        return std::nullopt;
    }
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", *year, *month, *day);
    const std::string time = ReadTime(scan);
    return DateMark{at, scan.Position(), text + time, !time.empty()};
}

std::optional<DateMark> FindDate(std::string_view name) {
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (at > 0 && IsDigit(name[at - 1])) continue;
        if (auto date = ReadDate(name, at)) return date;
    }
    return std::nullopt;
}

void AddPieces(std::vector<std::string>& pieces, std::string_view text) {
    while (!text.empty()) {
        const std::size_t dash = std::min(text.find(" - "), text.size());
        if (std::string piece = Readable(text.substr(0, dash)); !piece.empty()) pieces.push_back(std::move(piece));
        text.remove_prefix(std::min(dash + 3, text.size()));
    }
}

bool IsRecorderFile(std::string_view path) {
    constexpr std::string_view kExtensions[] = {"ts", "m2ts", "mts", "mpg", "mpeg", "wtv", "dvr-ms", "tp", "trp"};
    return std::any_of(std::begin(kExtensions), std::end(kExtensions),
                       [&](std::string_view extension) { return EqualsIgnoreCase(PathExtension(path), extension); });
}

bool ReadRecording(std::string_view path, std::string_view name, const DateMark& date, VideoDetails& details) {
    if (!date.has_time && !IsRecorderFile(path)) return false;
    std::vector<std::string> pieces;
    AddPieces(pieces, name.substr(0, date.begin));
    AddPieces(pieces, name.substr(date.end));
    if (pieces.size() < 2) return false;
    details.type = kTvRecord;
    details.channel = pieces[0];
    details.title = pieces[1];
    for (std::size_t i = 2; i < pieces.size(); ++i) details.title += " - " + pieces[i];
    details.date = date.date;
    return true;
}

std::optional<std::int32_t> ReadYear(std::string_view text, std::size_t at) {
    const auto year = Scanner(text, at).Number(4, 4);
    return year && *year >= kFirstYear && *year <= kLastYear ? year : std::nullopt;
}

bool IsMarkOfQuality(std::string_view word) {
    constexpr std::string_view kMarks[] = {"480p",   "576p",  "720p",  "1080p", "1080i",  "2160p",  "4k",   "uhd",
                                           "bluray", "brrip", "bdrip", "web",   "webrip", "dvdrip", "hdtv", "remux",
                                           "x264",   "x265",  "h264",  "h265",  "hevc",   "xvid",   "divx"};
    return std::any_of(std::begin(kMarks), std::end(kMarks),
                       [&](std::string_view mark) { return EqualsIgnoreCase(word, mark); });
}

bool HasMarkOfQuality(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" ._-[]()"), text.size());
        if (IsMarkOfQuality(text.substr(0, end))) return true;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return false;
}

/// Where the title of a movie ends, with the year that follows; the title is never empty. A year in parentheses is one;
/// of others, which may belong to the title, the last before a mark of quality.
std::optional<std::pair<std::size_t, std::int32_t>> FindYear(std::string_view name) {
    std::optional<std::pair<std::size_t, std::int32_t>> found;
    for (std::size_t at = 1; at < name.size(); ++at) {
        const bool is_framed = IsOneOf(name[at - 1], "([");
        if (!is_framed && !IsOneOf(name[at - 1], kBetween)) continue;
        const auto year = ReadYear(name, at);
        if (!year || Trim(name.substr(0, at - 1)).empty()) continue;
        const std::string_view rest = name.substr(at + 4);
        if (is_framed && IsOneOf(At(rest, 0), ")]")) return std::pair(at - 1, *year);
        if (!is_framed && HasMarkOfQuality(rest)) found = std::pair(at - 1, *year);
    }
    return found;
}

bool ReadMovie(std::string_view name, std::string_view folder, VideoDetails& details) {
    auto year = FindYear(name);
    if (!year) {
        year = FindYear(folder);
        const std::string title = year ? Readable(folder.substr(0, year->first)) : std::string();
        if (!year || !EqualsIgnoreCase(Readable(name).substr(0, title.size()), title)) return false;
        name = folder;
    }
    details.type = kMovie;
    details.title = Readable(name.substr(0, year->first));
    details.year = year->second;
    return true;
}

bool ReadEpisode(std::string_view path, std::string_view name, VideoDetails& details) {
    const std::string_view directory = DirName(path), folder = BaseName(directory);
    const auto season = SeasonOfFolder(folder);
    auto mark = FindEpisodeMark(name);
    if (!mark && season) mark = ReadEpisodeNumber(name, *season);
    if (!mark) return false;
    details.type = kEpisode;
    details.season = mark->season;
    details.episode = mark->episode;
    details.title = Readable(name.substr(mark->end));
    // What rippers leave behind the number is no title.
    if (HasMarkOfQuality(name.substr(mark->end))) details.title.clear();
    const std::string_view before = Trim(name.substr(0, mark->begin));
    const std::string_view above = season ? BaseName(DirName(directory)) : std::string_view();
    details.show = Readable(!above.empty() ? above : !before.empty() ? before : folder);
    return true;
}

}  // namespace

std::string_view WithoutPart(std::string_view name) {
    std::size_t end = name.size();
    while (end > 0 && IsDigit(name[end - 1])) --end;
    if (end == name.size() || name.size() - end > 2) return name;
    while (end > 0 && IsOneOf(name[end - 1], kBetween)) --end;
    for (const std::string_view word : {"cd", "part", "pt", "disc", "disk", "dvd"}) {
        if (end < word.size() || !EqualsIgnoreCase(name.substr(end - word.size(), word.size()), word)) continue;
        const std::string_view rest = name.substr(0, end - word.size());
        if (!rest.empty() && !IsWord(rest.back())) return Trim(rest).empty() ? name : Trim(rest);
    }
    return name;
}

bool IsSeasonFolder(std::string_view name) {
    return SeasonOfFolder(name).has_value();
}

std::string TakeYear(std::string_view title, std::int32_t& year) {
    const std::size_t open = title.rfind('(');
    if (open == std::string_view::npos || open == 0 || title.size() != open + 6 || title.back() != ')') {
        return std::string(title);
    }
    const auto found = ReadYear(title, open + 1);
    const std::string_view rest = Trim(title.substr(0, open));
    if (!found || rest.empty()) return std::string(title);
    year = *found;
    return std::string(rest);
}

VideoDetails ReadVideoName(std::string_view path) {
    VideoDetails details;
    const std::string_view name = BaseNameWithoutExtension(path);
    if (ReadEpisode(path, name, details)) return details;
    const auto date = FindDate(name);
    if (date && ReadRecording(path, name, *date, details)) return details;
    if (ReadMovie(name, BaseName(DirName(path)), details)) return details;
    if (date) details.date = date->date;
    return details;
}

}  // namespace MediaServer
