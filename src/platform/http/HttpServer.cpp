#include "platform/http/HttpServer.h"

#include <atomic>
#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <sys/socket.h>

#include "platform/http/ConnectionTable.h"
#include "platform/http/HttpFile.h"
#include "platform/http/MhdResponse.h"
#include "platform/http/RefusalLog.h"
#include "platform/http/RequestRules.h"
#include "platform/http/WorkerPool.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {

namespace {

constexpr int kListenBacklog = 256;
constexpr std::chrono::milliseconds kStopGrace{500};  // for answers that are being sent when the server stops
constexpr std::chrono::milliseconds kStopPoll{10};
// A body beyond the limit is thrown away up to this factor, so that the client can read why; then the connection ends.
constexpr std::uint64_t kDiscardFactor = 16;
// The pool of a connection holds its header block, the fields as parsed and the header block of the answer.
constexpr std::size_t kConnectionMemoryFactor = 2;
constexpr std::size_t kConnectionMemoryExtra = 8 * 1024;

std::string AddressText(const sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(address).sin_addr, text, sizeof text);
    return text;
}

/// A listening socket, or the errno value of what failed.
int Listen(const std::string& address, std::uint16_t port, UniqueFd& listener) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &name.sin_addr) != 1) return EINVAL;
    listener.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (listener && setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 &&
        listen(listener.get(), kListenBacklog) == 0)
        return 0;
    const int error = errno;
    listener.reset();
    return error;
}

/// How long a connection may do nothing, from now on.
void SetSilenceLimit(MHD_Connection* connection, std::chrono::seconds limit) {
    MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, static_cast<unsigned>(limit.count()));
}

/// An answer that takes no memory to make, for where an exception has no place to go.
HttpResponse BareResponse(int status) noexcept {
    HttpResponse response;
    response.status = status;
    return response;
}

}  // namespace

struct HttpServer::Impl {
    Impl(Config server_config, HttpHandler request_handler)
        : config(std::move(server_config)),
          handler(std::move(request_handler)),
          body_limit(config.limits.body_bytes),
          requests(config.limits.workers, config.limits.queued_requests),
          streams(config.limits.stream_workers, config.limits.connections) {}

    /// One request on its way from its first line to its answer; freed when the server library is done with it.
    struct Exchange {
        Impl* server;
        MHD_Connection* connection;
        ConnectionTable::Connection* client;
        std::string raw_target;
        HttpRequest request;
        bool begun = false;           // the header block has been checked
        std::uint64_t discarded = 0;  // bytes of the body beyond the limit
        std::optional<HttpResponse> answer;
    };

    static MHD_Result OnAccept(void* self, const sockaddr* address, socklen_t size) noexcept;
    static void OnConnection(void* self, MHD_Connection* connection, void** context,
                             MHD_ConnectionNotificationCode code);
    static void* OnTarget(void* self, const char* target, MHD_Connection* connection);
    static MHD_Result OnRequest(void* self, MHD_Connection* connection, const char* url, const char* method,
                                const char* version, const char* data, std::size_t* size, void** context);
    static void OnCompleted(void* self, MHD_Connection* connection, void** context, MHD_RequestTerminationCode code);

    MHD_Result Proceed(Exchange& exchange, const char* method, const char* version, const char* data,
                       std::size_t* size);
    int Begin(Exchange& exchange, const char* method, const char* version);
    bool TakeBody(Exchange& exchange, const char* data, std::size_t size);
    void Dispatch(Exchange& exchange);
    HttpResponse Answer(const HttpRequest& request);
    HttpResponse Refusal(const Exchange& exchange, int status);
    MHD_Result Send(Exchange& exchange);

    const Config config;
    const HttpHandler handler;
    std::atomic<std::size_t> body_limit;
    std::atomic<bool> serving{false};   // all event loops run
    std::atomic<bool> stopping{false};  // who connects is turned away
    RefusalLog refusals;
    std::uint16_t port = 0;
    MHD_Daemon* daemon = nullptr;
    std::unique_ptr<ConnectionTable> connections;  // while the daemon runs
    WorkerPool requests;
    WorkerPool streams;
};

// Turning clients away here is what MHD_quiesce_daemon() is for, but that ends the process when an event loop happens
// to be at its connection limit: both then take the listening socket out of the loop.
MHD_Result HttpServer::Impl::OnAccept(void* self, const sockaddr* /*address*/, socklen_t /*size*/) noexcept {
    return static_cast<Impl*>(self)->stopping ? MHD_NO : MHD_YES;
}

void HttpServer::Impl::OnConnection(void* self, MHD_Connection* connection, void** context,
                                    MHD_ConnectionNotificationCode code) {
    auto& server = *static_cast<Impl*>(self);
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        server.connections->Remove(static_cast<ConnectionTable::Connection*>(*context));
        return;
    }
    const int fd = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    sockaddr_storage client{}, local{};
    socklen_t client_size = sizeof client, local_size = sizeof local;
    getpeername(fd, reinterpret_cast<sockaddr*>(&client), &client_size);
    getsockname(fd, reinterpret_cast<sockaddr*>(&local), &local_size);
    try {
        *context =
            server.connections->Add(fd, AddressText(client), AddressText(local), server.config.limits.request_timeout);
    } catch (const std::bad_alloc&) {
        shutdown(fd, SHUT_RDWR);  // a connection that is not in the table is not served either
    }
}

void* HttpServer::Impl::OnTarget(void* self, const char* target, MHD_Connection* connection) {
    auto& server = *static_cast<Impl*>(self);
    auto* client = static_cast<ConnectionTable::Connection*>(
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
    if (!client) return nullptr;
    // The first request is due from the accept on, a later one from its first line on.
    if (!client->first_request) {
        server.connections->ExpectRequest(client, server.config.limits.request_timeout);
        SetSilenceLimit(connection, server.config.limits.idle_timeout);
    }
    client->first_request = false;
    try {
        auto exchange = std::make_unique<Exchange>();
        exchange->server = &server;
        exchange->connection = connection;
        exchange->client = client;
        exchange->raw_target = target;
        return exchange.release();
    } catch (const std::bad_alloc&) {
        return nullptr;  // OnRequest then ends the connection
    }
}

void HttpServer::Impl::OnCompleted(void* self, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*context));
    *context = nullptr;
    if (!exchange) return;
    const HttpLimits& limits = static_cast<Impl*>(self)->config.limits;
    static_cast<Impl*>(self)->connections->ExpectRequest(exchange->client,
                                                         limits.idle_timeout + limits.request_timeout);
}

MHD_Result HttpServer::Impl::OnRequest(void* self, MHD_Connection*, const char*, const char* method,
                                       const char* version, const char* data, std::size_t* size, void** context) {
    auto* exchange = static_cast<Exchange*>(*context);
    if (!exchange) return MHD_NO;
    try {
        return static_cast<Impl*>(self)->Proceed(*exchange, method, version, data, size);
    } catch (const std::exception& error) {
        DMSPrintf(1, "could not read an HTTP request: %s", error.what());
        return MHD_NO;
    }
}

/// The server library calls this after the header block, for each piece of the body, at its end, and after a resume.
MHD_Result HttpServer::Impl::Proceed(Exchange& exchange, const char* method, const char* version, const char* data,
                                     std::size_t* size) {
    if (exchange.answer) return Send(exchange);
    if (!exchange.begun) {
        exchange.begun = true;
        const int refusal = Begin(exchange, method, version);
        if (refusal == 0) return MHD_YES;
        exchange.answer = Refusal(exchange, refusal);
        return Send(exchange);
    }
    if (*size > 0) {
        const bool taken = TakeBody(exchange, data, *size);
        *size = 0;
        return taken ? MHD_YES : MHD_NO;
    }
    connections->ExpectNothing(exchange.client);
    if (exchange.discarded > 0) {
        exchange.answer = Refusal(exchange, MHD_HTTP_CONTENT_TOO_LARGE);
        return Send(exchange);
    }
    if (!serving) {
        // Should the next event loop not start, the library ends this one, and cannot while a connection is suspended.
        exchange.answer = BareResponse(MHD_HTTP_SERVICE_UNAVAILABLE);
        return Send(exchange);
    }
    Dispatch(exchange);
    return MHD_YES;
}

/// Checks the header block and fills the request. @return 0 or the status that refuses it.
int HttpServer::Impl::Begin(Exchange& exchange, const char* method, const char* version) {
    struct Collected {
        RequestFraming framing;
        std::map<std::string, std::string>* headers;
        std::size_t bytes = 0;
        bool clean = true;
    } collected;
    HttpRequest& request = exchange.request;
    collected.headers = &request.headers;
    const auto collect = [](void* cls, MHD_ValueKind, const char* name, std::size_t name_size, const char* value,
                            std::size_t value_size) {
        auto& all = *static_cast<Collected*>(cls);
        all.bytes += name_size + value_size;
        const std::string_view text(value ? value : "", value_size);
        const std::string key = StringToLower(std::string_view(name, name_size));
        // RFC 9110, 5.5: what others may take for the end of the field makes the whole request dubious.
        constexpr std::string_view kForbidden("\r\n\0", 3);
        if (key.empty() || text.find_first_of(kForbidden) != std::string_view::npos) all.clean = false;
        if (key == "host") ++all.framing.hosts;
        if (key == "content-length") ++all.framing.content_lengths;
        all.headers->emplace(key, text);
        return MHD_YES;
    };
    MHD_get_connection_values_n(exchange.connection, MHD_HEADER_KIND, collect, &collected);
    request.method = method;
    request.client_address = exchange.client->client_address;
    request.local_address = exchange.client->local_address;
    if (collected.bytes + exchange.raw_target.size() > config.limits.header_bytes)
        return MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE;
    if (!collected.clean) return MHD_HTTP_BAD_REQUEST;

    collected.framing.version = version;
    collected.framing.host = request.Header("host");
    collected.framing.content_length = request.Header("content-length");
    collected.framing.transfer_encoding = request.Header("transfer-encoding");
    if (const int status = CheckMethod(request.method, config.methods)) return status;
    if (const int status = CheckFraming(collected.framing, config.host_names)) return status;
    RequestTarget target;
    if (!ParseTarget(exchange.raw_target, target)) return MHD_HTTP_BAD_REQUEST;
    request.path = std::move(target.path);
    request.query = std::move(target.query);
    const std::uint64_t announced = std::strtoull(request.Header("content-length").c_str(), nullptr, 10);
    return announced > kDiscardFactor * body_limit ? MHD_HTTP_CONTENT_TOO_LARGE : 0;
}

/// Keeps a piece of the body within the limit and counts what is beyond. @return false to end the connection.
bool HttpServer::Impl::TakeBody(Exchange& exchange, const char* data, std::size_t size) {
    const std::size_t limit = body_limit;
    std::string& body = exchange.request.body;
    if (exchange.discarded == 0 && size <= limit && body.size() <= limit - size) {
        body.append(data, size);
        return true;
    }
    std::string().swap(body);
    exchange.discarded += size;
    return exchange.discarded <= kDiscardFactor * limit;
}

/// Hands the request to a worker with the connection suspended; the worker's resume brings Proceed back.
void HttpServer::Impl::Dispatch(Exchange& exchange) {
    MHD_suspend_connection(exchange.connection);
    const auto work = [this, &exchange](bool abandoned) {
        if (abandoned) refusals.Note(MHD_HTTP_SERVICE_UNAVAILABLE, exchange.client->client_address);
        exchange.answer = abandoned ? BareResponse(MHD_HTTP_SERVICE_UNAVAILABLE) : Answer(exchange.request);
        // From here on the event loop may free the exchange.
        MHD_resume_connection(exchange.connection);
    };
    if (!requests.Submit(exchange.client->client_address, work)) work(true);
}

HttpResponse HttpServer::Impl::Answer(const HttpRequest& request) {
    try {
        return handler(request);
    } catch (const std::exception& error) {
        refusals.Note(MHD_HTTP_INTERNAL_SERVER_ERROR, request.client_address, error.what());
    } catch (...) {
        refusals.Note(MHD_HTTP_INTERNAL_SERVER_ERROR, request.client_address, "an unknown exception");
    }
    return BareResponse(MHD_HTTP_INTERNAL_SERVER_ERROR);
}

HttpResponse HttpServer::Impl::Refusal(const Exchange& exchange, int status) {
    refusals.Note(status, exchange.client->client_address);
    HttpResponse response = PlainResponse(status);
    if (status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        std::string allowed;
        for (const std::string& method : config.methods) allowed += (allowed.empty() ? "" : ", ") + method;
        response.headers.emplace_back("Allow", std::move(allowed));
    }
    return response;
}

MHD_Result HttpServer::Impl::Send(Exchange& exchange) {
    connections->ExpectNothing(exchange.client);
    HttpResponse& answer = *exchange.answer;
    const bool is_media = answer.stream || answer.file;
    if (answer.file && answer.length > 0 && exchange.request.method != MHD_HTTP_METHOD_HEAD &&
        answer.status != MHD_HTTP_NOT_MODIFIED) {
        connections->ExpectFile(exchange.client, UniqueFd(fcntl(answer.file.get(), F_DUPFD_CLOEXEC, 0)),
                                answer.file_offset + answer.length);
    }
    if (!is_media) connections->ExpectText(exchange.client, answer.body.size());
    const MhdResponse response = MakeResponse(answer, exchange.client->client_address, exchange.connection, streams);
    if (!response) return MHD_NO;
    if (is_media) SetSilenceLimit(exchange.connection, config.limits.stall_timeout);
    // Otherwise the library ends the body that HEAD does not have with a last chunk, which the next answer would
    // suffer.
    if (answer.length == HttpResponse::kUnknownLength && exchange.request.method == MHD_HTTP_METHOD_HEAD)
        MHD_set_response_options(response.get(), MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);
    if (!config.server_header.empty())
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_SERVER, config.server_header.c_str());
    if (answer.status == MHD_HTTP_SERVICE_UNAVAILABLE)
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_RETRY_AFTER, "1");
    // The library refuses a field that would break the header block; the answer goes out without it.
    for (const auto& [name, value] : answer.headers)
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    return MHD_queue_response(exchange.connection, static_cast<unsigned>(answer.status), response.get());
}

HttpServer::HttpServer(Config config, HttpHandler handler)
    : impl_(std::make_unique<Impl>(std::move(config), std::move(handler))) {}

HttpServer::~HttpServer() {
    Stop();
}

void HttpServer::SetBodyLimit(std::size_t bytes) {
    impl_->body_limit = bytes;
}

std::uint16_t HttpServer::Port() const {
    return impl_->port;
}

int HttpServer::Start() {
    Impl& server = *impl_;
    UniqueFd listener;
    if (const int error = Listen(server.config.address, server.config.port, listener)) return error;
    sockaddr_in name{};
    socklen_t name_size = sizeof name;
    getsockname(listener.get(), reinterpret_cast<sockaddr*>(&name), &name_size);
    server.port = ntohs(name.sin_port);

    const HttpLimits& limits = server.config.limits;
    try {
        server.connections = std::make_unique<ConnectionTable>(limits.text_bytes);
    } catch (const std::system_error& error) {
        return error.code().value();  // no thread
    }
    server.daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ITC, 0, &Impl::OnAccept, &server,
        &Impl::OnRequest, &server, MHD_OPTION_LISTEN_SOCKET, listener.get(), MHD_OPTION_CONNECTION_LIMIT,
        limits.connections, MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits.connections_per_address,
        MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(limits.idle_timeout.count()),
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemoryFactor * limits.header_bytes + kConnectionMemoryExtra,
        MHD_OPTION_THREAD_POOL_SIZE, limits.event_loops, MHD_OPTION_NOTIFY_CONNECTION, &Impl::OnConnection, &server,
        MHD_OPTION_NOTIFY_COMPLETED, &Impl::OnCompleted, &server, MHD_OPTION_URI_LOG_CALLBACK, &Impl::OnTarget, &server,
        MHD_OPTION_END);
    if (!server.daemon) {
        server.connections.reset();
        return errno ? errno : ENOMEM;
    }
    server.serving = true;
    listener.release();  // closed by the library
    return 0;
}

void HttpServer::Stop() {
    Impl& server = *impl_;
    if (!server.daemon) return;
    server.stopping = true;
    // What waits for a worker is released first: the library cannot stop while a connection is suspended.
    server.requests.Stop();
    server.streams.Stop();
    const auto deadline = std::chrono::steady_clock::now() + kStopGrace;
    while (!server.connections->Idle() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(kStopPoll);
    MHD_stop_daemon(server.daemon);
    server.daemon = nullptr;
    server.connections.reset();
}

}  // namespace MediaServer
