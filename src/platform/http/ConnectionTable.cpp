#include "platform/http/ConnectionTable.h"

#include <algorithm>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace MediaServer {

namespace {

constexpr std::chrono::milliseconds kSweepInterval{250};

bool IsCutShort(const UniqueFd& file, std::uint64_t end) {
    struct stat info {};
    return file && fstat(file.get(), &info) == 0 && static_cast<std::uint64_t>(info.st_size) < end;
}

/// Has the event loop look again whether it can send. A process that is stopped and continued, or whose machine sleeps,
/// is interrupted in the middle of sendfile(); the server library takes the bytes that are missing for a full socket
/// and waits for it to drain, which it has done long ago. Setting this option, here to what it is already, wakes who
/// waits for room in the socket.
void WakeSender(int fd) {
    const int unlimited = 0;
    setsockopt(fd, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &unlimited, sizeof unlimited);
}

}  // namespace

ConnectionTable::ConnectionTable(const HttpLimits& limits)
    : most_(limits.connections),
      most_per_address_(limits.connections_per_address),
      most_text_bytes_(limits.text_bytes),
      sweeper_([this] { Sweep(); }) {}

ConnectionTable::~ConnectionTable() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    sweeper_.join();
}

ConnectionTable::Connection* ConnectionTable::Add(int fd, std::string client_address, std::string local_address,
                                                  Clock::duration time_for_request) {
    const std::lock_guard lock(mutex_);
    const auto of_client = std::count_if(connections_.begin(), connections_.end(), [&](const Connection& entry) {
        return entry.client_address == client_address;
    });
    if (connections_.size() >= most_ || static_cast<std::size_t>(of_client) >= most_per_address_) return nullptr;
    connections_.push_front({.fd = fd,
                             .client_address = std::move(client_address),
                             .local_address = std::move(local_address),
                             .deadline = Clock::now() + time_for_request,
                             .file = {}});
    return &connections_.front();
}

void ConnectionTable::Remove(Connection* connection) {
    if (!connection) return;
    const std::lock_guard lock(mutex_);
    ReleaseText(*connection);
    connections_.remove_if([connection](const Connection& entry) { return &entry == connection; });
}

void ConnectionTable::ExpectRequest(Connection* connection, Clock::duration time_for_request) {
    const std::lock_guard lock(mutex_);
    connection->deadline = Clock::now() + time_for_request;
    connection->file.reset();
    ReleaseText(*connection);
}

void ConnectionTable::ExpectNothing(Connection* connection) {
    const std::lock_guard lock(mutex_);
    connection->deadline = Clock::time_point::max();
}

void ConnectionTable::ExpectFile(Connection* connection, UniqueFd file, std::uint64_t end) {
    const std::lock_guard lock(mutex_);
    connection->file = std::move(file);
    connection->file_end = end;
}

void ConnectionTable::ExpectText(Connection* connection, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    connection->text_bytes = bytes;
    connection->text_since = Clock::now();
    text_bytes_ += bytes;
    while (text_bytes_ > most_text_bytes_) {
        Connection* oldest = nullptr;
        for (Connection& each : connections_) {
            if (&each == connection || each.text_bytes == 0) continue;
            if (!oldest || each.text_since < oldest->text_since) oldest = &each;
        }
        if (!oldest) return;  // a single one may be as large as it is
        shutdown(oldest->fd, SHUT_RDWR);
        ReleaseText(*oldest);
    }
}

/// With the lock held.
void ConnectionTable::ReleaseText(Connection& connection) {
    text_bytes_ -= connection.text_bytes;
    connection.text_bytes = 0;
}

bool ConnectionTable::Idle() const {
    const std::lock_guard lock(mutex_);
    return std::none_of(connections_.begin(), connections_.end(),
                        [](const Connection& entry) { return entry.deadline == Clock::time_point::max(); });
}

void ConnectionTable::Sweep() {
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, kSweepInterval, [this] { return stopping_; })) {
        const Clock::time_point now = Clock::now();
        for (Connection& connection : connections_) {
            if (connection.file) WakeSender(connection.fd);
            if (connection.deadline > now && !IsCutShort(connection.file, connection.file_end)) continue;
            shutdown(connection.fd, SHUT_RDWR);
            connection.deadline = Clock::time_point::max();
            connection.file.reset();
        }
    }
}

}  // namespace MediaServer
