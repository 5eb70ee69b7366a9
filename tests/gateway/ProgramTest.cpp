#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>

#include "gateway/GatewayTest.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;

/// The program as a child process; killed when the test ends.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), DMS_GATEWAY_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, DMS_GATEWAY_PROGRAM, nullptr, nullptr, argv.data(), environ) != 0) pid_ = -1;
    }
    ~Program() {
        if (pid_ > 0) kill(pid_, SIGKILL);
        if (pid_ > 0) waitpid(pid_, nullptr, 0);
    }
    void Terminate() const { kill(pid_, SIGTERM); }
    /// Exit status, -1 when it does not end in time or not by itself.
    int ExitWithin(std::chrono::milliseconds limit) {
        for (const auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(10ms);
        }
        return -1;
    }

private:
    pid_t pid_ = -1;
};

std::string FreePort() {
    HttpServer::Config config;
    config.address = "127.0.0.1";
    HttpServer server(config, [](const HttpRequest&) { return HttpResponse(); });
    server.Start();
    return std::to_string(server.Port());
}

bool AnswersWithin(const std::string& port, std::chrono::milliseconds limit) {
    for (const auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;) {
        RawClient client(static_cast<std::uint16_t>(std::stoi(port)));
        if (client.Connected()) return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

class ProgramTest : public DatabaseTest {
protected:
    ProgramTest() { std::filesystem::create_directories(root / "var/log"); }
    std::string Log() const { return ReadWholeFile(root / "var/log/dms-gateway.log", 1 << 20).value_or(""); }
    TempSysroot root;
};

TEST_F(ProgramTest, ListensWhereTheDaemonDoesAndStopsAtOnce) {
    const std::string port = FreePort();
    root.Write("var/run/dms.ip", "127.0.0.1\n");
    root.Write("usr/nimb/etc.defaults/mimetypes.txt", "mp3 audio/mpeg\n");
    root.Write("var/packages/MediaServer/etc/dmsinfo.conf",
               "cmzmimetype_mediaservice=yes\nmimetype_mediaservice=mp3=audio/x-own\n");
    const std::string song = root.Write("a.mp3", "bytes");
    database.Insert("music", "path", "'" + song + "'");
    Program program({"--port", port});
    ASSERT_TRUE(AnswersWithin(port, 5s));
    RawClient client(static_cast<std::uint16_t>(std::stoi(port)));
    client.Send("GET /m/NDLNA/1.mp3 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    std::string head, body;
    EXPECT_EQ(client.Receive(head, body), 200);
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Type"), "audio/x-own") << "the administrator's own list counts";
    program.Terminate();
    EXPECT_EQ(program.ExitWithin(1s), 0) << "though a connection is open";
}

TEST_F(ProgramTest, RefusesWhomTheOwnerRefuses) {
    const std::string song = root.Write("a.mp3", "bytes");
    database.Insert("music", "path", "'" + song + "'");
    root.Write("usr/nimb/etc.defaults/mimetypes.txt", "mp3 audio/mpeg\n");
    const auto ask = [](const std::string& port) {
        RawClient client(static_cast<std::uint16_t>(std::stoi(port)));
        client.Send("GET /m/NDLNA/1.mp3 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        std::string head, body;
        return client.Receive(head, body);
    };
    const auto set_access = [this](const char* access) {
        root.Write("var/packages/MediaServer/etc/client_list.json",
                   std::string(R"({"ClientList": {"00:00:00:00:00:01": {"isAccess": ")") + access + "\"}}}");
    };
    set_access("false");
    const std::string port = FreePort();
    Program program({"--port", port, "--address", "127.0.0.1"});
    ASSERT_TRUE(AnswersWithin(port, 5s));
    EXPECT_EQ(ask(port), 403);
    set_access("true");
    EXPECT_EQ(ask(port), 200) << "the file is read again when it has changed";

    root.Write("var/packages/MediaServer/etc/dmsinfo.conf", "disable_access_right_mediaservice=yes\n");
    set_access("false");
    const std::string other_port = FreePort();
    Program everybody({"--port", other_port, "--address", "127.0.0.1"});
    ASSERT_TRUE(AnswersWithin(other_port, 5s));
    EXPECT_EQ(ask(other_port), 200);
}

TEST_F(ProgramTest, SaysWhyItCannotStart) {
    EXPECT_EQ(Program({"--port", "1"}).ExitWithin(5s), 1);
    EXPECT_NE(Log().find("could not read the media server's address"), std::string::npos);

    HttpServer::Config config;
    config.address = "127.0.0.1";
    HttpServer other(config, [](const HttpRequest&) { return HttpResponse(); });
    ASSERT_EQ(other.Start(), 0);
    EXPECT_EQ(Program({"--address", "127.0.0.1", "--port", std::to_string(other.Port())}).ExitWithin(5s), 1);
    EXPECT_NE(Log().find("Address already in use"), std::string::npos);

    EXPECT_EQ(Program({"--port", "70000"}).ExitWithin(5s), 2);
    EXPECT_EQ(Program({"--no-such-option"}).ExitWithin(5s), 2);
}

}  // namespace
}  // namespace MediaServer
