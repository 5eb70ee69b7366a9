#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>

#include <libpq-fe.h>

namespace MediaServer {

struct PgResultDeleter {
    void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using PgResult = std::unique_ptr<PGresult, PgResultDeleter>;

/// Opens a connection with libpq's environment (PGHOST, PGPORT) for what is null. Sets statement and connect timeouts,
/// UTF-8 and standard_conforming_strings. @return null after the reason was logged at level 0. Close with NIMBDBClose.
PGconn* NIMBDBConnect(const char* host, const char* user, const char* password, const char* database);
void NIMBDBClose(PGconn* connection) noexcept;

/// This thread's own connection to the media database (user "admin", database "mediaserver"), opened on first use and
/// closed when the thread ends. A connection that broke is replaced by a new one, at most one attempt a call.
/// @return null when the database cannot be reached; the next call tries again.
PGconn* ThreadDBConnection();

/// Longer than the statement timeout that NIMBDBConnect sets, so that it is the server that ends a long statement while
/// it lives.
inline constexpr std::chrono::milliseconds kQueryPatience{12000};

/// How the values of the rows come: as text, or as the server's binary forms, which cost both sides less.
enum class RowFormat { Text = 0, Binary = 1 };  // libpq's numbers

/// Runs `sql` with bound parameters (null entries become SQL NULL).
/// @param what  completes "could not …" in the log, e.g. "list children of container \"21$3\"".
/// @param patience  how long the answer may take; the connection is lost with one that takes longer.
/// @return the rows (or an empty result for a command), or null after the reason was logged at level 0.
PgResult Query(PGconn* connection, const char* sql, std::span<const char* const> params, const char* what,
               std::chrono::milliseconds patience = kQueryPatience, RowFormat format = RowFormat::Text) noexcept;

/// The same without a line in the log. @param[out] reason  why null comes back.
PgResult TryQuery(PGconn* connection, const char* sql, std::span<const char* const> params,
                  std::chrono::milliseconds patience, std::string& reason);

/// Brings the schema up to date: runs each migration of `directory` ("0001-….sql", in name order) that the database
/// has not seen, each in a transaction of its own; safe when several processes start at once.
/// @return false after the reason was logged; the last complete version then stands.
bool MigrateSchema(PGconn* connection, const char* directory);

}  // namespace MediaServer
