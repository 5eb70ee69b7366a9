#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/Files.h"

namespace MediaServer {

/// A complete request, bounded by HttpLimits before any handler sees it.
struct HttpRequest {
    std::string method;
    std::string path;                            ///< decoded path: absolute, no "..", no NUL
    std::string query;                           ///< raw text after "?", empty without one
    std::map<std::string, std::string> headers;  ///< lower-cased names; of a repeated name the first
    std::string body;
    std::string client_address;  ///< dotted IPv4
    std::string local_address;   ///< the address that the client reached

    /// Value of a header (any case), or empty.
    const std::string& Header(std::string_view name) const;
};

/// Reads body bytes at an offset: fills `buffer`, returns how many, 0 at the end, -1 on failure (the connection
/// closes). Called on a thread of the server; may block.
using BodyReader = std::function<std::ptrdiff_t(std::uint64_t offset, char* buffer, std::size_t size)>;

/// An answer: text, a region of an open file (sent with sendfile), or a stream. Content-Length is set from what is
/// known.
struct HttpResponse {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;  ///< in the order in which they are sent
    std::string body;
    UniqueFd file;  ///< when set, body is not used
    std::uint64_t file_offset = 0;
    std::uint64_t length = 0;  ///< bytes of the file region, or of the stream
    BodyReader stream;         ///< when set, neither body nor file is used; HEAD never calls it
    static constexpr std::uint64_t kUnknownLength = ~std::uint64_t{0};
};

/// Answers one complete request; runs on a worker thread or an event loop, several at once. HEAD is given as it came;
/// the server drops the body itself.
using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

/// Bounds of everything that a stranger can send, and of what one may hold.
struct HttpLimits {
    std::size_t header_bytes = 16 * 1024;
    std::size_t body_bytes = 20480;
    std::uint32_t connections = 512;
    std::uint32_t connections_per_address = 64;
    std::chrono::seconds request_timeout{10};  ///< from accept or the previous answer to a complete request
    std::chrono::seconds idle_timeout{30};     ///< between requests, and for a client that does not read a text
    std::chrono::seconds stall_timeout{600};   ///< for one that does not read on in a file or stream: a paused player
    std::uint32_t workers = 8;
    std::uint32_t queued_requests = 256;  ///< beyond, 503
    std::size_t text_bytes = 64 << 20;    ///< answers in memory that clients have not read; who is slowest to read ends
    std::uint32_t stream_workers = 16;    ///< readers of streamed answers; more streams share them in turns
    std::uint32_t event_loops = 2;        ///< a second one, so that one slow disk does not hold up every client
};

/// The bounded HTTP/1.1 server of daemon and gateway: event loops read requests, a pool of workers answers them.
/// Refuses, before any handler: a Host that is neither an IP literal nor a configured name (400), bodies, headers and
/// requests beyond the limits (413, 431, 503), methods not in `methods` (405 or 501). Connections beyond the limits are
/// closed as they are accepted; a late request ends its connection.
class HttpServer {
public:
    struct Config {
        std::string address;  ///< IPv4 literal to listen on; "0.0.0.0" for all
        std::uint16_t port = 0;
        std::vector<std::string> methods{"GET", "HEAD"};
        std::vector<std::string> host_names{"localhost"};  ///< names that Host may carry besides IP literals
        std::string server_header;                         ///< value of the Server header of every answer
        /// True for a request that the handler answers without waiting for anything: it then runs on the event loop.
        std::function<bool(const HttpRequest&)> is_quick;
        HttpLimits limits;
    };

    HttpServer(Config config, HttpHandler handler);
    ~HttpServer();  ///< stops

    /// Listens. @return 0, or the errno value of what failed (EADDRINUSE, EADDRNOTAVAIL, …).
    int Start();
    /// Stops accepting, finishes or aborts what is being sent within a second, joins all threads. A handler or stream
    /// reader that is running is waited for. Not to be started again.
    void Stop();
    /// Replaces the body limit of the configuration. Threads: any.
    void SetBodyLimit(std::size_t bytes);
    std::uint16_t Port() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace MediaServer
