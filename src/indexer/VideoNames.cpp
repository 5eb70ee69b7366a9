#include "indexer/VideoNames.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>

#include "indexer/NameScanner.h"
#include "indexer/VideoWords.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using namespace Names;
using LibReelhouse::kEpisode;
using LibReelhouse::kMovie;
using LibReelhouse::kTvRecord;

constexpr std::int32_t kFirstYear = 1880, kLastYear = 2100;

/// A piece of a name as people write it: dots and underscores stand for blanks when there are none.
std::string Readable(std::string_view piece) {
    std::string text(Trim(piece));
    if (text.find(' ') != std::string::npos) return text;
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '.' || c == '_'; }, ' ');
    return text;
}

struct EpisodeMark {
    std::size_t begin, end;
    std::int32_t season, episode;
};

/// The further episodes of a file, "E03" or "-03", and its version, "v2".
void SkipMoreEpisodes(Scanner& scan) {
    for (Scanner more = scan;; scan = more) {
        more.Skip("-");
        const bool has_dash = more.Position() > scan.Position(), has_letter = more.Letter("eExX");
        if (!has_letter && !has_dash) break;
        if (!(has_letter ? more.Number(1, 4) : more.Number(2, 3))) break;
        if (!has_letter && IsWord(more.Next())) break;
    }
    Scanner version = scan;
    if (version.Letter("vV") && version.Number(1, 1)) scan = version;
}

/// "S01E02", "s1.e2", "S01E02E03" (the first counts), "Season 1 Episode 2" or "1x02".
std::optional<EpisodeMark> ReadEpisodeMark(std::string_view name, std::size_t at) {
    Scanner scan(name, at);
    std::optional<std::int32_t> season, episode;
    if (scan.Word(kSeasonWords)) {
        scan.Skip(kBetween);
        season = scan.Number(1, 4);
        scan.Skip(kBetween);
        if (season && scan.Word(kEpisodeWords)) {
            scan.Skip(kBetween);
            episode = scan.Number(1, 4);
        }
    } else {
        season = scan.Number(1, 2);
        if (season && scan.Letter("xX")) episode = scan.Number(2, 3);
    }
    if (!episode) return std::nullopt;
    SkipMoreEpisodes(scan);
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

/// Where a name goes on behind the title that it begins with. Case does not count, nor what stands between the words.
std::optional<std::size_t> BehindTitle(std::string_view name, std::string_view title) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < title.size(); ++i) {
        if (!IsWord(title[i])) continue;
        while (at < name.size() && !IsWord(name[at])) ++at;
        if (at == name.size() || !EqualsIgnoreCase(name.substr(at, 1), title.substr(i, 1))) return std::nullopt;
        ++at;
    }
    if (IsWord(At(name, at))) return std::nullopt;
    // What ends the title, as a bracket does, is no part of the rest.
    while (at < name.size() && !IsWord(name[at]) && !IsOneOf(name[at], kBetween)) ++at;
    return at;
}

struct SeasonFolder {
    std::int32_t season;
    std::string_view show;  ///< empty when no folder tells
};

/// "Season 1", "Season 1 (2004)", "S01 - Title", "Specials", of the show above, or "Show Season 1".
std::optional<SeasonFolder> ReadSeasonFolder(std::string_view directory) {
    const std::string_view name = BaseName(directory), above = Trim(BaseName(DirName(directory)));
    if (EqualsIgnoreCase(name, "specials")) return SeasonFolder{0, above};
    for (std::size_t at = 0; at < name.size(); ++at) {
        Scanner scan(name, at);
        if (!BeginsWord(name, at) || !scan.Word(kSeasonWords)) continue;
        // Behind other words a bare S is too little, as in "Phone S8", and four digits are a year.
        if (at > 0 && scan.Position() == at + 1) continue;
        scan.Skip(kBetween);
        const auto season = scan.Number(1, at > 0 ? 2 : 4);
        scan.Skip(" ");
        if (!season || (scan.Next() != '\0' && !IsOneOf(scan.Next(), "([-"))) continue;
        const std::string_view before = Trim(name.substr(0, at));
        return SeasonFolder{*season, before.empty() ? above : before};
    }
    return std::nullopt;
}

/// "02 Title", "Episode 2", "E02", or with a season in front "1-02".
std::optional<EpisodeMark> ReadEpisodeNumber(std::string_view name, std::size_t at, std::int32_t season) {
    Scanner scan(name, at);
    scan.Skip(kBetween);
    const std::size_t begin = scan.Position();
    Scanner of_season = scan;
    if (of_season.Number(1, 1) == season && of_season.Letter("-")) {
        const auto episode = of_season.Number(2, 2);
        if (episode && !IsWord(of_season.Next())) return EpisodeMark{begin, of_season.Position(), season, *episode};
    }
    scan.Word(kEpisodeWords);
    scan.Skip(kBetween);
    const auto episode = scan.Number(1, 3);
    if (!episode) return std::nullopt;
    SkipMoreEpisodes(scan);
    if (IsWord(scan.Next())) return std::nullopt;
    return EpisodeMark{begin, scan.Position(), season, *episode};
}

/// In a season's folder a number is enough, in front or behind the show's title, which may have numbers of its own.
std::optional<EpisodeMark> FindEpisodeNumber(std::string_view name, const SeasonFolder& folder) {
    std::int32_t year = 0;
    const std::string without_year = TakeYear(folder.show, year);
    for (const std::string_view show : {folder.show, std::string_view(without_year)}) {
        const auto behind = BehindTitle(name, show);
        if (!behind) continue;
        if (const auto mark = ReadEpisodeNumber(name, *behind, folder.season)) return mark;
    }
    return ReadEpisodeNumber(name, 0, folder.season);
}

struct DateMark {
    std::size_t begin, end;
    std::string date;
    bool has_time;
};

/// Room for three numbers of any size and what stands between them.
constexpr std::size_t kNumbersField = 40;

/// " 20-15", " 20 15 00", "_201500", "T20:15" after a date. @return " HH:MM:SS", or nothing.
std::string ReadTime(Scanner& scan) {
    Scanner ahead = scan;
    ahead.Skip(" _T-");
    const auto hour = ahead.Digits(2);
    ahead.Letter(" -.:_h");
    const auto minute = ahead.Digits(2);
    if (ahead.Position() == scan.Position() || !hour || !minute || *hour > 23 || *minute > 59) return {};
    Scanner beyond = ahead;
    beyond.Letter(" -.:_m");
    const auto second = beyond.Digits(2);
    const bool has_second = second && *second <= 59 && !IsDigit(beyond.Next());
    if (has_second) ahead = beyond;
    if (IsDigit(ahead.Next())) return {};
    scan = ahead;
    char text[kNumbersField];
    std::snprintf(text, sizeof text, " %02d:%02d:%02d", *hour, *minute, has_second ? *second : 0);
    return text;
}

/// "2026-01-02" with any one separator, or "20260102", and the time that follows.
std::optional<DateMark> ReadDate(std::string_view name, std::size_t at) {
    constexpr std::int32_t kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    Scanner scan(name, at);
    const auto year = scan.Digits(4);
    const bool has_separator = year && scan.Letter("-._ ");
    const auto month = year ? scan.Digits(2) : std::nullopt;
    if (!month || (has_separator && !scan.Letter("-._ "))) return std::nullopt;
    const auto day = scan.Digits(2);
    if (!day || *year < kFirstYear || *year > kLastYear || *month < 1 || *month > 12 || *day < 1 ||
        *day > kDays[*month - 1]) {
        return std::nullopt;
    }
    char text[kNumbersField];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", *year, *month, *day);
    const std::string time = ReadTime(scan);
    if (IsDigit(scan.Next())) return std::nullopt;
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

/// "Programme_CHANNEL_" before date and time, as the recorders that write .wtv and .dvr-ms have it.
std::vector<std::string> PiecesOfUnderscores(std::string_view before) {
    const std::string_view text = Trim(before);
    const std::size_t dash = text.rfind('_');
    if (!before.ends_with('_') || dash == std::string_view::npos) return {};
    return {Readable(text.substr(dash + 1)), Readable(text.substr(0, dash))};
}

/// The date has to be a piece of its own, so that captures of games and clips with a name are none. What else is
/// missing, a time or a channel, only recorders leave out.
bool ReadRecording(std::string_view path, std::string_view name, const DateMark& date, VideoDetails& details) {
    const bool is_recorders = IsAmong(PathExtension(path), kRecorderExtensions);
    if (!date.has_time && !is_recorders) return false;
    const std::string_view before = name.substr(0, date.begin), behind = name.substr(date.end);
    std::vector<std::string> pieces;
    if ((before.empty() || before.ends_with(" - ")) && (behind.empty() || behind.starts_with(" - "))) {
        AddPieces(pieces, before);
        AddPieces(pieces, behind);
    } else if (is_recorders && date.has_time && behind.empty()) {
        pieces = PiecesOfUnderscores(before);
    }
    if (pieces.size() < (is_recorders ? 1 : 2)) return false;
    if (pieces.size() == 1) pieces.emplace(pieces.begin());
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

/// Whether one of these words, and not a longer one, stands there.
bool HasAt(std::string_view text, std::size_t at, std::span<const std::string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](const std::string_view& word) {
        Scanner scan(text, at);
        return scan.Word({&word, 1}) && !IsWord(scan.Next());
    });
}

bool HasMarkOfQuality(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (BeginsWord(text, at) && HasAt(text, at, kMarksOfQuality)) return true;
    }
    return false;
}

/// Whether what follows a title tells only which of its versions this is: the year again, a mark, or nothing.
bool TellsVersion(std::string_view rest, std::int32_t year) {
    std::size_t at = 0;
    while (at < rest.size() && !IsWord(rest[at])) ++at;
    if (at == rest.size()) return true;
    if (year != 0 && Scanner(rest, at).Number(4, 4) == year) return TellsVersion(rest.substr(at + 4), 0);
    return HasAt(rest, at, kMarksOfQuality) || HasAt(rest, at, kMarksOfVersion);
}

/// Where the title of a movie ends, with the year that follows; the title is never empty. A year in parentheses is one;
/// others, which may belong to the title or to a date, only before the marks of a release.
std::optional<std::pair<std::size_t, std::int32_t>> FindYear(std::string_view name) {
    std::optional<std::pair<std::size_t, std::int32_t>> found;
    for (std::size_t at = 1; at < name.size(); ++at) {
        const bool is_framed = IsOneOf(name[at - 1], "([");
        if (!is_framed && !IsOneOf(name[at - 1], kBetween)) continue;
        const auto year = ReadYear(name, at);
        if (!year || Trim(name.substr(0, at - 1)).empty()) continue;
        const std::string_view rest = name.substr(at + 4);
        if (is_framed && IsOneOf(At(rest, 0), ")]")) return std::pair(at - 1, *year);
        if (!is_framed && !IsWord(At(rest, 0)) && TellsVersion(rest, 0) && HasMarkOfQuality(rest))
            found = std::pair(at - 1, *year);
    }
    return found;
}

bool ReadMovie(std::string_view name, std::string_view folder, VideoDetails& details) {
    auto year = FindYear(name);
    if (!year) {
        year = FindYear(folder);
        if (!year) return false;
        const std::string_view whole = WithoutPart(name);
        const auto behind = BehindTitle(whole, folder.substr(0, year->first));
        // Whatever else follows makes it another video: a clip with a number, the second movie.
        if (!behind || !TellsVersion(whole.substr(*behind), year->second)) return false;
        name = folder;
    }
    details.type = kMovie;
    details.title = Readable(name.substr(0, year->first));
    details.year = year->second;
    return true;
}

bool ReadEpisode(std::string_view path, std::string_view name, VideoDetails& details) {
    const auto folder = ReadSeasonFolder(DirName(path));
    auto mark = FindEpisodeMark(name);
    if (!mark && folder) mark = FindEpisodeNumber(name, *folder);
    if (!mark) return false;
    details.type = kEpisode;
    details.season = mark->season;
    details.episode = mark->episode;
    details.title = Readable(name.substr(mark->end));
    // What rippers leave behind the number is no title.
    if (HasMarkOfQuality(name.substr(mark->end))) details.title.clear();
    const std::string_view before = Trim(name.substr(0, mark->begin));
    const bool has_show_above = folder && !folder->show.empty();
    details.show = has_show_above || before.empty() ? ShowOfFolders(path) : Readable(before);
    return true;
}

}  // namespace

std::string_view WithoutPart(std::string_view name) {
    std::size_t end = name.size();
    while (end > 0 && IsDigit(name[end - 1])) --end;
    if (end == name.size() || name.size() - end > 2) return name;
    while (end > 0 && IsOneOf(name[end - 1], kBetween)) --end;
    for (const std::string_view word : kPartWords) {
        if (end < word.size() || !EqualsIgnoreCase(name.substr(end - word.size(), word.size()), word)) continue;
        const std::string_view rest = name.substr(0, end - word.size());
        if (!rest.empty() && !IsWord(rest.back())) return Trim(rest).empty() ? name : Trim(rest);
    }
    return name;
}

bool IsExtra(std::string_view path) {
    if (IsAmong(Readable(BaseName(DirName(path))), kExtraFolders)) return true;
    std::string_view name = BaseNameWithoutExtension(path);
    // "-trailer2" is one more of them.
    while (!name.empty() && IsOneOf(name.back(), "0123456789 ")) name.remove_suffix(1);
    const std::size_t word = name.find_last_of(kBetween) + 1;  // 0 when there is no other
    const std::string_view mark = name.substr(word), before = name.substr(0, word);
    if (before.ends_with('-') && IsAmong(mark, kExtraMarks)) return true;
    if (IsAmong(mark, kClearExtraMarks) && (!before.ends_with(' ') || before.ends_with("- "))) return true;
    return EqualsIgnoreCase(name.substr(0, kSample.size()), kSample);
}

bool IsSeasonFolder(std::string_view directory) {
    return ReadSeasonFolder(directory).has_value();
}

std::string ShowOfFolders(std::string_view path) {
    const std::string_view directory = DirName(path);
    const auto season = ReadSeasonFolder(directory);
    return Readable(season && !season->show.empty() ? season->show : BaseName(directory));
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
    const auto date = FindDate(name);
    const bool is_told =
        !IsExtra(path) && (ReadEpisode(path, name, details) || (date && ReadRecording(path, name, *date, details)) ||
                           ReadMovie(name, BaseName(DirName(path)), details));
    if (!is_told && date) details.date = date->date;
    return details;
}

}  // namespace MediaServer
