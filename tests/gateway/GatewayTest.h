#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "gateway/Gateway.h"
#include "platform/database/TestDatabase.h"
#include "platform/http/RawClient.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {

struct Answer {
    int status = 0;
    std::string head, body;
    std::string Header(std::string_view name) const { return RawClient::HeaderOf("\r\n" + head, name); }
};

/// The gateway on a loopback port over a library that each test fills.
class GatewayTest : public DatabaseTest {
protected:
    GatewayTest() : gateway_(mime, kMediaPort), server_(Config(), [this](auto& r) { return gateway_.Handle(r); }) {
        mime.AddPairs("mp3 audio/mpeg jpg image/jpeg mkv video/x-matroska m2ts video/mpeg srt text/srt gif image/gif");
        EXPECT_EQ(server_.Start(), 0);
    }

    /// @param headers  whole lines, each with its line end.
    Answer Ask(std::string_view path, std::string_view headers = {}, std::string_view method = "GET") {
        RawClient client(server_.Port());
        client.Send(std::string(method) + " " + std::string(path) + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" +
                    std::string(headers) + "\r\n");
        Answer answer;
        answer.status = client.Receive(answer.head, answer.body, method != "HEAD");
        return answer;
    }
    std::string Add(const char* table, const std::string& path) {
        return std::to_string(database.Insert(table, "path", "'" + path + "'"));
    }
    /// Runs ffmpeg; its last argument is a file of the media folder. @return that file's path.
    std::string Make(const std::string& arguments, const char* name) {
        const std::string path = media / name;
        const std::string command =
            "cd " + media.Path() + " && ffmpeg -loglevel error -nostdin -y " + arguments + " " + path;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return path;
    }
    std::uint16_t Port() const { return server_.Port(); }

    TempDir media;
    MimeTable mime;

private:
    static HttpServer::Config Config() {
        HttpServer::Config config;
        config.address = "127.0.0.1";
        // What ends a connection that cannot go on.
        config.limits.idle_timeout = std::chrono::seconds(2);
        return config;
    }
    Gateway gateway_;
    HttpServer server_;
};

}  // namespace MediaServer
