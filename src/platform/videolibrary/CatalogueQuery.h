#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/database/Database.h"
#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer::LibReelhouse {

/// Values that belong to a statement, bound to it by their numbers.
class Parameters {
public:
    /// Bytes that are not UTF-8, which no row has and the server refuses, are dropped.
    /// @return what stands for the value in the text: "$1", "$2" ...
    std::string Bind(std::string_view value);
    const std::vector<std::string>& Values() const { return values_; }

private:
    std::vector<std::string> values_;
};

/// Runs a statement on the calling thread's connection. @return null after the reason was logged.
PgResult Ask(const std::string& sql, const Parameters& parameters, const char* what);

/// The one number that a statement gives, kept for the process until the library changes.
/// @return nothing after the reason was logged.
std::optional<std::int32_t> AskNumber(const std::string& sql, const Parameters& parameters, const char* what);

/// All rows of a statement that gives a list of moderate length, kept for the process until the library changes; of a
/// list that is too long to keep, only the rows of the page.
struct KeptRows {
    std::shared_ptr<const PGresult> rows;  ///< null after the reason of a failure was logged
    int first = 0, end = 0;                ///< those of the page
};
KeptRows AskRows(const std::string& sql, const Parameters& parameters, Page page, const char* what);

/// How a page of a list is found: through an index that has its order, or only with the whole list put in order.
enum class Finding { ByIndex, BySorting };

/// A page of a list of row ids. A list that has to be sorted, or of whose index much has to be read to find the page,
/// is kept as a whole until the library changes. @return nothing after the reason was logged.
std::optional<std::vector<std::int32_t>> AskIds(const std::string& sql, const Parameters& parameters, Page page,
                                                Finding finding, const char* what);

/// " LIMIT … OFFSET …" of a page.
std::string PageText(Page page);

/// A field of a row; the view lives as long as the rows.
std::string_view Field(const PGresult* rows, int row, int column);

/// Row ids as the text of an array: "{1,2,3}".
std::string ArrayText(const std::vector<std::int32_t>& ids);

}  // namespace MediaServer::LibReelhouse
