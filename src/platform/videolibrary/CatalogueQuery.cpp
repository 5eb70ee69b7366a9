#include "platform/videolibrary/CatalogueQuery.h"

#include <algorithm>

#include "platform/database/GenerationCache.h"
#include "platform/text/Text.h"

namespace MediaServer::LibReelhouse {
namespace {

constexpr std::size_t kMaxKeptBytes = 1 << 20;

GenerationCache<std::int32_t>& KeptNumbers() {
    static GenerationCache<std::int32_t> cache(kMaxKeptBytes);
    return cache;
}

}  // namespace

std::string Parameters::Bind(std::string_view value) {
    std::string& bound = values_.emplace_back();
    while (!value.empty()) {
        const std::size_t length = Utf8SequenceLength(value);
        bound.append(value.substr(0, length));
        value.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return "$" + std::to_string(values_.size());
}

PgResult Ask(const std::string& sql, const Parameters& parameters, const char* what) {
    std::vector<const char*> values;
    values.reserve(parameters.Values().size());
    for (const std::string& value : parameters.Values()) values.push_back(value.c_str());
    return Query(ThreadDBConnection(), sql.c_str(), values, what);
}

std::optional<std::int32_t> AskNumber(const std::string& sql, const Parameters& parameters, const char* what) {
    const PgResult library = Ask("SELECT generation FROM library", {}, "read the library's generation");
    if (!library || PQntuples(library.get()) != 1) return std::nullopt;
    const std::int64_t generation = std::strtoll(PQgetvalue(library.get(), 0, 0), nullptr, 10);
    std::string question = sql;
    for (const std::string& value : parameters.Values()) question.append(1, '\0').append(value);
    if (const auto kept = KeptNumbers().Find(question, generation)) return kept;
    const PgResult rows = Ask(sql, parameters, what);
    if (!rows || PQntuples(rows.get()) != 1) return std::nullopt;
    const std::int32_t number = ToInt(PQgetvalue(rows.get(), 0, 0));
    KeptNumbers().Keep(question, generation, number, 0);
    return number;
}

std::string PageText(Page page) {
    const std::string limit = page.limit > 0 ? std::to_string(page.limit) : "ALL";
    return " LIMIT " + limit + " OFFSET " + std::to_string(std::max(page.offset, 0));
}

std::string_view Field(const PGresult* rows, int row, int column) {
    return {PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column))};
}

std::string ArrayText(const std::vector<std::int32_t>& ids) {
    std::string text = "{";
    for (const std::int32_t id : ids) text.append(text.size() > 1 ? "," : "").append(std::to_string(id));
    return text + "}";
}

}  // namespace MediaServer::LibReelhouse
