#include "cds/Criteria.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cds/Pattern.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

constexpr std::string_view kCriteria =
    R"re((\(*) *([\w+:*\w*]+) ([=|!=|<|<=|>|>=|contains|doesNotContain|derivedfrom|exists]+) )re"
    R"re((".*?[^\\]"|true|false) *(\)*) *([and|or]*))re";
constexpr std::string_view kArtistAlbums = R"re(upnp:artist\s*=\s*"(.*)")re";
enum Group : std::size_t { kOpening = 1, kProperty, kOperator, kValue, kClosing, kLogical };

/// Longer than anything that a player composes. What the pattern costs grows with the square of the length.
constexpr std::size_t kMaxCriteriaBytes = 4096;
constexpr std::size_t kMaxDepth = 64;
constexpr std::string_view kEverything = "*";
constexpr std::string_view kClassProperty = "upnp:class";
constexpr std::string_view kRoleProperty = "upnp:author:role";
constexpr std::string_view kTitleProperty = "dc:title";
constexpr std::string_view kSongs = "*";

struct ClassRow {
    std::string_view upnp_class, category, menu_key;
};
constexpr ClassRow kClasses[] = {
    {"object.item.audioItem", kSongs, "1"},
    {"object.container.album.musicAlbum", "album", "3"},
    {"object.container.person.musicArtist", "artist", "2"},
    {"object.container.genre.musicGenre", "genre", "5"},
};
constexpr std::string_view kPlaylistClass = "object.container.playlistContainer";
constexpr std::string_view kPlaylistKey = "6";

constexpr std::pair<std::string_view, std::string_view> kColumns[] = {
    {"upnp:artist", "artist"},   {"upnp:album", "album"},     {"upnp:genre", "genre"},
    {kRoleProperty, "composer"}, {"upnp:author", "composer"},
};

/// "%s" stands for the escaped value.
struct OperatorRow {
    std::string_view name, sql;
    std::string (*escape)(std::string_view value);
};
constexpr OperatorRow kOperators[] = {
    {"=", " = '%s' ", SQLEscapeString},
    {"!=", " <> '%s' ", SQLEscapeString},
    {"<", " < '%s' ", SQLEscapeString},
    {"<=", " <= '%s' ", SQLEscapeString},
    {">", " > '%s' ", SQLEscapeString},
    {">=", " >= '%s' ", SQLEscapeString},
    {"contains", " ilike '%%s%' ", SQLEscapeCondition},
    {"doesNotContain", " NOT ilike '%%s%' ", SQLEscapeCondition},
};

/// A condition that grows comparison by comparison. Brackets without a partner, and those around nothing, leave no
/// trace, so the text is balanced at any time.
class Condition {
public:
    bool Open() {
        if (groups_.size() > kMaxDepth) return false;
        groups_.emplace_back();
        return true;
    }
    void Close() {
        if (groups_.size() == 1) return;
        const std::string inner = std::move(groups_.back().text);
        groups_.pop_back();
        if (!inner.empty()) Add("(" + inner + ")");
    }
    void Add(const std::string& term) {
        if (term.empty()) return;
        Level& level = groups_.back();
        // Two comparisons with nothing between them: both were asked for.
        if (!level.text.empty()) level.text.append(level.logical.empty() ? "and" : level.logical);
        level.text.append(term);
        level.logical.clear();
    }
    void Join(std::string_view logical) {
        if (!groups_.back().text.empty()) groups_.back().logical = logical;
    }
    bool IsJoined() const { return !groups_.back().logical.empty(); }
    std::string Finish() {
        while (groups_.size() > 1) Close();
        return std::move(groups_.front().text);
    }

private:
    struct Level {
        std::string text, logical;  // the logical operator waits for what it joins
    };
    std::vector<Level> groups_{1};
};

/// The text of a quoted value (UPnP ContentDirectory:1, 2.5.5.1: quotes and backslashes in it carry a backslash);
/// nothing when it holds a quote of its own, so the pattern has run over the end of a text.
std::optional<std::string> Unquote(std::string_view quoted) {
    if (quoted.size() < 2) return std::nullopt;
    if (!quoted.starts_with('"')) return std::string(quoted);  // true, false
    quoted = quoted.substr(1, quoted.size() - 2);
    std::string value;
    for (std::size_t i = 0; i < quoted.size(); ++i) {
        if (quoted[i] == '"') return std::nullopt;
        const bool escapes =
            quoted[i] == '\\' && i + 1 < quoted.size() && (quoted[i + 1] == '"' || quoted[i + 1] == '\\');
        value.push_back(quoted[escapes ? ++i : i]);
    }
    return value;
}

const Pattern& CriteriaPattern() {
    static const Pattern pattern(kCriteria);
    return pattern;
}

const ClassRow* FindClass(std::string_view upnp_class) {
    const auto* row = std::find_if(std::begin(kClasses), std::end(kClasses),
                                   [&](const ClassRow& candidate) { return candidate.upnp_class == upnp_class; });
    return row == std::end(kClasses) ? nullptr : row;
}

/// Category of the first class that the criteria name; empty without one.
std::string FirstCategory(std::string_view criteria) {
    Matches matches(CriteriaPattern(), criteria);
    while (matches.Next() == Matches::Result::Found) {
        if (matches.Group(kProperty) != kClassProperty) continue;
        const auto value = Unquote(matches.Group(kValue));
        if (const ClassRow* row = value ? FindClass(*value) : nullptr) return std::string(row->category);
    }
    return {};
}

/// Properties are written with "@" or ":" before an attribute; the texts that they are compared with stay as they are.
std::string WithColons(std::string_view criteria) {
    std::string text(criteria);
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (quoted && text[i] == '\\') {
            ++i;
        } else if (text[i] == '"') {
            quoted = !quoted;
        } else if (!quoted && text[i] == '@') {
            text[i] = ':';
        }
    }
    return text;
}

class Translator {
public:
    std::optional<Criteria> Translate(const std::string& criteria) {
        title_category_ = FirstCategory(criteria);
        Matches matches(CriteriaPattern(), criteria);
        Matches::Result result = Matches::Result::End;
        while (!is_playlist_ && (result = matches.Next()) == Matches::Result::Found) {
            if (!ReadGap(matches.Gap()) || !ReadMatch(matches)) return std::nullopt;
        }
        if (is_playlist_) return Criteria{std::string(kPlaylistKey), category_, {}};
        if (result == Matches::Result::TooHard || !ReadGap(matches.Rest())) return std::nullopt;
        return Criteria{menu_key_, category_, condition_.Finish()};
    }

private:
    /// Between comparisons there may be brackets that blanks keep apart, and logical operators behind those.
    bool ReadGap(std::string_view gap) {
        while (!gap.empty()) {
            const std::size_t length = std::max<std::size_t>(std::min(gap.find_first_of("() \t\r\n"), gap.size()), 1);
            const std::string_view word = gap.substr(0, length);
            gap.remove_prefix(length);
            if (word == "(") {
                if (!condition_.Open()) return false;
            } else if (word == ")") {
                condition_.Close();
            } else if (word == "and" || word == "or") {
                SetLogical(word);
            } else if (word.find_first_not_of(" \t\r\n") != std::string_view::npos) {
                return false;
            }
        }
        return true;
    }

    bool ReadMatch(const Matches& match) {
        const auto group = [&](Group number) { return std::string(match.Group(number)); };
        DMSPrintf(3, "sOpenBr=%s, sProp=%s, sOp=%s, sVal=%s, sCloseBr=%s, sLogOp=%s\n", group(kOpening).c_str(),
                  group(kProperty).c_str(), group(kOperator).c_str(), group(kValue).c_str(), group(kClosing).c_str(),
                  group(kLogical).c_str());
        const std::string_view logical = match.Group(kLogical);
        const auto value = Unquote(match.Group(kValue));
        if (!value || (!logical.empty() && logical != "and" && logical != "or")) return false;
        for (std::size_t i = 0; i < match.Group(kOpening).size(); ++i) {
            if (!condition_.Open()) return false;
        }
        const std::string_view property = match.Group(kProperty);
        const bool is_class = property == kClassProperty;
        if (is_class) {
            ReadClass(*value);
        } else if (!AddComparison(property, match.Group(kOperator), *value, logical)) {
            return false;
        }
        for (std::size_t i = 0; i < match.Group(kClosing).size(); ++i) condition_.Close();
        // A class writes nothing: what stood before it joins what stands behind.
        if (!is_class) {
            previous_ = logical;
            if (!logical.empty()) condition_.Join(logical);
        } else if (!condition_.IsJoined()) {
            condition_.Join(logical);
        }
        return true;
    }

    void SetLogical(std::string_view logical) {
        condition_.Join(logical);
        previous_ = logical;
    }

    void ReadClass(std::string_view upnp_class) {
        is_playlist_ = upnp_class == kPlaylistClass;
        const ClassRow* row = FindClass(upnp_class);
        if (row == nullptr) return;
        category_ = row->category;
        menu_key_ = row->menu_key;
    }

    bool AddComparison(std::string_view property, std::string_view name, std::string_view value,
                       std::string_view logical) {
        const std::string column = ColumnOf(property);
        if (column.empty()) {
            condition_.Add(NeutralTerm(logical));
            return true;
        }
        std::string sql;
        if (property == kRoleProperty && name == "=" && value == "Composer") {
            sql = " != '' ";
        } else if (name == "exists" && (value == "true" || value == "false")) {
            sql = value == "true" ? " != '' " : " = '' ";
        } else if (!FindOperator(name, value, sql)) {
            return false;
        }
        condition_.Add(" " + column + " " + sql);
        return true;
    }

    static bool FindOperator(std::string_view name, std::string_view value, std::string& sql) {
        const auto* row = std::find_if(std::begin(kOperators), std::end(kOperators),
                                       [&](const OperatorRow& candidate) { return candidate.name == name; });
        if (row == std::end(kOperators)) return false;
        sql = row->sql;
        sql.replace(sql.find("%s"), 2, row->escape(value));
        return true;
    }

    /// Empty for a property that the music table does not have.
    std::string ColumnOf(std::string_view property) {
        if (property == kTitleProperty) {
            const std::string& category = category_.empty() ? title_category_ : category_;
            return category == kSongs || category.empty() ? "title" : category;
        }
        for (const auto& [name, column] : kColumns) {
            if (name == property) return std::string(column);
        }
        return {};
    }

    /// What stands for a comparison that cannot be made.
    std::string NeutralTerm(std::string_view logical) const {
        const std::string_view joined = logical.empty() ? std::string_view(previous_) : logical;
        return joined == "or" ? " NULL " : joined == "and" ? " TRUE " : "";
    }

    Condition condition_;
    std::string category_, menu_key_, previous_;
    std::string title_category_;  // what titles before the first class are titles of
    bool is_playlist_ = false;
};

}  // namespace

std::optional<Criteria> ParseCriteria(std::string_view criteria) {
    if (criteria.size() > kMaxCriteriaBytes) return std::nullopt;
    if (criteria == kEverything) return Criteria{};
    return Translator().Translate(WithColons(criteria));
}

std::string XBoxIsArtistAlbumsQuery(std::string_view container_id, std::string_view criteria) {
    if (container_id != "1") return {};
    static const Pattern pattern(kArtistAlbums);
    Matches matches(pattern, criteria);
    if (matches.Next() != Matches::Result::Found) {
        SysLogError("%s:%d Regular expression is not matched", DMS_SOURCE_FILE, __LINE__);
        return {};
    }
    const std::string text(matches.Group(1));
    // With comparisons behind it the pattern runs on to the last quote of all; no artist is called like that.
    std::string artist = Unquote("\"" + text + "\"").value_or(text);
    DMSPrintf(3, "%s: match artist %s \n", "XBoxIsArtistAlbumsQuery", artist.c_str());
    return artist;
}

}  // namespace MediaServer
