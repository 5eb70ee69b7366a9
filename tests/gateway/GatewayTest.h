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

/// Size and kind by the frame header of a JPEG (ITU-T T.81, B.2.2).
struct JpegFacts {
    int width = 0, height = 0, components = 0;
    bool baseline = false;
};
inline JpegFacts FactsOf(std::string_view jpeg) {
    const auto byte = [&](std::size_t at) { return at < jpeg.size() ? static_cast<unsigned char>(jpeg[at]) : 0; };
    for (std::size_t at = 2; at + 9 < jpeg.size() && byte(at) == 0xFF; at += 2U + byte(at + 2) * 256U + byte(at + 3)) {
        const int marker = byte(at + 1);
        if (marker < 0xC0 || marker > 0xC2) continue;
        return {byte(at + 7) * 256 + byte(at + 8), byte(at + 5) * 256 + byte(at + 6), byte(at + 9), marker == 0xC0};
    }
    return {};
}

/// Arguments for a picture of that size.
inline std::string Picture(const char* size) {
    return std::string("-f lavfi -i testsrc=size=") + size + " -frames:v 1";
}

struct Answer {
    int status = 0;
    std::string head, body;
    std::string Header(std::string_view name) const { return RawClient::HeaderOf("\r\n" + head, name); }
};

/// The gateway on a loopback port over a library that each test fills.
class GatewayTest : public DatabaseTest {
protected:
    GatewayTest()
        : gateway_(mime, kMediaPort, kWorkers, settings),
          server_(Config(), [this](auto& r) { return gateway_.Handle(r); }) {
        mime.AddPairs(
            "mp3 audio/mpeg jpg image/jpeg mkv video/x-matroska m2ts video/mpeg srt text/srt smi application/smil gif "
            "image/gif");
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
    ServiceOptions settings{media / "dmsinfo.conf"};

    static constexpr std::uint32_t kWorkers = 16;

private:
    static HttpServer::Config Config() {
        HttpServer::Config config = OnLoopback();
        config.limits.workers = kWorkers;
        return config;
    }
    Gateway gateway_;
    HttpServer server_;
};

}  // namespace MediaServer
