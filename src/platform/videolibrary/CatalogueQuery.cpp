#include "platform/videolibrary/CatalogueQuery.h"

#include <algorithm>

#include "platform/database/GenerationCache.h"
#include "platform/database/PageBounds.h"
#include "platform/text/Text.h"

namespace MediaServer::LibReelhouse {
namespace {

using Ids = std::vector<std::int32_t>;

/// A page from here on is found through the kept list of all ids.
constexpr std::int32_t kDeepOffset = 1000;
/// Longer lists are not kept.
constexpr std::int32_t kMaxKeptIds = 250'000, kMaxKeptRows = 20'000;

/// What is kept for the whole process, each with its bound in bytes.
struct Kept {
    GenerationCache<std::int32_t> numbers{1 << 20};
    GenerationCache<std::shared_ptr<const Ids>> ids{4 << 20};
    GenerationCache<std::shared_ptr<const PGresult>> rows{4 << 20};
};
Kept& Cache() {
    static Kept kept;
    return kept;
}

/// @return 0 after the reason was logged.
std::int64_t Generation() {
    const PgResult library = Ask("SELECT generation FROM library", {}, "read the library's generation");
    return library && PQntuples(library.get()) == 1 ? std::strtoll(PQgetvalue(library.get(), 0, 0), nullptr, 10) : 0;
}

/// The text that tells one question from another.
std::string QuestionOf(const std::string& sql, const Parameters& parameters) {
    std::string question = sql;
    for (const std::string& value : parameters.Values()) question.append(1, '\0').append(value);
    return question;
}

Ids ReadIds(const PGresult* rows) {
    Ids ids;
    ids.reserve(static_cast<std::size_t>(PQntuples(rows)));
    for (int row = 0; row < PQntuples(rows); ++row) ids.push_back(ToInt(Field(rows, row, 0)));
    return ids;
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
    const std::int64_t generation = Generation();
    if (generation == 0) return std::nullopt;
    const std::string question = QuestionOf(sql, parameters);
    if (const auto kept = Cache().numbers.Find(question, generation)) return kept;
    const PgResult rows = Ask(sql, parameters, what);
    if (!rows || PQntuples(rows.get()) != 1) return std::nullopt;
    const std::int32_t number = ToInt(PQgetvalue(rows.get(), 0, 0));
    Cache().numbers.Keep(question, generation, number, 0);
    return number;
}

KeptRows AskRows(const std::string& sql, const Parameters& parameters, Page page, const char* what) {
    const std::int64_t generation = Generation();
    if (generation == 0) return {};
    const std::string question = QuestionOf(sql, parameters);
    auto rows = Cache().rows.Find(question, generation);
    if (!rows) {
        PgResult all = Ask(sql + " LIMIT " + std::to_string(kMaxKeptRows + 1), parameters, what);
        if (!all) return {};
        const bool fits = PQntuples(all.get()) <= kMaxKeptRows;
        const std::size_t bytes = fits ? PQresultMemorySize(all.get()) : 0;
        rows = fits ? std::shared_ptr<const PGresult>(std::move(all)) : nullptr;
        Cache().rows.Keep(question, generation, *rows, bytes);
    }
    if (*rows) {
        const auto [first, end] = BoundsOfPage(page.offset, page.limit, PQntuples(rows->get()));
        return {*rows, first, end};
    }
    PgResult part = Ask(sql + PageText(page), parameters, what);
    const int count = part ? PQntuples(part.get()) : 0;
    return {std::move(part), 0, count};
}

std::optional<std::vector<std::int32_t>> AskIds(const std::string& sql, const Parameters& parameters, Page page,
                                                Finding finding, const char* what) {
    const bool is_kept = (page.offset >= kDeepOffset || finding == Finding::BySorting) && page.limit > 0;
    const std::int64_t generation = is_kept ? Generation() : 0;
    if (is_kept && generation == 0) return std::nullopt;
    const std::string question = QuestionOf(sql, parameters);
    // Null in it stands for a list that is read page by page.
    auto ids = is_kept ? Cache().ids.Find(question, generation) : std::make_optional<std::shared_ptr<const Ids>>();
    if (!ids) {
        const PgResult all = Ask(sql + " LIMIT " + std::to_string(kMaxKeptIds + 1), parameters, what);
        if (!all) return std::nullopt;
        const bool fits = PQntuples(all.get()) <= kMaxKeptIds;
        ids = fits ? std::make_shared<const Ids>(ReadIds(all.get())) : nullptr;
        Cache().ids.Keep(question, generation, *ids, fits ? (*ids)->size() * sizeof(std::int32_t) : 0);
    }
    if (*ids) {
        const auto [first, end] = BoundsOfPage(page.offset, page.limit, static_cast<std::int32_t>((*ids)->size()));
        return Ids((*ids)->begin() + first, (*ids)->begin() + end);
    }
    const PgResult part = Ask(sql + PageText(page), parameters, what);
    if (!part) return std::nullopt;
    return ReadIds(part.get());
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
