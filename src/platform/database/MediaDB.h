#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/database/Database.h"
#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// One query at a time over one table of the media database, on a connection of the calling thread.
///
/// Conditions, field lists and orders are SQL text: callers put nothing of a client's into them but what went through
/// SQLEscapeString, SQLEscapeCondition or ParseRowId.
/// Lifetime: one request. Threads: one. The connection must outlive it; a null connection makes every call fail.
/// Several may be open on one connection at once, each in the middle of its rows.
class MediaDB {
public:
    explicit MediaDB(MediaKind table, PGconn* connection = ThreadDBConnection());
    ~MediaDB();
    MediaDB(const MediaDB&) = delete;
    MediaDB& operator=(const MediaDB&) = delete;

    /// Conditions are ANDed. Empty ones are ignored.
    void AddCondition(std::string_view condition);
    /// Restricts to the rows directly inside a directory (absolute path), found through an index.
    void AddParentCondition(std::string_view directory);
    /// Restricts to rows whose path lies below a directory, at any depth, found through an index.
    void AddSubtreeCondition(std::string_view directory);
    /// Takes the library as `other` found it, so that totals of both belong together and cost one question less.
    void ShareGeneration(const MediaDB& other) { generation_ = other.generation_; }
    /// Finds every page through a list of all ids that is made once for each change of the library: for conditions and
    /// orders that no index may serve.
    void KeepIds() { keeps_ids_ = true; }
    /// Leaves out rows of that video codec (only meaningful on the video table).
    void AddExcludeVideoCodec(std::string_view codec);

    /// Runs the query. Rows stream in: memory does not grow with their number when `limit` is 0. A page at the end of a
    /// list costs as little as one at its start, and totals and groups are counted once for each change of the library.
    /// @param fields  select list; "*" for whole records.
    /// @param order   ORDER BY text, empty for any. Ties are broken by id (in groups by `group`), so pages join
    ///                without gaps.
    /// @param offset  rows to skip. @param limit most rows; 0 means all.
    /// @param group   GROUP BY text, empty for none.
    /// @return number of rows, or a negative value after the reason was logged.
    std::int32_t Select(std::string_view fields, std::string_view order, std::int32_t offset, std::int32_t limit,
                        std::string_view group = {});

    /// Rows that match the conditions, or negative on failure.
    std::int32_t SelectTotal();

    /// Rows that Select would give with these fields and `group` and no limit, or negative on failure. With it a page
    /// of groups is asked for with `offset` and `limit` like a page of items, without reading all groups.
    /// @param order  of the Select that follows, so that both take one question.
    std::int32_t SelectTotal(std::string_view fields, std::string_view group, std::string_view order = {});

    /// Steps to the next row of the last Select. @return false after the last one, or when Failed().
    bool NextRow();
    /// True when the database failed while the rows of a long list came in; those that came are not all.
    bool Failed() const { return failed_; }
    /// Text of a field of the current row; empty when NULL or unknown. Of whole records ("*") it gives only the columns
    /// that are text themselves. Valid until the next NextRow or Select.
    std::string_view FetchField(const char* name) const;
    std::int32_t FetchFieldAsInt(const char* name) const;
    /// Fills `record` from the current row of a Select of "*"; columns that the table lacks give 0 or empty.
    void FetchMediaItem(NIMB_MEDIA_INFO& record) const;

private:
    PgResult Run(const std::string& sql, const char* what, RowFormat format = RowFormat::Text);
    std::string SelectText(std::string_view fields, std::string_view tail) const;
    static std::string TailText(std::string_view order, std::string_view group);
    std::optional<std::int32_t> SelectKeptGroups(const std::string& select, std::int32_t offset, std::int32_t limit);
    using IdList = std::shared_ptr<const std::vector<std::int32_t>>;
    std::optional<IdList> KeptIds(const std::string& fields, const std::string& tail, const char* key);
    std::int32_t SelectDeepPage(const std::string& fields, const std::string& tail, const char* key,
                                std::int32_t offset, std::int32_t limit);
    std::int32_t SelectMarkedPage(std::string_view order, std::int32_t offset, std::int32_t limit);
    std::int32_t SelectPage(const std::string& select, std::int32_t offset, std::int32_t limit);
    std::int32_t CountOf(const std::string& sql, const char* what);
    std::int64_t Generation();
    std::int32_t ShowRows(std::shared_ptr<const PGresult> rows, int first, int end);
    std::int32_t OpenCursor(const std::string& select);
    bool FetchChunk();
    void CloseCursor() noexcept;
    bool HasRow() const;

    MediaKind table_;
    PGconn* connection_;
    std::string where_;
    std::int64_t generation_ = 0;           ///< of the library when this object first asked; 0 before
    RowFormat format_ = RowFormat::Text;    ///< of the rows
    std::shared_ptr<const PGresult> rows_;  ///< shared with the cache of groups
    bool keeps_ids_ = false;
    bool failed_ = false;
    int row_ = -1;        ///< current row of rows_
    int end_ = 0;         ///< row of rows_ after the last that belongs to the query
    std::string cursor_;  ///< name of the open cursor, empty when all rows of the query are in rows_
    mutable std::vector<int> record_columns_;  ///< column of each record member in rows_, found at the first record
};

}  // namespace MediaServer
