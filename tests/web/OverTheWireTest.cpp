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

    UpnpLibrary library;
    std::string head, body;
};

TEST_F(OverTheWireTest, PagesAndMedia) {
    AddTrack(Write("media/a.mp3", "0123456789"), "T");
    database.Insert("photo", "path", "'" + Write("media/p.jpg", "photo") + "'");

    EXPECT_EQ(Ask("GET /cds/"), 200);
    EXPECT_NE(body.find("<a href=\"/cds/top\">Top &amp; more</li>"), body.npos) << body;
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Type"), "text/html");
    EXPECT_EQ(Ask("GET /cds/artists%241"), 200) << "browsers may encode the separator";
    EXPECT_NE(body.find("Parent"), body.npos) << body;
    EXPECT_EQ(Ask("HEAD /cds/all"), 200);
    EXPECT_EQ(Ask("GET /cds/%22%3E%3Cscript%3E"), 200);
    EXPECT_EQ(body.find("script"), body.npos);
    EXPECT_EQ(TemporaryPages(), 0U) << "a page lives no longer than its answer, a HEAD's too";

    EXPECT_EQ(Ask("GET /m/NDLNA/1.mp3", "Range: bytes=2-4\r\n"), 206);
    EXPECT_EQ(body, "234");
    EXPECT_EQ(RawClient::HeaderOf(head, "Content-Type"), "audio/mpeg");
    for (const char* name : {"/m/NDLNA/1.mp3", "/p/JPEG_LRG/1.jpg", "/desc/device.xml", "/tmp_icon/dmsicon48.jpg"}) {
        EXPECT_EQ(Ask(std::string("GET ") + name), 200) << name;
    }
    for (const char* name : {"/m/NDLNA/2.mp3", "/v/NDLNA/1.mp4", "/rh/NDLNA/1.mp4", "/sp/NDLNA/1.jpg", "/cds"}) {
        EXPECT_EQ(Ask(std::string("GET ") + name), 404) << name;
    }
}

}  // namespace
}  // namespace MediaServer
