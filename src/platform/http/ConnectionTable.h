#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "platform/http/HttpServer.h"
#include "platform/system/Files.h"

namespace MediaServer {

/// The open connections of a server and by when each owes a complete request. The server's own time-out only sees
/// silence; this one also ends a client that sends a byte a second.
/// Threads: all operations from any.
class ConnectionTable {
public:
    using Clock = std::chrono::steady_clock;
    struct Connection {
        int fd;
        std::string client_address;
        std::string local_address;
        Clock::time_point deadline;      // guarded by the table's lock
        bool first_request = true;       // used by the connection's event loop only
        UniqueFd file;                   // guarded by the table's lock; the one being sent, if any
        std::uint64_t file_end = 0;      // guarded by the table's lock; bytes that the file must have
        std::size_t text_bytes = 0;      // guarded by the table's lock; of the answer in memory that is being sent
        Clock::time_point text_since{};  // guarded by the table's lock
    };

    explicit ConnectionTable(const HttpLimits& limits);
    ~ConnectionTable();

    /// @return null when there is no room for one more, or for one more of that address.
    Connection* Add(int fd, std::string client_address, std::string local_address, Clock::duration time_for_request);
    /// Before the descriptor is closed. Null, for one that was never added, is nothing.
    void Remove(Connection* connection);
    /// A complete request is due within that time from now.
    void ExpectRequest(Connection* connection, Clock::duration time_for_request);
    /// Nothing is due: a request is complete.
    void ExpectNothing(Connection* connection);
    /// The answer is a file up to byte `end`. When the file is cut short below that, the connection ends: nothing more
    /// can be sent, and the client must not wait for the rest. Until the next ExpectRequest.
    void ExpectFile(Connection* connection, UniqueFd file, std::uint64_t end);
    /// The answer is that much text. When all such answers are more than the table takes, the connections end that have
    /// not read theirs for the longest time. Until the next ExpectRequest.
    void ExpectText(Connection* connection, std::size_t bytes);
    /// True when every client is the one to speak next: no answer is being made or sent.
    bool Idle() const;

private:
    void Sweep();
    void ReleaseText(Connection& connection);

    const std::size_t most_;
    const std::size_t most_per_address_;
    const std::size_t most_text_bytes_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::list<Connection> connections_;  // guarded by mutex_
    std::size_t text_bytes_ = 0;         // guarded by mutex_; of all connections
    bool stopping_ = false;              // guarded by mutex_
    std::thread sweeper_;
};

}  // namespace MediaServer
