#include "platform/http/HttpServer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <list>
#include <map>
#include <new>
#include <optional>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <sys/socket.h>

#include "platform/http/Acceptor.h"
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

/// The header fields of a request.
struct Collected {
    std::map<std::string, std::string>& headers;
    RequestFraming framing = {};
    std::size_t bytes = 0;
    int refusal = 0;  ///< a status
};

void Take(Collected& all, std::string_view name, std::string_view value) {
    all.bytes += name.size() + value.size();
    const std::string key = StringToLower(name);
    // RFC 9110, 5.5: what others may take for the end of the field makes the whole request dubious.
    constexpr std::string_view kForbidden("\r\n\0", 3);
    if (key.empty() || value.find_first_of(kForbidden) != std::string_view::npos) all.refusal = MHD_HTTP_BAD_REQUEST;
    if (key == "host") ++all.framing.hosts;
    if (key == "content-length") ++all.framing.content_lengths;
    all.headers.emplace(key, value);
}

/// Called from C, which no exception may pass.
MHD_Result Collect(void* cls, MHD_ValueKind, const char* name, std::size_t name_size, const char* value,
                   std::size_t value_size) noexcept {
    auto& all = *static_cast<Collected*>(cls);
    try {
        Take(all, {name, name_size}, {value ? value : "", value_size});
        return MHD_YES;
    } catch (const std::bad_alloc&) {
        all.refusal = MHD_HTTP_INTERNAL_SERVER_ERROR;
        return MHD_NO;
    }
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

    /// One event loop of the server library and how many connections it has.
    struct EventLoop {
        explicit EventLoop(Impl* owner) : server(owner) {}

        Impl* const server;
        MHD_Daemon* daemon = nullptr;
        std::atomic<std::int32_t> connections{0};
    };

    static void OnConnection(void* loop, MHD_Connection* connection, void** context,
                             MHD_ConnectionNotificationCode code);
    static void* OnTarget(void* self, const char* target, MHD_Connection* connection);
    static MHD_Result OnRequest(void* self, MHD_Connection* connection, const char* url, const char* method,
                                const char* version, const char* data, std::size_t* size, void** context);
    static void OnCompleted(void* self, MHD_Connection* connection, void** context, MHD_RequestTerminationCode code);

    int StartLoop();
    void StopLoops();
    void Take(UniqueFd client, const sockaddr_in& address) noexcept;
    MHD_Result Proceed(Exchange& exchange, const char* method, const char* version, const char* data,
                       std::size_t* size);
    int Begin(Exchange& exchange, const char* method, const char* version);
    bool TakeBody(Exchange& exchange, const char* data, std::size_t size);
    MHD_Result Dispatch(Exchange& exchange);
    HttpResponse Answer(const HttpRequest& request);
    HttpResponse Refusal(const Exchange& exchange, int status);
    MHD_Result Send(Exchange& exchange);

    const Config config;
    const HttpHandler handler;
    std::atomic<std::size_t> body_limit;
    RefusalLog refusals;
    Acceptor acceptor;
    std::list<EventLoop> loops;
    std::unique_ptr<ConnectionTable> connections;  // while event loops run
    WorkerPool requests;
    WorkerPool streams;
};

int HttpServer::Impl::StartLoop() {
    const HttpLimits& limits = config.limits;
    EventLoop& loop = loops.emplace_back(this);
    loop.daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ITC | MHD_USE_NO_LISTEN_SOCKET, 0, nullptr,
        nullptr, &Impl::OnRequest, this, MHD_OPTION_CONNECTION_LIMIT, limits.connections, MHD_OPTION_CONNECTION_TIMEOUT,
        static_cast<unsigned>(limits.idle_timeout.count()), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        kConnectionMemoryFactor * limits.header_bytes + kConnectionMemoryExtra, MHD_OPTION_NOTIFY_CONNECTION,
        &Impl::OnConnection, &loop, MHD_OPTION_NOTIFY_COMPLETED, &Impl::OnCompleted, this, MHD_OPTION_URI_LOG_CALLBACK,
        &Impl::OnTarget, this, MHD_OPTION_END);
    if (loop.daemon) return 0;
    const int error = errno ? errno : ENOMEM;
    loops.pop_back();
    return error;
}

void HttpServer::Impl::StopLoops() {
    for (const EventLoop& loop : loops) MHD_stop_daemon(loop.daemon);
    loops.clear();
    connections.reset();
}

/// Gives a new connection to the event loop that has the fewest. Were all to accept for themselves, one that is awake
/// would take most of a burst, and its clients share what the other's few have each for themselves.
void HttpServer::Impl::Take(UniqueFd client, const sockaddr_in& address) noexcept {
    EventLoop& loop = *std::min_element(loops.begin(), loops.end(), [](const EventLoop& left, const EventLoop& right) {
        return left.connections < right.connections;
    });
    ++loop.connections;
    if (MHD_add_connection(loop.daemon, client.release(), reinterpret_cast<const sockaddr*>(&address),
                           sizeof address) != MHD_YES)
        --loop.connections;
}

void HttpServer::Impl::OnConnection(void* loop, MHD_Connection* connection, void** context,
                                    MHD_ConnectionNotificationCode code) {
    auto& server = *static_cast<EventLoop*>(loop)->server;
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        --static_cast<EventLoop*>(loop)->connections;
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
        // As when there is no room.
    }
    if (!*context) shutdown(fd, SHUT_RDWR);  // a connection that is not in the table is not served either
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
    return Dispatch(exchange);
}

/// Checks the header block and fills the request. @return 0 or the status that refuses it.
int HttpServer::Impl::Begin(Exchange& exchange, const char* method, const char* version) {
    HttpRequest& request = exchange.request;
    Collected collected{.headers = request.headers};
    MHD_get_connection_values_n(exchange.connection, MHD_HEADER_KIND, &Collect, &collected);
    request.method = method;
    request.client_address = exchange.client->client_address;
    request.local_address = exchange.client->local_address;
    if (collected.bytes + exchange.raw_target.size() > config.limits.header_bytes)
        return MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE;
    if (collected.refusal != 0) return collected.refusal;

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

/// Hands the request to a worker with the connection suspended; the worker's resume brings Proceed back. What takes no
/// longer than that way is answered here.
MHD_Result HttpServer::Impl::Dispatch(Exchange& exchange) {
    if (config.is_quick && config.is_quick(exchange.request)) {
        exchange.answer = Answer(exchange.request);
        return Send(exchange);
    }
    MHD_suspend_connection(exchange.connection);
    const auto work = [this, &exchange](bool abandoned) {
        if (abandoned) refusals.Note(MHD_HTTP_SERVICE_UNAVAILABLE, exchange.client->client_address);
        exchange.answer = abandoned ? BareResponse(MHD_HTTP_SERVICE_UNAVAILABLE) : Answer(exchange.request);
        // From here on the event loop may free the exchange.
        MHD_resume_connection(exchange.connection);
    };
    if (!requests.Submit(exchange.client->client_address, work)) work(true);
    return MHD_YES;
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
    return impl_->acceptor.Port();
}

int HttpServer::Start() {
    Impl& server = *impl_;
    const HttpLimits& limits = server.config.limits;
    if (const int error = server.acceptor.Listen(server.config.address, server.config.port)) return error;
    int error = 0;
    try {
        server.connections = std::make_unique<ConnectionTable>(limits);
        for (std::uint32_t i = 0; i < limits.event_loops && error == 0; ++i) error = server.StartLoop();
    } catch (const std::system_error& failure) {
        error = failure.code().value();  // no thread
    }
    if (error == 0) {
        error = server.acceptor.Start(
            [&server](UniqueFd client, const sockaddr_in& address) { server.Take(std::move(client), address); });
    }
    if (error != 0) {
        server.acceptor.Stop();
        server.StopLoops();
    }
    return error;
}

void HttpServer::Stop() {
    Impl& server = *impl_;
    if (server.loops.empty()) return;
    server.acceptor.Stop();
    // What waits for a worker is released first: the library cannot stop while a connection is suspended.
    server.requests.Stop();
    server.streams.Stop();
    const auto deadline = std::chrono::steady_clock::now() + kStopGrace;
    while (!server.connections->Idle() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(kStopPoll);
    server.StopLoops();
}

}  // namespace MediaServer
