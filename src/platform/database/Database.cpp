#include "platform/database/Database.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "platform/system/Directory.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

/// Statements of a page take milliseconds: one that takes longer than this is stuck. to_char is looked up in the media
/// schema first (see the schema for why).
constexpr char kSessionOptions[] =
    "-c statement_timeout=10000 -c standard_conforming_strings=on -c datestyle=ISO -c jit=off "
    "-c search_path=public,pg_catalog -c client_min_messages=warning";
constexpr char kConnectTimeoutSeconds[] = "3";
// A server on another machine that vanishes sends no end of the connection; the kernel tells after these. What has been
// sent and is not acknowledged, in milliseconds; while an answer is waited for, seconds before and between the probes.
constexpr char kUnacknowledgedMilliseconds[] = "10000";
constexpr char kProbeAfterSeconds[] = "5", kProbeEverySeconds[] = "2", kProbes[] = "3";
/// Any number that nothing else in the database uses as an advisory lock.
constexpr char kMigrationLock[] = "7236001";
constexpr std::size_t kMaxMigrationBytes = 1 << 20;

/// Planning a page takes the server longer than finding its rows, and clients ask for the same first pages again and
/// again: what comes a second time is prepared. Few, because the server keeps each plan in memory.
constexpr std::size_t kMaxStatements = 32;

struct Connection {
    PGconn* handle = nullptr;
    std::unordered_map<std::string, std::string> statements;  ///< text to name, which is empty until it is prepared
    unsigned names = 0;
    ~Connection() { NIMBDBClose(handle); }
};

Connection& OwnConnection() {
    thread_local Connection connection;
    return connection;
}

bool HasRows(const PGresult* result) {
    const ExecStatusType status = PQresultStatus(result);
    return status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
}

using Clock = std::chrono::steady_clock;

/// Reads what the server sends until a result is complete. @return false when it is not by then.
bool AwaitResult(PGconn* connection, Clock::time_point deadline) {
    while (PQisBusy(connection)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd input{PQsocket(connection), POLLIN, 0};
        const int ready = left.count() > 0 ? poll(&input, 1, static_cast<int>(left.count())) : 0;
        if (ready == 0) return false;
        if (ready > 0 && !PQconsumeInput(connection)) return true;  // the result then tells of the lost connection
    }
    return true;
}

enum class Outcome { Answered, Late };

/// Reads the answer to what was sent. The statement timeout is the server's, and a server that stands still keeps no
/// time: when the answer is late the connection is given up, for what would come on it belongs to nobody any more.
Outcome Receive(PGconn* connection, bool is_sent, std::chrono::milliseconds patience, PgResult& result) {
    result.reset();
    if (!is_sent) return Outcome::Answered;
    const auto deadline = Clock::now() + patience;
    while (AwaitResult(connection, deadline)) {
        PgResult next{PQgetResult(connection)};
        if (!next) return Outcome::Answered;
        result = std::move(next);
    }
    shutdown(PQsocket(connection), SHUT_RDWR);
    PQconsumeInput(connection);
    result.reset();
    return Outcome::Late;
}

/// Runs one statement.
Outcome Execute(PGconn* connection, const char* sql, std::span<const char* const> params,
                std::chrono::milliseconds patience, RowFormat format, PgResult& result) {
    const int sent = PQsendQueryParams(connection, sql, static_cast<int>(params.size()), nullptr, params.data(),
                                       nullptr, nullptr, static_cast<int>(format));
    return Receive(connection, sent != 0, patience, result);
}

/// True when a prepared statement failed for being one: it is not there (26000), or the tables have changed under it
/// (0A000). Anything else, the time it took above all, would happen again.
bool IsUnusable(const PGresult* result) {
    const char* code = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    return code && (std::string_view(code) == "26000" || std::string_view(code) == "0A000");
}

/// Runs a statement that came before on this thread's connection.
/// @return nothing when it did not, when the server cannot run the prepared form or there is no memory to keep it: then
///     it has to be run as it stands.
std::optional<Outcome> ExecutePrepared(Connection& own, const char* sql, std::chrono::milliseconds patience,
                                       RowFormat format, PgResult& result) try {
    if (own.statements.size() == kMaxStatements && !own.statements.contains(sql)) {
        own.statements.clear();
        if (Execute(own.handle, "DEALLOCATE ALL", {}, patience, RowFormat::Text, result) == Outcome::Late)
            return Outcome::Late;
    }
    const auto [statement, is_new] = own.statements.try_emplace(sql);
    if (is_new) return std::nullopt;
    std::string& name = statement->second;
    if (name.empty()) {
        name = "page_" + std::to_string(++own.names);
        const bool sent = PQsendPrepare(own.handle, name.c_str(), sql, 0, nullptr) != 0;
        if (Receive(own.handle, sent, patience, result) == Outcome::Late) return Outcome::Late;
        if (!HasRows(result.get())) {
            own.statements.erase(statement);
            return Outcome::Answered;
        }
    }
    const bool sent =
        PQsendQueryPrepared(own.handle, name.c_str(), 0, nullptr, nullptr, nullptr, static_cast<int>(format)) != 0;
    if (Receive(own.handle, sent, patience, result) == Outcome::Late) return Outcome::Late;
    if (!IsUnusable(result.get())) return Outcome::Answered;
    own.statements.erase(statement);
    return std::nullopt;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

/// Runs one statement as Query has it. @param[out] result  what the server said, rows or a failure; perhaps null.
Outcome Ask(PGconn* connection, const char* sql, std::span<const char* const> params,
            std::chrono::milliseconds patience, RowFormat format, PgResult& result) noexcept {
    // Inside a transaction a lost connection has lost work that only the caller can do again.
    const PGTransactionStatusType transaction = PQtransactionStatus(connection);
    const bool may_repeat = transaction == PQTRANS_IDLE || transaction == PQTRANS_UNKNOWN;
    Connection& own = OwnConnection();
    // A prepared statement that fails would end a transaction before the plain one could say why.
    const bool may_prepare = connection && connection == own.handle && transaction == PQTRANS_IDLE && params.empty() &&
                             std::string_view(sql).starts_with("SELECT");
    std::optional<Outcome> outcome = may_prepare ? ExecutePrepared(own, sql, patience, format, result) : std::nullopt;
    if (!outcome) outcome = Execute(connection, sql, params, patience, format, result);
    if (outcome == Outcome::Answered && !HasRows(result.get()) && connection &&
        PQstatus(connection) == CONNECTION_BAD && may_repeat) {
        // The server restarted while the connection was idle; libpq notices only now.
        PQreset(connection);
        if (connection == own.handle) own.statements.clear();
        outcome = Execute(connection, sql, params, patience, format, result);
    }
    return *outcome;
}

const char* ReasonOf(Outcome outcome, PGconn* connection) {
    if (outcome == Outcome::Late) return "the database did not answer in time";
    return connection ? PQerrorMessage(connection) : "no database connection";
}

/// Runs a script of any number of statements.
bool RunScript(PGconn* connection, const std::string& sql, const std::string& what) {
    const PgResult result{PQexec(connection, sql.c_str())};
    if (HasRows(result.get())) return true;
    DMSPrintf(0, "could not %s: %s", what.c_str(), PQerrorMessage(connection));
    return false;
}

bool IsMigration(const std::string& name) {
    return name.size() > 9 &&
           std::all_of(name.begin(), name.begin() + 4, [](char c) { return c >= '0' && c <= '9'; }) && name[4] == '-' &&
           name.ends_with(".sql");
}

std::vector<std::string> ListMigrations(const char* directory) {
    auto names = NamesIn(std::string(directory));
    const char* reason = names ? "no schema file in it" : std::strerror(errno);
    if (names) std::erase_if(*names, [](const std::string& name) { return !IsMigration(name); });
    if (names && !names->empty()) return std::move(*names);
    DMSPrintf(0, "could not read schema directory \"%s\": %s", directory, reason);
    return {};
}

bool RunMigration(PGconn* connection, const std::string& directory, const std::string& name) {
    const std::string version = std::to_string(std::stoi(name.substr(0, 4)));
    const char* const params[] = {version.c_str()};
    const PgResult done =
        Query(connection, "SELECT 1 FROM schema_version WHERE version = $1", params, "read the schema version");
    if (!done) return false;
    if (PQntuples(done.get()) > 0) return true;
    const std::string path = directory + "/" + name;
    const auto script = ReadWholeFile(path, kMaxMigrationBytes);
    if (!script) {
        DMSPrintf(0, "could not read schema file \"%s\"", path.c_str());
        return false;
    }
    const std::string what = "run schema file \"" + path + "\"";
    const char* const note[] = {version.c_str(), name.c_str()};
    if (RunScript(connection, "BEGIN", what) && RunScript(connection, *script, what) &&
        Query(connection, "INSERT INTO schema_version (version, name) VALUES ($1, $2)", note, what.c_str()) &&
        RunScript(connection, "COMMIT", what)) {
        DMSPrintf(2, "database schema is now at version %s", version.c_str());
        return true;
    }
    const PgResult undone{PQexec(connection, "ROLLBACK")};
    return false;
}

bool RunMigrations(PGconn* connection, const char* directory, const std::vector<std::string>& names) {
    return RunScript(connection,
                     "CREATE TABLE IF NOT EXISTS schema_version (version integer PRIMARY KEY, name text NOT NULL, "
                     "applied timestamptz NOT NULL DEFAULT now())",
                     "create the schema version table") &&
           std::all_of(names.begin(), names.end(),
                       [&](const std::string& name) { return RunMigration(connection, directory, name); });
}

}  // namespace

PGconn* NIMBDBConnect(const char* host, const char* user, const char* password, const char* database) {
    const std::pair<const char*, const char*> settings[] = {
        {"host", host},
        {"user", user},
        {"password", password},
        {"dbname", database},
        {"options", kSessionOptions},
        {"client_encoding", "UTF8"},
        {"connect_timeout", kConnectTimeoutSeconds},
        {"tcp_user_timeout", kUnacknowledgedMilliseconds},
        {"keepalives_idle", kProbeAfterSeconds},
        {"keepalives_interval", kProbeEverySeconds},
        {"keepalives_count", kProbes},
    };
    const char* keywords[std::size(settings) + 1] = {};
    const char* values[std::size(settings) + 1] = {};
    for (std::size_t i = 0; i < std::size(settings); ++i) {
        keywords[i] = settings[i].first;
        values[i] = settings[i].second;
    }
    PGconn* connection = PQconnectdbParams(keywords, values, 0);
    if (PQstatus(connection) == CONNECTION_OK) return connection;
    DMSPrintf(0, "could not connect to database \"%s\": %s", database ? database : "", PQerrorMessage(connection));
    PQfinish(connection);
    return nullptr;
}

void NIMBDBClose(PGconn* connection) noexcept {
    PQfinish(connection);
}

PGconn* ThreadDBConnection() {
    Connection& connection = OwnConnection();
    if (connection.handle && PQstatus(connection.handle) != CONNECTION_OK) {
        NIMBDBClose(connection.handle);
        connection.handle = nullptr;
        connection.statements.clear();
    }
    if (!connection.handle) connection.handle = NIMBDBConnect(nullptr, "admin", nullptr, "mediaserver");
    return connection.handle;
}

PgResult Query(PGconn* connection, const char* sql, std::span<const char* const> params, const char* what,
               std::chrono::milliseconds patience, RowFormat format) noexcept {
    PgResult result;
    const Outcome outcome = Ask(connection, sql, params, patience, format, result);
    if (HasRows(result.get())) return result;
    DMSPrintf(0, "could not %s: %s", what, ReasonOf(outcome, connection));
    return nullptr;
}

PgResult TryQuery(PGconn* connection, const char* sql, std::span<const char* const> params,
                  std::chrono::milliseconds patience, std::string& reason) {
    PgResult result;
    const Outcome outcome = Ask(connection, sql, params, patience, RowFormat::Text, result);
    if (HasRows(result.get())) return result;
    reason = PQresultErrorField(result.get(), PG_DIAG_MESSAGE_PRIMARY) ?: ReasonOf(outcome, connection);
    return nullptr;
}

bool MigrateSchema(PGconn* connection, const char* directory) {
    const std::vector<std::string> names = ListMigrations(directory);
    if (names.empty()) return false;
    // Another process may be building indexes of a large library: wait as long as it takes.
    if (!RunScript(connection,
                   std::string("SET statement_timeout = 0; SELECT pg_advisory_lock(") + kMigrationLock + ")",
                   "lock the database schema")) {
        return false;
    }
    const bool done = RunMigrations(connection, directory, names);
    const PgResult unlocked{
        PQexec(connection,
               (std::string("SELECT pg_advisory_unlock(") + kMigrationLock + "); RESET statement_timeout").c_str())};
    return done;
}

}  // namespace MediaServer
