#include <atomic>
#include <csignal>
#include <filesystem>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/http/HttpFile.h"
#include "platform/http/HttpServer.h"
#include "platform/http/RawClient.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kFileBytes = 3'000'000;
constexpr std::uint64_t kLargeBytes = 32'000'000;
constexpr std::size_t kTextBytes = 16'000'000;  // more than the sockets' buffers hold
char ByteAt(std::uint64_t offset) {
    return static_cast<char>((offset * 2654435761u) >> 13);
}

/// A server with one path per kind of answer.
class HttpServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (std::uint64_t at = 0; at < kFileBytes; ++at) whole_.push_back(ByteAt(at));
        file_ = dir_.Write("file", whole_);
        limits_.request_timeout = 1s;
        limits_.idle_timeout = 2s;
        limits_.workers = 2;
        limits_.queued_requests = 4;
    }
    void TearDown() override {
        if (server_) server_->Stop();
    }
    void Start() {
        HttpServer::Config config = OnLoopback();
        config.methods = {"GET", "HEAD", "POST"};
        config.server_header = "test/1";
        config.limits = limits_;
        config.is_quick = [](const HttpRequest& request) { return request.path == "/file"; };
        server_ = std::make_unique<HttpServer>(config, [this](const HttpRequest& request) { return Answer(request); });
        ASSERT_EQ(server_->Start(), 0);
    }
    HttpResponse Answer(const HttpRequest& request) {
        ++handled_;
        if (request.path == "/file") return ServeFile(request, file_, "audio/mpeg", "DLNA.ORG_OP=01");
        if (request.path == "/image") return ServeFile(request, file_, "image/jpeg");
        if (request.path == "/description") return ServeFile(request, file_, "text/xml");
        if (request.path == "/ogg") return ServeFile(request, file_, "application/ogg", "DLNA.ORG_OP=01");
        if (request.path == "/large") return LargeFile();
        if (request.path == "/missing") return ServeFile(request, file_ + "-none", "audio/mpeg");
        if (request.path == "/folder") return ServeFile(request, "/", "audio/mpeg");
        if (request.path == "/wait") std::this_thread::sleep_for(300ms);
        if (request.path == "/throw") throw std::runtime_error("broken");
        HttpResponse response;
        response.body = request.method + " " + request.path + " " + request.body;
        if (request.path == "/text") response.body.assign(kTextBytes, 't');
        if (request.path == "/stream" || request.path == "/chunks" || request.path == "/fails") {
            response.length = request.path == "/chunks" ? HttpResponse::kUnknownLength : kFileBytes;
            response.stream = [this, fails = request.path == "/fails"](std::uint64_t offset, char* buffer,
                                                                       std::size_t size) {
                ++stream_reads_;
                if (fails && offset > 0) return std::ptrdiff_t{-1};
                const std::size_t count = std::min<std::uint64_t>({size, kFileBytes - offset, 10'007});
                for (std::size_t i = 0; i < count; ++i) buffer[i] = ByteAt(offset + i);
                return static_cast<std::ptrdiff_t>(count);
            };
        }
        return response;
    }
    static HttpResponse LargeFile() {
        HttpResponse response;
        response.file = UniqueFd(memfd_create("large", MFD_CLOEXEC));
        EXPECT_EQ(ftruncate(response.file.get(), static_cast<off_t>(kLargeBytes)), 0);
        response.length = kLargeBytes;
        return response;
    }
    int Status(std::string_view request) { return RawStatus(server_->Port(), request); }

    HttpLimits limits_;
    TempDir dir_;
    std::string file_, whole_;  // the file, and what is in it
    std::atomic<int> handled_{0}, stream_reads_{0};
    std::unique_ptr<HttpServer> server_;
};

std::string Get(std::string_view path, std::string_view fields = {}, std::string_view method = "GET") {
    return std::string(method) + " " + std::string(path) + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + std::string(fields) +
           "\r\n";
}

TEST_F(HttpServerTest, RefusesBeforeTheHandler) {
    Start();
    struct Case {
        const char* why;
        std::string request;
        int status;
    };
    const std::string body(20481, 'x');
    const Case cases[] = {
        {"no Host", "GET / HTTP/1.1\r\n\r\n", 400},
        {"two Hosts", "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nHost: 127.0.0.1\r\n\r\n", 400},
        {"a name that was pointed at this machine", "GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n", 400},
        {"traversal", Get("/a/%2e%2e/b"), 400},
        {"a method of HTTP that is not for us", Get("/", "", "DELETE"), 405},
        {"a word that is no method", Get("/", "", "BREW"), 501},
        {"field too long", Get("/", "X: " + std::string(17000, 'x') + "\r\n"), 431},
        {"too many fields",
         [] {
             std::string fields;
             for (int i = 0; i < 2000; ++i) fields += "X" + std::to_string(i) + ": " + std::string(10, 'x') + "\r\n";
             return Get("/", fields);
         }(),
         431},
        {"body one byte too long", Get("/", "Content-Length: 20481\r\n", "POST") + body, 413},
        {"chunks beyond the limit",
         Get("/", "Transfer-Encoding: chunked\r\n", "POST") + "2800\r\n" + body.substr(0, 0x2800) + "\r\n2801\r\n" +
             body.substr(0, 0x2801) + "\r\n0\r\n\r\n",
         413},
        {"a length that is never meant to be sent", Get("/", "Content-Length: 99999999999\r\n", "POST"), 413},
        {"length and chunks", Get("/", "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n", "POST") + "0\r\n\r\n",
         400},
        {"two lengths", Get("/", "Content-Length: 1\r\nContent-Length: 2\r\n", "POST") + "xx", 400},
        {"unknown transfer coding", Get("/", "Transfer-Encoding: gzip\r\n", "POST"), 501},
    };
    for (const Case& c : cases) EXPECT_EQ(Status(c.request), c.status) << c.why;
    EXPECT_EQ(handled_, 0);
    EXPECT_EQ(Status(Get("/")), 200) << "the server lives on";
}

TEST_F(HttpServerTest, AnswersOnOneConnection) {
    Start();
    RawClient client(server_->Port());
    std::string head, body;
    client.Send(Get("/a%20b", "Content-Length: 3\r\nExpect: 100-continue\r\n", "POST") + "one");
    EXPECT_EQ(client.Receive(head, body), 200);
    EXPECT_EQ(body, "POST /a b one");
    EXPECT_EQ(RawClient::HeaderOf(head, "Server"), "test/1");
    EXPECT_NE(RawClient::HeaderOf(head, "Date"), "");
    client.Send(Get("/c", "Transfer-Encoding: chunked\r\n", "POST") + "2\r\ntw\r\n1\r\no\r\n0\r\n\r\n" +
                Get("/pipelined"));
    EXPECT_EQ(client.Receive(head, body), 200);
    EXPECT_EQ(body, "POST /c two");
    EXPECT_EQ(client.Receive(head, body), 200);
    EXPECT_EQ(body, "GET /pipelined ");
    client.Send(Get("/throw"));
    EXPECT_EQ(client.Receive(head, body), 500);
    client.Send("GET /old HTTP/1.0\r\n\r\n");
    EXPECT_EQ(client.Receive(head, body), 200);
    EXPECT_TRUE(client.ClosedWithin(1s)) << "HTTP/1.0 without keep-alive";
}

TEST_F(HttpServerTest, StreamsAndFiles) {
    Start();
    std::string head, body;
    for (const char* path : {"/stream", "/chunks", "/file"}) {
        SCOPED_TRACE(path);
        RawClient asking(server_->Port());
        const int reads = stream_reads_;
        asking.Send(Get(path, "", "HEAD"));
        EXPECT_EQ(asking.Receive(head, body, false), 200);
        EXPECT_TRUE(asking.ClosedWithin(500ms) || path != std::string_view("/chunks"));
        EXPECT_EQ(asking.Pending(), "") << "HEAD has no body";
        EXPECT_EQ(stream_reads_, reads) << "HEAD reads nothing";
    }
    RawClient client(server_->Port());
    for (const char* path : {"/stream", "/chunks", "/file"}) {
        SCOPED_TRACE(path);
        client.Send(Get(path));
        EXPECT_EQ(client.Receive(head, body), 200);
        EXPECT_TRUE(body == whole_);
    }
    std::string joined;
    for (const char* range : {"bytes=0-999999", "bytes=1000000-2999998", "bytes=-1"}) {
        client.Send(Get("/file", "Range: " + std::string(range) + "\r\n"));
        EXPECT_EQ(client.Receive(head, body), 206);
        joined += body;
    }
    EXPECT_TRUE(joined == whole_);
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Range"), "bytes 2999999-2999999/3000000");

    client.Send(Get("/fails"));
    EXPECT_EQ(client.Receive(head, body), 0) << "a stream that fails ends short, not padded";
    EXPECT_TRUE(client.ClosedWithin(1s));
}

TEST_F(HttpServerTest, FileConditions) {
    Start();
    RawClient client(server_->Port());
    std::string head, body;
    client.Send(Get("/file"));
    ASSERT_EQ(client.Receive(head, body), 200);
    const std::string etag = RawClient::HeaderOf(head, "ETag"), date = RawClient::HeaderOf(head, "Last-Modified");
    const std::string part = "Range: bytes=1-2\r\n";
    struct Case {
        const char *why, *path;
        std::string fields;
        int status;
        const char *header, *value;  // a header of the answer
    };
    const Case cases[] = {
        {"the same copy", "/file", "If-None-Match: \"x\", " + etag + "\r\n", 304, "ETag", etag.c_str()},
        {"another copy", "/file", "If-None-Match: \"x\"\r\nIf-Modified-Since: " + date + "\r\n", 200, "ETag",
         etag.c_str()},
        {"not newer", "/file", "If-Modified-Since: " + date + "\r\n", 304, "Content-Length", "3000000"},
        {"newer", "/file", "If-Modified-Since: Thu, 01 Jan 1998 00:00:00 GMT\r\n", 200, "Accept-Ranges", "bytes"},
        {"no date", "/file", "If-Modified-Since: yesterday\r\n", 200, "Content-Length", "3000000"},
        {"the part of the same copy", "/file", part + "If-Range: " + etag + "\r\n", 206, "Content-Length", "2"},
        {"the same by date", "/file", part + "If-Range: " + date + "\r\n", 206, "Content-Range", "bytes 1-2/3000000"},
        {"the part of another copy", "/file", part + "If-Range: \"x\"\r\n", 200, "Content-Range", ""},
        {"past the end", "/file", "Range: bytes=3000000-\r\n", 416, "Content-Range", "bytes */3000000"},
        {"syntax that is not ours", "/file", "Range: bytes=2-1\r\n", 200, "Content-Length", "3000000"},
        {"mode echoed", "/file", "transferMode.dlna.org: Streaming\r\n", 200, "transferMode.dlna.org", "Streaming"},
        {"music is not an image", "/file", "transferMode.dlna.org: Interactive\r\n", 406, "ETag", ""},
        {"an image is no stream", "/image", "transferMode.dlna.org: Streaming\r\n", 406, "ETag", ""},
        {"no mode at all", "/file", "transferMode.dlna.org: Sideways\r\n", 400, "ETag", ""},
        {"features", "/file", "getcontentFeatures.dlna.org: 1\r\n", 200, "contentFeatures.dlna.org", "DLNA.ORG_OP=01"},
        {"features not asked for", "/file", "", 200, "contentFeatures.dlna.org", ""},
        {"features asked for wrongly", "/file", "getcontentFeatures.dlna.org: 0\r\n", 400, "ETag", ""},
        {"a description is fetched as if it were music", "/description",
         "transferMode.dlna.org: Streaming\r\ngetcontentFeatures.dlna.org: 0\r\n", 200, "transferMode.dlna.org", ""},
        {"music that is called an application", "/ogg", "transferMode.dlna.org: Streaming\r\n", 200,
         "transferMode.dlna.org", "Streaming"},
        {"not there", "/missing", "", 404, "ETag", ""},
        {"no regular file", "/folder", "", 404, "ETag", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        client.Send(Get(c.path, c.fields));
        EXPECT_EQ(client.Receive(head, body), c.status);
        EXPECT_EQ(RawClient::HeaderOf(head, c.header), c.value);
    }
}

TEST_F(HttpServerTest, KeepAliveEndsByItself) {
    Start();
    RawClient idle(server_->Port()), dripping(server_->Port());
    for (RawClient* client : {&idle, &dripping}) {
        client->Send(Get("/"));
        ASSERT_EQ(client->Receive(), 200);
    }
    const auto started = Clock::now();
    std::string next = Get("/");
    std::size_t sent = 0;
    while (Clock::now() - started < 8s && !dripping.ClosedWithin(250ms)) dripping.Send(next.substr(sent++, 1));
    EXPECT_LT(Clock::now() - started, 5s);
    EXPECT_TRUE(idle.ClosedWithin(3s));
}

TEST_F(HttpServerTest, APausedPlayerKeepsItsConnection) {
    limits_.idle_timeout = 1s;
    limits_.stall_timeout = 30s;
    Start();
    RawClient player(server_->Port());
    std::string head, body;
    // More than the sockets' buffers hold, so that the server has to wait for the player.
    player.Send(Get("/large"));
    std::this_thread::sleep_for(3s);
    EXPECT_EQ(player.Receive(head, body), 200);
    EXPECT_EQ(body.size(), kLargeBytes);
    player.Send(Get("/"));
    EXPECT_EQ(player.Receive(head, body), 200);
    EXPECT_TRUE(player.ClosedWithin(3s)) << "the pause was for the file alone";
}

TEST_F(HttpServerTest, SignalsDoNotHoldUpAFile) {
    Start();
    std::signal(SIGUSR1, [](int) {});
    std::atomic<bool> done{false};
    std::thread disturber([&done, end = Clock::now() + 10s] {
        while (!done && Clock::now() < end) {
            for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
                syscall(SYS_tgkill, getpid(), std::stoi(thread.path().filename()), SIGUSR1);
            std::this_thread::sleep_for(1ms);
        }
    });
    for (int i = 0; i < 8; ++i) EXPECT_EQ(Status(Get("/large")), 200);
    done = true;
    disturber.join();
}

TEST_F(HttpServerTest, AnswersThatNobodyReadsAreBounded) {
    constexpr std::size_t kMost = 3;  // of the answers fit
    limits_.text_bytes = kMost * kTextBytes;
    limits_.idle_timeout = 30s;
    Start();
    std::vector<std::unique_ptr<RawClient>> deaf;
    for (std::size_t i = 0; i < kMost + 2; ++i) {
        deaf.push_back(std::make_unique<RawClient>(server_->Port()));
        deaf.back()->Send(Get("/text"));
        std::this_thread::sleep_for(200ms);  // one after the other
    }
    std::string head, body;
    for (std::size_t i = 0; i < deaf.size(); ++i) {
        const int expected = i < 2 ? 0 : 200;
        EXPECT_EQ(deaf[i]->Receive(head, body), expected) << i << ": those that did not read for the longest time end";
    }
    EXPECT_EQ(Status(Get("/text")), 200);
}

TEST_F(HttpServerTest, MoreWorkThanTheQueueTakes) {
    limits_.queued_requests = 1;
    Start();
    std::vector<std::future<int>> answers;
    for (int i = 0; i < 12; ++i)
        answers.push_back(std::async(std::launch::async, [this] { return Status(Get("/wait")); }));
    int refused = 0, served = 0;
    for (auto& answer : answers) {
        const int status = answer.get();
        (status == 503 ? refused : served) += 1;
        EXPECT_TRUE(status == 503 || status == 200) << status;
    }
    EXPECT_GT(refused, 0);
    EXPECT_GE(served, 3) << "two workers and one that waits";
}

TEST_F(HttpServerTest, QuickAnswersDoNotWaitForWorkers) {
    limits_.workers = 1;
    Start();
    auto slow = std::async(std::launch::async, [this] { return Status(Get("/wait")); });
    while (handled_ == 0) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(Status(Get("/file", "Range: bytes=0-1\r\n")), 206);
    EXPECT_EQ(slow.wait_for(0s), std::future_status::timeout) << "the file waited for the worker";
    EXPECT_EQ(slow.get(), 200);
}

TEST_F(HttpServerTest, OneAddressHasSoManyConnections) {
    limits_.connections_per_address = 2;
    Start();
    const auto is_served = [](RawClient& client) {
        return client.Send(Get("/file", "Range: bytes=0-1\r\n")) && client.Receive() == 206;
    };
    RawClient first(server_->Port());
    EXPECT_TRUE(is_served(first));
    {
        RawClient second(server_->Port());
        EXPECT_TRUE(is_served(second));
        RawClient third(server_->Port()), other(server_->Port(), "127.0.0.2");
        EXPECT_FALSE(is_served(third));
        EXPECT_TRUE(is_served(other));
    }
    const auto end = Clock::now() + 5s;
    bool served = false;
    while (!served && Clock::now() < end) {
        RawClient next(server_->Port());
        served = is_served(next);
    }
    EXPECT_TRUE(served) << "the place of who has gone stays taken";
    EXPECT_TRUE(is_served(first));
}

TEST_F(HttpServerTest, StopsUnderLoad) {
    limits_.workers = 4;
    limits_.queued_requests = 64;
    Start();
    std::atomic<bool> done{false};
    std::vector<std::thread> clients;
    for (int i = 0; i < 8; ++i)
        clients.emplace_back([this, i, &done] {
            constexpr const char* kPaths[] = {"/wait", "/stream", "/file", "/chunks"};
            while (!done) {
                RawClient client(server_->Port());
                if (!client.Connected()) return;
                client.Send(Get(kPaths[i % 4]));
                client.Receive();
            }
        });
    // One that never reads its answer must not hold the stop up either.
    RawClient deaf(server_->Port());
    deaf.Send(Get("/file"));
    std::this_thread::sleep_for(500ms);
    const auto begun = Clock::now();
    server_->Stop();
    EXPECT_LT(Clock::now() - begun, 1500ms);
    done = true;
    for (std::thread& client : clients) client.join();
    EXPECT_FALSE(RawClient(server_->Port()).Connected());
}

TEST_F(HttpServerTest, TellsWhyItCannotListen) {
    Start();
    HttpServer::Config config = OnLoopback();
    config.port = server_->Port();
    EXPECT_EQ(HttpServer(config, {}).Start(), EADDRINUSE);
    config.address = "203.0.113.1";
    EXPECT_EQ(HttpServer(config, {}).Start(), EADDRNOTAVAIL);
}

}  // namespace
}  // namespace MediaServer
