// The bytes of a whole connection, sent to a real server on loopback.
#include "Target.h"
#include "platform/http/HttpFile.h"
#include "platform/http/HttpServer.h"
#include "platform/http/RawClient.h"
#include "platform/text/Text.h"

using namespace MediaServer;

namespace {

HttpServer::Config SmallServer() {
    HttpServer::Config config;
    config.address = "127.0.0.1";
    config.methods = {"GET", "HEAD", "POST"};
    config.limits.header_bytes = 2048;
    config.limits.body_bytes = 512;
    config.limits.request_timeout = config.limits.idle_timeout = std::chrono::seconds(1);
    config.limits.workers = 1;
    config.limits.stream_workers = 1;
    config.limits.event_loops = 1;
    return config;
}

HttpResponse Echo(const HttpRequest& request) {
    const HttpServer::Config limits = SmallServer();
    Require(request.path.starts_with('/') && request.path.find('\0') == std::string::npos, "a path is absolute text");
    for (const std::string& segment : Split(request.path, '/')) Require(segment != "..", "no segment leads upwards");
    Require(request.body.size() <= limits.limits.body_bytes, "a body is bounded");
    Require(request.client_address.starts_with("127."), "the client is known");
    std::size_t header_bytes = 0;
    for (const auto& [name, value] : request.headers) {
        header_bytes += name.size() + value.size();
        Require(name == StringToLower(name) && value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos,
                "a header is one line with a lower-case name");
    }
    Require(header_bytes <= limits.limits.header_bytes, "headers are bounded");
    return PlainResponse(200, request.path);
}

/// Starts at the first input and lives as long as the process.
HttpServer& Server() {
    static HttpServer* const server = [] {
        auto* started = new HttpServer(SmallServer(), Echo);
        Require(started->Start() == 0, "the server starts");
        return started;
    }();
    return *server;
}

/// Another address each time, so that the closed connections of a long run do not use up the ports of one.
std::string NextAddress() {
    static std::uint32_t count = 0;
    count = (count + 1) % (200 * 200);
    return "127.0." + std::to_string(count / 200 + 1) + "." + std::to_string(count % 200 + 1);
}

/// Sends all, says that this is all, and reads to the end. @return what came.
std::string Talk(std::string_view bytes) {
    RawClient client(Server().Port(), NextAddress().c_str());
    Require(client.Connected(), "the server accepts");
    client.Send(bytes);
    client.EndInput(std::chrono::milliseconds(2));
    Require(client.ClosedWithin(RawClient::kPatience), "a connection ends with its client");
    return client.Pending();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string answer = Talk(AsText(data, size));
    Require(answer.empty() || answer.starts_with("HTTP/1."), "what comes back is HTTP");
    Require(Talk("GET /next HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n").starts_with("HTTP/1.1 200"),
            "the next client is served");
    return 0;
}
