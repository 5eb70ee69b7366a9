#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/http/RawClient.h"
#include "platform/upnp/DeviceDescription.h"
#include "platform/upnp/GenaRequest.h"
#include "platform/upnp/LoopbackRelay.h"
#include "platform/upnp/PrivateListener.h"
#include "platform/upnp/SoapMessage.h"
#include "platform/upnp/UpnpLibrary.h"
#include "platform/upnp/UpnpLimits.h"
#include "platform/xml/XmlReader.h"

namespace MediaServer {
namespace {

TEST(Callback, OnlyToTheSubscriberOrItsNetwork) {
    struct Case {
        const char* why;
        std::string header;
        const char* checked;  // null: refused
    };
    const Case cases[] = {
        {"its own address", "<http://192.168.1.20:49152/evt?a=1#b>", "<http://192.168.1.20:49152/evt?a=1#b>"},
        {"scheme in capitals, port 80 when none is named", "<HTTP://192.168.1.20/>", "<http://192.168.1.20:80/>"},
        {"a neighbour, and two URLs", " <http://192.168.1.9:1/a> <http://192.168.1.20:2/b> ",
         "<http://192.168.1.9:1/a><http://192.168.1.20:2/b>"},
        {"no path", "<http://192.168.1.20:80>", nullptr},
        {"another network", "<http://192.168.2.20/>", nullptr},
        {"one good, one foreign", "<http://192.168.1.20/a><http://8.8.8.8/b>", nullptr},
        {"a second URL within the path", "<http://192.168.1.20/a<http://8.8.8.8/b>", nullptr},
        {"everybody in the network", "<http://192.168.1.255/>", nullptr},
        {"the network itself", "<http://192.168.1.0/>", nullptr},
        {"a name may mean anything", "<http://printer.example/>", nullptr},
        {"number that the resolver would take", "<http://3232235796/>", nullptr},
        {"user part before the host", "<http://192.168.1.20@8.8.8.8/>", nullptr},
        {"another scheme", "<https://192.168.1.20/>", nullptr},
        {"port 0", "<http://192.168.1.20:0/>", nullptr},
        {"port beyond 16 bits", "<http://192.168.1.20:65536/>", nullptr},
        {"port that is no number", "<http://192.168.1.20:8a/>", nullptr},
        {"line break smuggled into the relay", "<http://192.168.1.20/\r\nX: y>", nullptr},
        {"blank in the path", "<http://192.168.1.20/a b>", nullptr},
        {"no brackets", "http://192.168.1.20/", nullptr},
        {"never closed", "<http://192.168.1.20/", nullptr},
        {"empty", "", nullptr},
        {"more URLs than anyone needs", "<http://192.168.1.20/><http://192.168.1.20/><http://192.168.1.20/>", nullptr},
        {"longer than the library's buffers", "<http://192.168.1.20/" + std::string(1024, 'a') + ">", nullptr},
    };
    const Subnet subnet{0xc0a80105, 0xffffff00};  // 192.168.1.5/24
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const auto checked = CheckCallback(c.header, "192.168.1.20", subnet);
        EXPECT_EQ(checked.value_or("refused"), c.checked ? c.checked : "refused");
    }
    EXPECT_TRUE(CheckCallback("<http://10.0.0.7/x>", "10.0.0.7", subnet)) << "a subscriber behind a router";
}

TEST(Subscription, TimeIsFinite) {
    struct Case {
        std::string_view header;
        int seconds;
    };
    constexpr Case kCases[] = {
        {"Second-300", 300},       {"second-1", 60}, {"Second-99999", 1800}, {"infinite", 1800},
        {"Second-infinite", 1800}, {"", 1800},       {"Second--5", 1800},    {"Second-99999999999999999999", 1800},
        {"Second-300x", 1800}};
    for (const Case& c : kCases) EXPECT_EQ(SubscriptionSeconds(c.header), c.seconds) << c.header;
}

TEST(Description, ServicesOfNestedDevices) {
    constexpr std::string_view kDocument = R"(<root><device><UDN> uuid:outer </UDN><serviceList>
        <service><serviceType>t1</serviceType><serviceId>i1</serviceId><controlURL>control/1</controlURL>
          <eventSubURL>/event/1?x</eventSubURL></service></serviceList>
        <deviceList><device><serviceList><service><serviceType>t2</serviceType><serviceId>i2</serviceId>
          <controlURL>http://10.0.0.1:80/c2</controlURL><eventSubURL/></service></serviceList>
          <UDN>uuid:inner</UDN></device></deviceList></device></root>)";
    const auto services = ReadServices(kDocument, "/desc/device.xml");
    ASSERT_TRUE(services);
    ASSERT_EQ(services->size(), 2u);
    const ServiceDescription &outer = services->at(0), &inner = services->at(1);
    EXPECT_EQ(outer.udn + " " + outer.type + " " + outer.id, "uuid:outer t1 i1");
    EXPECT_EQ(outer.control_path + " " + outer.event_path, "/desc/control/1 /event/1");
    EXPECT_EQ(inner.udn + " " + inner.control_path + " " + inner.event_path, "uuid:inner /c2 ");

    EXPECT_FALSE(ReadServices("<root><device><serviceList/></device></root>", "/")) << "no UDN";
    EXPECT_FALSE(ReadServices("<root><device><UDN>u</UDN></device>", "/")) << "not closed";
}

TEST(Description, NamesOfARenderer) {
    const std::vector<std::string> wanted{"friendlyName", "modelName", "manufacturer", "modelDescription"};
    const auto names = ReadDeviceNames(
        "<root><device><friendlyName>TV &amp; "
        "<![CDATA[<sofa>]]></friendlyName><modelName/><manufacturer>M</manufacturer>"
        "<UDN>u</UDN><deviceList><device><friendlyName>inner</friendlyName></device></deviceList></device></root>",
        wanted);
    ASSERT_TRUE(names);
    EXPECT_THAT(*names, ::testing::ElementsAre(::testing::Pair("friendlyName", "TV & <sofa>"),
                                               ::testing::Pair("manufacturer", "M")));
    EXPECT_FALSE(ReadDeviceNames("<!DOCTYPE r [<!ENTITY e \"x\">]><r><modelName>&e;</modelName></r>", wanted));
    EXPECT_FALSE(ReadDeviceNames("<r><modelName>x</modelName>", wanted));
    EXPECT_FALSE(ReadDeviceNames(std::string(UpnpLimits::kDescriptionBytes + 1, ' ') + "<r/>", wanted));
}

TEST(Xml, Bounds) {
    const auto all = [](const XmlEvent&) { return true; };
    const auto nested = [](int depth) {
        std::string text;
        for (int i = 0; i < depth; ++i) text += "<a>";
        for (int i = 0; i < depth; ++i) text += "</a>";
        return text;
    };
    EXPECT_TRUE(ReadXml(nested(kMostXmlDepth), {100}, all));
    EXPECT_FALSE(ReadXml(nested(kMostXmlDepth + 1), {100}, all));
    EXPECT_TRUE(ReadXml("<a><b/><c/></a>", {3}, all));
    EXPECT_FALSE(ReadXml("<a><b/><c/></a>", {2}, all));
    EXPECT_FALSE(ReadXml("<a/><b/>", {100}, all)) << "two roots";
}

TEST(Soap, ActionHeader) {
    const SoapRequest request{"urn:x:service:Y:1", "Browse", {}};
    EXPECT_TRUE(SoapActionMatches("\"urn:x:service:Y:1#Browse\"", request));
    EXPECT_TRUE(SoapActionMatches("urn:x:service:Y:1#Browse", request)) << "some leave the quotes out";
    for (const char* other : {"", "\"", "\"urn:x:service:Y:1#Search\"", "\"urn:x:service:Y:2#Browse\"", "Browse",
                              "\"urn:x:service:Y:1#Browse"})
        EXPECT_FALSE(SoapActionMatches(other, request)) << other;
}

TEST(PrivateListener, SocketTables) {
    // As the kernel prints them: 0.0.0.0, 127.0.0.1, an established one, [::], [::1], ::ffff:127.0.0.1,
    // ::ffff:10.0.0.1.
    constexpr std::string_view kTable =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
        "   0: 00000000:C351 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 11 1 0 100\n"
        "   1: 0100007F:9311 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 12 1 0 100\n"
        "   2: 0100007F:9311 0100007F:8FFA 01 00000000:00000000 00:00000000 00000000     0        0 13 1 0 100\n"
        "   0: 00000000000000000000000000000000:C351 0:0000 0A 0:0 00:0 0     0        0 14 1 0 100\n"
        "   1: 00000000000000000000000001000000:831F 0:0000 0A 0:0 00:0 0     0        0 15 1 0 100\n"
        "   2: 0000000000000000FFFF00000100007F:831F 0:0000 0A 0:0 00:0 0     0        0 16 1 0 100\n"
        "   3: 0000000000000000FFFF00000100000A:831F 0:0000 0A 0:0 00:0 0     0        0 17 1 0 100\n";
    std::string found;
    for (const ListeningSocket& socket : ParseSocketTable(kTable))
        found += std::to_string(socket.inode) + (socket.is_loopback ? "+ " : "- ");
    EXPECT_EQ(found, "11- 12+ 14- 15+ 16+ 17- ");
}

TEST(PrivateListener, KeepsListenersOffTheNetwork) {
    const std::set<std::uint64_t> before = OwnSockets();
    const auto listens_on_loopback_only = [&] {
        std::set<std::uint64_t> sockets = OwnSockets();
        std::erase_if(sockets, [&](std::uint64_t inode) { return before.count(inode) > 0; });
        return ListensOnLoopbackOnly(sockets);
    };
    HttpServer::Config config;
    config.address = "0.0.0.0";
    config.port = 50001;
    const auto answer = [](const HttpRequest&) { return HttpResponse(); };
    EXPECT_FALSE(listens_on_loopback_only()) << "nothing listens: nothing is proven";

    HttpServer redirected(config, answer);
    {
        const LoopbackBinding binding({});
        ASSERT_EQ(redirected.Start(), 0);
    }
    EXPECT_NE(redirected.Port(), config.port);
    EXPECT_TRUE(listens_on_loopback_only());

    config.port = 0;
    HttpServer open(config, answer);
    ASSERT_EQ(open.Start(), 0);
    EXPECT_FALSE(listens_on_loopback_only());
}

TEST(Relay, AnswerHead) {
    const RelayAnswer answer =
        ParseAnswerHead("HTTP/1.1 200 OK\r\nSID: uuid:1\r\nTIMEOUT:Second-300 \r\nEmpty:\r\n\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.headers,
                ::testing::ElementsAre(::testing::Pair("sid", "uuid:1"), ::testing::Pair("timeout", "Second-300")));
    for (const char* broken : {"", "HTTP/1.1 200 OK\r\n", "nonsense\r\n\r\n", "HTTP/1.1\r\n\r\n"})
        EXPECT_EQ(ParseAnswerHead(broken).status, 0) << broken;
}

/// A renderer that serves its description well or badly.
TEST(DescriptionDownload, TakesOnlyWhatIsBoundedAndFromTheSender) {
    HttpServer renderer(OnLoopback(), [](const HttpRequest& request) {
        HttpResponse response;
        response.body = "<root><modelName>R</modelName></root>";
        if (request.path == "/large") response.body.insert(6, UpnpLimits::kDescriptionBytes, ' ');
        if (request.path == "/moved") {
            response.status = 302;
            response.headers.emplace_back("Location", "/good");
        }
        if (request.path == "/gone") response.status = 404;
        return response;
    });
    ASSERT_EQ(renderer.Start(), 0);
    const std::string base = "http://127.0.0.1:" + std::to_string(renderer.Port());
    const std::vector<std::string> wanted{"modelName"};
    const auto names = UpnpDownloadXmlDoc(base + "/good", "127.0.0.1", {}, wanted);
    ASSERT_TRUE(names);
    EXPECT_EQ(names->at("modelName"), "R");
    for (const char* path : {"/large", "/moved", "/gone"})
        EXPECT_FALSE(UpnpDownloadXmlDoc(base + path, "127.0.0.1", {}, wanted)) << path;
    const Subnet loopback{0x7f000001, 0xff000000}, other{0x0a000001, 0xffffff00};
    EXPECT_TRUE(UpnpDownloadXmlDoc(base + "/good", "127.0.0.2", {other, loopback}, wanted)) << "a neighbour";
    EXPECT_FALSE(UpnpDownloadXmlDoc(base + "/good", "127.0.0.2", {other}, wanted)) << "announced by somebody else";
    const std::string name = "http://localhost:" + std::to_string(renderer.Port()) + "/good";
    EXPECT_FALSE(UpnpDownloadXmlDoc(name, "127.0.0.1", {loopback}, wanted)) << "names may lead anywhere";
    EXPECT_FALSE(UpnpDownloadXmlDoc("file:///etc/hostname", "", {}, wanted));
    EXPECT_FALSE(UpnpDownloadXmlDoc("not a url", "127.0.0.1", {}, wanted));
}

}  // namespace
}  // namespace MediaServer
