#include <list>
#include <thread>

#include "WebTest.h"
#include "platform/http/RawClient.h"

namespace MediaServer {
namespace {

/// The virtual directories behind the real library, asked over a socket.
class OverTheWireTest : public WebTest {
protected:
    void SetUp() override {
        ASSERT_EQ(library.UpnpInit(kHere, 0), UPNP_E_SUCCESS);
        ASSERT_EQ(dirs->RegisterVirtualDirs(library), 1);
    }
    void TearDown() override { library.UpnpFinish(); }

    int Ask(const std::string& request, const std::string& more_headers = "") {
        RawClient client(library.UpnpGetServerPort());
        client.Send(request + " HTTP/1.1\r\nHost: 127.0.0.1\r\nUser-Agent: Mozilla\r\n" + more_headers + "\r\n");
        return client.Receive(head, body, !request.starts_with("HEAD"));
    }

    /// The server closes a handle some time after the client has read the last byte.
    bool NoPagesLeft() const {
        for (int i = 0; i < 500 && TemporaryPages() > 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return TemporaryPages() == 0;
    }

    UpnpLibrary library;
    std::string head, body;
};

TEST_F(OverTheWireTest, PagesAndMedia) {
    AddTrack(Write("media/a.mp3", "0123456789"), "T");
    database.Insert("photo", "path", "'" + Write("media/p.jpg", "photo") + "'");

    EXPECT_EQ(Ask("GET /cds/artists%241"), 200) << "browsers may encode the separator";
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Type"), "text/html");
    EXPECT_NE(RawClient::HeaderOf(head, "Last-Modified"), "");
    EXPECT_NE(body.find("Parent"), body.npos) << body;
    EXPECT_EQ(Ask("HEAD /cds/all"), 200);
    EXPECT_TRUE(NoPagesLeft()) << "a page lives no longer than its answer, a HEAD's too";

    EXPECT_EQ(Ask("GET /m/NDLNA/1.mp3", "Range: bytes=2-4\r\n"), 206);
    EXPECT_EQ(body, "234");
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Type"), "audio/mpeg");
    for (const char* name : {"/m/NDLNA/1.mp3", "/p/JPEG_LRG/1.jpg", "/desc/device.xml", "/tmp_icon/dmsicon48.jpg"}) {
        EXPECT_EQ(Ask(std::string("GET ") + name), 200) << name;
    }
    for (const char* name :
         {"/m/NDLNA/2.mp3", "/v/NDLNA/1.mp4", "/rh/NDLNA/1.mp4", "/sp/NDLNA/1.jpg", "/cds", "/cdsx"}) {
        EXPECT_EQ(Ask(std::string("GET ") + name), 404) << name;
    }
}

TEST_F(OverTheWireTest, WhoDoesNotReadItsPagesGetsNoMore) {
    // More than the buffers of a connection take.
    database.Execute(
        "INSERT INTO music (path, title) SELECT '/m/' || n, repeat('long title ', 90) FROM "
        "generate_series(1, 12000) n");
    std::list<RawClient> idle;
    for (std::size_t i = 0; i < PageTable::kMostOfAddress; ++i) {
        EXPECT_EQ(idle.emplace_back(library.UpnpGetServerPort()).Begin("/cds/all"), 200);
    }
    EXPECT_EQ(TemporaryPages(), PageTable::kMostOfAddress) << "under way, not yet closed";
    EXPECT_EQ(Ask("GET /cds/all"), 503);
    EXPECT_EQ(RawClient::HeaderOf(head, "Retry-After"), "1");
    EXPECT_EQ(Ask("GET /desc/device.xml"), 200);
    idle.clear();
    EXPECT_TRUE(NoPagesLeft()) << "a connection that ends takes its page along";
    EXPECT_EQ(Ask("GET /cds/"), 200);
}

}  // namespace
}  // namespace MediaServer
