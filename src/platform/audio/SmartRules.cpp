#include "platform/audio/SmartRules.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>

#include <json/json.h>

#include "platform/text/Date.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

constexpr int kMaxNesting = 8;
constexpr std::size_t kMaxRules = 200;
constexpr int kMaxDays = 100'000;
/// As the other lists of songs; an index gives it.
constexpr std::string_view kDefaultOrder = "album, disc, track, path";

enum class FieldKind { Text, Number, Date };

struct Field {
    std::string_view name, column;
    FieldKind kind;
    int scale = 1;  ///< what the column counts for one of the rule
};
constexpr Field kFields[] = {
    {"title", "title", FieldKind::Text},
    {"album", "album", FieldKind::Text},
    {"artist", "artist", FieldKind::Text},
    {"albumartist", "album_artist", FieldKind::Text},
    {"genre", "genre", FieldKind::Text},
    {"composer", "composer", FieldKind::Text},
    {"filepath", "path", FieldKind::Text},
    {"track", "track", FieldKind::Number},
    {"tracknumber", "track", FieldKind::Number},
    {"disc", "disc", FieldKind::Number},
    {"discnumber", "disc", FieldKind::Number},
    {"year", "year", FieldKind::Number},
    {"duration", "duration", FieldKind::Number},
    {"bitrate", "audio_bitrate", FieldKind::Number, 1000},
    {"filesize", "filesize", FieldKind::Number},
    {"size", "filesize", FieldKind::Number},
    {"samplerate", "frequency", FieldKind::Number},
    {"channels", "channel", FieldKind::Number},
    {"dateadded", "date", FieldKind::Date},
};

/// "%c" stands for the column, "%v" for the value as a literal, "%w" for the second one of a range, "%l" for the text
/// of a LIKE pattern without its quotes, "%n" for a number of days.
struct Operator {
    std::string_view name;
    FieldKind kind;
    std::string_view sql;
};
constexpr Operator kOperators[] = {
    {"is", FieldKind::Text, "%c = %v"},
    {"isNot", FieldKind::Text, "%c <> %v"},
    {"contains", FieldKind::Text, "%c ILIKE '%%l%'"},
    {"notContains", FieldKind::Text, "%c NOT ILIKE '%%l%'"},
    {"startsWith", FieldKind::Text, "%c ILIKE '%l%'"},
    {"endsWith", FieldKind::Text, "%c ILIKE '%%l'"},
    {"is", FieldKind::Number, "%c = %v"},
    {"isNot", FieldKind::Number, "%c <> %v"},
    {"gt", FieldKind::Number, "%c > %v"},
    {"lt", FieldKind::Number, "%c < %v"},
    {"inTheRange", FieldKind::Number, "%c BETWEEN %v AND %w"},
    {"is", FieldKind::Date, "%c::date = %v::date"},
    {"isNot", FieldKind::Date, "%c::date <> %v::date"},
    {"before", FieldKind::Date, "%c < %v::timestamp"},
    {"after", FieldKind::Date, "%c > %v::timestamp"},
    {"inTheRange", FieldKind::Date, "%c BETWEEN %v::timestamp AND %w::timestamp"},
    {"inTheLast", FieldKind::Date, "%c > current_date - %n"},
    {"notInTheLast", FieldKind::Date, "%c <= current_date - %n"},
};

/// Thrown inside this file only, with the reason.
struct BadRules {
    std::string reason;
};

const Field* FindField(std::string_view name) {
    const auto* field = std::find_if(std::begin(kFields), std::end(kFields),
                                     [&](const Field& candidate) { return EqualsIgnoreCase(candidate.name, name); });
    return field == std::end(kFields) ? nullptr : field;
}

const Operator& FindOperator(const std::string& name, const Field& field) {
    for (const Operator& candidate : kOperators) {
        if (candidate.name == name && candidate.kind == field.kind) return candidate;
    }
    throw BadRules{"operator \"" + name + "\" does not apply to field \"" + std::string(field.name) + "\""};
}

std::string Literal(const Json::Value& value, const Field& field) {
    if (field.kind == FieldKind::Text && value.isString()) return "'" + SQLEscapeString(value.asString()) + "'";
    if (field.kind == FieldKind::Number && value.isNumeric()) {
        const double number = value.asDouble() * field.scale;
        char text[40];
        const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, 3);
        if (end.ec == std::errc()) return "(" + std::string(text, end.ptr) + ")";
    }
    if (field.kind == FieldKind::Date && value.isString() && IsDate(value.asString())) {
        return "'" + value.asString() + "'";
    }
    throw BadRules{"the value of field \"" + std::string(field.name) + "\" is of the wrong kind"};
}

std::string Placeholder(char name, const Json::Value& value, const Field& field) {
    const bool is_range = value.isArray() && value.size() == 2;
    switch (name) {
        case 'c':
            return std::string(field.column);
        case 'l':
            if (!value.isString()) throw BadRules{"field \"" + std::string(field.name) + "\" needs a text"};
            return SQLEscapeCondition(value.asString());
        case 'n':
            if (!value.isInt() || value.asInt() < 0 || value.asInt() > kMaxDays) {
                throw BadRules{"field \"" + std::string(field.name) + "\" needs a number of days"};
            }
            return std::to_string(value.asInt());
        case 'v':
            return Literal(is_range ? value[0] : value, field);
        default:
            if (!is_range) throw BadRules{"field \"" + std::string(field.name) + "\" needs two values"};
            return Literal(value[1], field);
    }
}

std::string ComparisonText(const std::string& name, const Json::Value& operands) {
    if (!operands.isObject() || operands.size() != 1) throw BadRules{"operator \"" + name + "\" needs one field"};
    const std::string field_name = operands.getMemberNames().front();
    const Field* field = FindField(field_name);
    if (field == nullptr) throw BadRules{"unrecognized field \"" + field_name + "\""};
    const std::string_view sql = FindOperator(name, *field).sql;
    std::string text;
    for (std::size_t i = 0; i < sql.size(); ++i) {
        const bool is_placeholder = sql[i] == '%' && i + 1 < sql.size() && sql[i + 1] >= 'a' && sql[i + 1] <= 'z';
        text += is_placeholder ? Placeholder(sql[++i], operands[field_name], *field) : std::string(1, sql[i]);
    }
    return text;
}

class RuleReader {
public:
    /// A list under "all" or "any".
    std::string List(const std::string& name, const Json::Value& rules, int depth) {
        if (!rules.isArray() || depth > kMaxNesting) throw BadRules{"\"" + name + "\" needs a list of rules"};
        std::string text;
        for (const Json::Value& rule : rules) {
            if (++rules_ > kMaxRules) throw BadRules{"too many rules"};
            if (!rule.isObject() || rule.size() != 1) throw BadRules{"a rule is an object with one operator"};
            const std::string key = rule.getMemberNames().front();
            const std::string term =
                key == "all" || key == "any" ? List(key, rule[key], depth + 1) : ComparisonText(key, rule[key]);
            if (term.empty()) continue;
            text.append(text.empty() ? "(" : name == "all" ? " AND " : " OR ").append(term);
        }
        return text.empty() ? text : text + ")";
    }

private:
    std::size_t rules_ = 0;
};

std::string OrderOf(const Json::Value& file) {
    if (!file.isMember("sort")) return std::string(kDefaultOrder);
    const std::string sort = file["sort"].isString() ? file["sort"].asString() : "";
    // Pages must join, so chance is what the row makes of it.
    const Field* field = FindField(sort);
    if (field == nullptr && sort != "random") throw BadRules{"unrecognized sort field \"" + sort + "\""};
    const std::string order = field == nullptr ? "md5(id::text)" : std::string(field->column);
    return file.get("order", "asc") == "desc" ? order + " DESC" : order;
}

SmartPlaylist Read(const Json::Value& file, std::string_view name) {
    if (!file.isObject()) throw BadRules{"the file is not a JSON object"};
    SmartPlaylist playlist;
    playlist.name = file["name"].isString() ? file["name"].asString() : std::string(name);
    RuleReader reader;
    for (const char* list : {"all", "any"}) {
        if (!file.isMember(list)) continue;
        const std::string text = reader.List(list, file[list], 0);
        if (!text.empty()) playlist.condition += (playlist.condition.empty() ? "" : " AND ") + text;
    }
    playlist.order = OrderOf(file);
    const Json::Value& limit = file["limit"];
    if (!limit.isNull() && (!limit.isInt() || limit.asInt() < 0)) throw BadRules{"\"limit\" is not a number"};
    playlist.limit = limit.isNull() ? 0 : limit.asInt();
    return playlist;
}

}  // namespace

std::optional<SmartPlaylist> ParseSmartPlaylist(std::string_view json, std::string_view name, std::string& reason) {
    Json::CharReaderBuilder builder;
    builder["allowComments"] = true;
    builder["stackLimit"] = 4 * kMaxNesting;
    Json::Value file;
    try {
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        if (!reader->parse(json.data(), json.data() + json.size(), &file, &reason)) return std::nullopt;
        return Read(file, name);
    } catch (const BadRules& bad) {
        reason = bad.reason;
    } catch (const Json::Exception& error) {
        reason = error.what();
    }
    return std::nullopt;
}

}  // namespace MediaServer
