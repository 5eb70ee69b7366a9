#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "platform/http/HttpServer.h"
#include "platform/system/Files.h"

namespace MediaServer {

/// A server's configuration: on loopback, at a port that the system chooses.
inline HttpServer::Config OnLoopback() {
    HttpServer::Config config;
    config.address = "127.0.0.1";
    return config;
}

/// A client that sends what it is told, byte for byte, over a socket on loopback. No call waits longer than its limit.
class RawClient {
public:
    static constexpr std::chrono::milliseconds kPatience{5000};

    /// @param from  local address (any of 127.0.0.0/8), so that one machine plays several clients.
    explicit RawClient(std::uint16_t port, const char* from = "127.0.0.1", const char* to = "127.0.0.1")
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in local{}, remote{};
        local.sin_family = remote.sin_family = AF_INET;
        inet_pton(AF_INET, from, &local.sin_addr);
        inet_pton(AF_INET, to, &remote.sin_addr);
        remote.sin_port = htons(port);
        bind(socket_.get(), reinterpret_cast<sockaddr*>(&local), sizeof local);
        if (!Connect(remote)) socket_.reset();
    }

    bool Connected() const { return static_cast<bool>(socket_); }
    bool Send(std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    /// Tells the server that nothing more comes. After its first answer or that pause: an end that arrives together
    /// with the last bytes is noticed by the server only when the request is overdue.
    void EndInput(std::chrono::milliseconds pause) {
        More(pause);
        shutdown(socket_.get(), SHUT_WR);
    }

    /// One answer: the header block in `head`, the body (by Content-Length, chunks undone, else to the end) in `body`.
    /// @return the status, 0 when the connection ended or nothing came in time.
    int Receive(std::string& head, std::string& body, bool has_body = true) {
        head.clear();
        body.clear();
        std::size_t end;
        while ((end = pending_.find("\r\n\r\n")) == std::string::npos)
            if (!More()) return 0;
        head = pending_.substr(0, end + 2);
        pending_.erase(0, end + 4);
        const int status = std::stoi(head.substr(9, 3));
        if (status == 100) return Receive(head, body, has_body);
        if (!has_body || status == 304 || status == 204) return status;
        if (HeaderOf(head, "Transfer-Encoding") == "chunked") return ReceiveChunks(body) ? status : 0;
        const std::string length = HeaderOf(head, "Content-Length");
        const std::size_t wanted = length.empty() ? std::string::npos : std::stoul(length);
        while (pending_.size() < wanted && More()) {
        }
        body = pending_.substr(0, wanted);
        pending_.erase(0, body.size());
        return wanted == std::string::npos || body.size() == wanted ? status : 0;
    }
    int Receive() {
        std::string head, body;
        return Receive(head, body);
    }
    /// Asks for a path and takes no more than the head of the answer. @param fields  whole lines. @return the status.
    int Begin(const std::string& path, const std::string& fields = {}) {
        std::string head, body;
        Send("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + fields + "\r\n");
        return Receive(head, body, false);
    }

    /// True when the server closes the connection within that time.
    bool ClosedWithin(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return false;
            if (!More(left)) return ended_;
        }
    }

    /// What came beyond the answers received so far.
    const std::string& Pending() const { return pending_; }

    /// Value of a header field of a header block, empty when absent.
    static std::string HeaderOf(const std::string& head, std::string_view name) {
        const std::string start = "\r\n" + std::string(name) + ": ";
        const std::size_t at = head.find(start);
        if (at == std::string::npos) return {};
        const std::size_t from = at + start.size();
        return head.substr(from, head.find("\r\n", from) - from);
    }

private:
    /// A signal may interrupt connect(2); the connection is then made in the background.
    bool Connect(const sockaddr_in& remote) {
        if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&remote), sizeof remote) == 0) return true;
        if (errno != EINTR) return false;
        pollfd wait{socket_.get(), POLLOUT, 0};
        int error = 0;
        socklen_t size = sizeof error;
        return poll(&wait, 1, static_cast<int>(kPatience.count())) > 0 &&
               getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
    }

    bool More(std::chrono::milliseconds limit = kPatience) {
        pollfd waiting{socket_.get(), POLLIN, 0};
        int ready;
        while ((ready = poll(&waiting, 1, static_cast<int>(limit.count()))) < 0 && errno == EINTR) {
        }
        if (ready != 1) return false;
        char buffer[65536];
        const ssize_t count = recv(socket_.get(), buffer, sizeof buffer, 0);
        if (count <= 0) ended_ = true;
        if (count > 0) pending_.append(buffer, static_cast<std::size_t>(count));
        return count > 0;
    }
    bool ReceiveChunks(std::string& body) {
        for (;;) {
            std::size_t line;
            while ((line = pending_.find("\r\n")) == std::string::npos)
                if (!More()) return false;
            const std::size_t size = std::stoul(pending_.substr(0, line), nullptr, 16);
            while (pending_.size() < line + 4 + size)
                if (!More()) return false;
            body += pending_.substr(line + 2, size);
            pending_.erase(0, line + 4 + size);
            if (size == 0) return true;
        }
    }

    UniqueFd socket_;
    std::string pending_;
    bool ended_ = false;
};

/// Sends one request on a connection of its own. @return the status, 0 without an answer.
inline int RawStatus(std::uint16_t port, std::string_view request, const char* from = "127.0.0.1") {
    RawClient client(port, from);
    client.Send(request);
    return client.Receive();
}

}  // namespace MediaServer
