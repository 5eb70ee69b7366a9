
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>
#include <upnptools.h>

#include "platform/http/HttpFile.h"
#include "platform/http/RawClient.h"
#include "platform/upnp/Ixml.h"
#include "platform/upnp/LoopbackRelay.h"
#include "platform/upnp/PrivateListener.h"
#include "platform/upnp/Subnet.h"
#include "platform/upnp/Subscriptions.h"
#include "platform/upnp/UpnpLibrary.h"
#include "platform/upnp/UpnpLimits.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;

constexpr const char* kUdn = "uuid:00000000-0000-0000-0000-000000000001";
constexpr const char* kType = "urn:schemas-upnp-org:service:ContentDirectory:1";
constexpr const char* kServiceId = "urn:upnp-org:serviceId:ContentDirectory";

std::string Description() {
    return std::string(
               "<?xml version=\"1.0\"?>\n<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><specVersion><major>1"
               "</major><minor>0</minor></specVersion><device><deviceType>urn:schemas-upnp-org:device:"
               "MediaServer:1</deviceType><friendlyName>test</friendlyName><manufacturer>m</manufacturer>"
               "<modelName>m</modelName><serviceList><service><serviceType>") +
           kType + "</serviceType><serviceId>" + kServiceId +
           "</serviceId><SCPDURL>/ContentDirectory.xml</SCPDURL><controlURL>/control/cd</controlURL>"
           "<eventSubURL>event/cd</eventSubURL></service></serviceList><UDN>" +
           kUdn + "</UDN></device></root>\n";
}

/// The real library on loopback, with a device whose callback answers by the action's name.
class UpnpLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        root_.Write("initall.xml", Description());
        for (const char* name : {"ContentDirectory.xml", "menu_simple.xml", ".hidden.xml", "agent.conf", "list.json",
                                 "device.xml", "dmsicon48.png", "sub/inner.xml"})
            root_.Write(name, std::string("content of ") + name);
        ASSERT_EQ(library_.UpnpInit("127.0.0.1", 0), UPNP_E_SUCCESS);
        port_ = library_.UpnpGetServerPort();
        ASSERT_EQ(library_.UpnpSetMaxContentLength(20480), UPNP_E_SUCCESS);
        ASSERT_EQ(library_.UpnpSetWebServerRootDir(root_.Path()), UPNP_E_SUCCESS);
        ASSERT_EQ(library_.UpnpRegisterRootDevice(Url("/initall.xml"), &OnEvent, this, &device_), UPNP_E_SUCCESS);
        ASSERT_EQ(library_.UpnpSetDescURL(device_, Url("/desc/device.xml")), UPNP_E_SUCCESS);
    }
    void TearDown() override { library_.UpnpFinish(); }

    std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(port_) + path; }

    static int OnEvent(Upnp_EventType type, const void* event, void* cookie) {
        auto& test = *static_cast<UpnpLibraryTest*>(cookie);
        if (type == UPNP_CONTROL_ACTION_REQUEST) test.OnAction(*static_cast<const ActionRequestEvent*>(event));
        if (type == UPNP_CONTROL_GET_VAR_REQUEST) OnQuery(static_cast<UpnpStateVarRequest*>(const_cast<void*>(event)));
        if (type == UPNP_EVENT_SUBSCRIPTION_REQUEST) {
            const auto* request = static_cast<const UpnpSubscriptionRequest*>(event);
            // Fails for one that comes while the library is being shut down.
            test.library_.UpnpAcceptSubscription(test.device_, UpnpSubscriptionRequest_get_UDN_cstr(request),
                                                 UpnpSubscriptionRequest_get_ServiceId_cstr(request),
                                                 {{"A", "1 < 2"}, {"SystemUpdateID", "1"}}, request);
        }
        return 0;
    }
    void OnAction(const ActionRequestEvent& event) {
        const std::string name = UpnpActionRequest_get_ActionName_cstr(event.request);
        EXPECT_STREQ(UpnpActionRequest_get_DevUDN_cstr(event.request), kUdn);
        EXPECT_STREQ(UpnpActionRequest_get_ServiceID_cstr(event.request), kServiceId);
        if (name == "Echo") {
            IXML_Document* result = nullptr;
            IXML_Document* document = UpnpActionRequest_get_ActionRequest(event.request);
            for (const char* argument : {"First", "Second"})
                UpnpAddToActionResponse(&result, name.c_str(), kType, argument,
                                        XMLGetFirstDocumentItem(document, argument).c_str());
            UpnpAddToActionResponse(&result, name.c_str(), kType, "Agent", event.headers.at("user-agent").c_str());
            UpnpAddToActionResponse(&result, name.c_str(), kType, "Address", event.client_address.c_str());
            UpnpActionRequest_set_ActionResult(event.request, result);
        } else if (name == "Fail") {
            UpnpActionRequest_set_ErrCode(event.request, 701);
            UpnpActionRequest_strcpy_ErrStr(event.request, "No <such> object");
        }
    }
    static void OnQuery(UpnpStateVarRequest* request) {
        if (std::string(UpnpStateVarRequest_get_StateVarName_cstr(request)) == "SystemUpdateID") {
            char* value = ixmlCloneDOMString("1");
            UpnpStateVarRequest_set_CurrentVal(request, value);
            ixmlFreeDOMString(value);
        } else {
            UpnpStateVarRequest_set_ErrCode(request, 404);
            UpnpStateVarRequest_strcpy_ErrStr(request, "Invalid Variable");
        }
    }

    int Exchange(const std::string& request, bool has_body = true) {
        RawClient client(port_);
        client.Send(request);
        return client.Receive(head_, body_, has_body);
    }
    int Post(const std::string& action, const std::string& inner, const std::string& header_type = kType) {
        const std::string body =
            "<?xml version=\"1.0\"?><s:Envelope "
            "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header><x>y</x>"
            "</s:Header><s:Body>" +
            inner + "</s:Body></s:Envelope>";
        return PostBody("\"" + header_type + "#" + action + "\"", body);
    }
    int PostBody(const std::string& soap_action, const std::string& body, const std::string& path = "/control/cd") {
        return Exchange("POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nUser-Agent: tv\r\nSOAPACTION: " +
                        soap_action + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    int Get(const std::string& path, const std::string& method = "GET") {
        return Exchange(method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n", method != "HEAD");
    }

    TempDir root_;
    std::string head_, body_;
    std::uint16_t port_ = 0;
    UpnpDevice_Handle device_ = -1;
    UpnpLibrary library_;
};

std::string Call(const std::string& action, const std::string& arguments = {}, const std::string& type = kType) {
    return "<u:" + action + " xmlns:u=\"" + type + "\">" + arguments + "</u:" + action + ">";
}

TEST_F(UpnpLibraryTest, Actions) {
    EXPECT_EQ(Post("Echo", Call("Echo", "<First>1 &lt; 2</First><Second><![CDATA[a&b]]> ü</Second>")), 200);
    EXPECT_EQ(
        body_,
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\""
        " s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body><u:EchoResponse xmlns:u=\"" +
            std::string(kType) +
            "\"><First>1 &lt; 2</First><Second>a&amp;b ü</Second><Agent>tv</Agent><Address>127.0.0.1</Address>"
            "</u:EchoResponse></s:Body></s:Envelope>\n");
    EXPECT_EQ(RawClient::HeaderOf(head_, "Content-Type"), "text/xml; charset=\"utf-8\"");
    EXPECT_NE(head_.find("\r\nEXT:"), std::string::npos) << head_;

    struct Case {
        const char* why;
        int status;
        int code;  // of the fault, 0 for none
        std::string action, inner, header_type;
    };
    const std::string control = "urn:schemas-upnp-org:control-1-0";
    const auto query = [&](const std::string& name) {
        return Call("QueryStateVariable", "<u:varName>" + name + "</u:varName>", control);
    };
    std::string many;
    for (int i = 0; i < 65; ++i) many += "<A>1</A>";
    const Case cases[] = {
        {"the callback's own error", 500, 701, "Fail", Call("Fail"), kType},
        {"neither result nor error", 500, 501, "Refused", Call("Refused"), kType},
        {"header and body disagree", 500, 401, "Fail", Call("Echo"), kType},
        {"another service's type", 500, 401, "Echo", Call("Echo", "", "urn:x:service:Y:1"), "urn:x:service:Y:1"},
        {"unknown variable", 500, 404, "QueryStateVariable", query("Nothing"), control},
        {"query without a name", 500, 402, "QueryStateVariable", Call("QueryStateVariable", "", control), control},
        {"arguments that hold elements", 400, 0, "Echo", Call("Echo", "<First><b/></First>"), kType},
        {"two actions", 400, 0, "Echo", Call("Echo") + Call("Echo"), kType},
        {"no action", 400, 0, "Echo", "", kType},
        {"more arguments than any action has", 400, 0, "Echo", Call("Echo", many), kType},
        {"name that is none in the DOM's eyes", 400, 0, "Ech\xc3\xb6", Call("Ech\xc3\xb6"), kType},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(Post(c.action, c.inner, c.header_type), c.status);
        const std::string code = "<errorCode>" + std::to_string(c.code) + "</errorCode>";
        EXPECT_EQ(body_.find(code) != std::string::npos, c.code != 0) << body_;
    }
    EXPECT_EQ(Post("Fail", Call("Fail")), 500);
    EXPECT_NE(body_.find("<errorDescription>No &lt;such&gt; object</errorDescription>"), std::string::npos) << body_;
    EXPECT_EQ(Post("QueryStateVariable", query("SystemUpdateID"), control), 200);
    EXPECT_NE(body_.find("<return>1</return>"), std::string::npos) << body_;
}

// The end-to-end tests have those that would take long.
TEST_F(UpnpLibraryTest, HostileBodies) {
    const std::string action = "\"" + std::string(kType) + "#Echo\"";
    const std::string envelope = "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>";
    struct Case {
        const char* why;
        std::string body;
        int status;
    };
    const Case cases[] = {
        {"a DTD alone", "<!DOCTYPE s:Envelope>" + envelope + Call("Echo") + "</s:Body></s:Envelope>", 400},
        {"cut short", envelope + Call("Echo"), 400},
        {"nothing", "", 400},
        {"not XML", std::string(1000, '\xff'), 400},
        {"another envelope", "<Envelope><Body>" + Call("Echo") + "</Body></Envelope>", 400},
        {"NUL and blanks behind the end", envelope + Call("Echo") + "</s:Body></s:Envelope>\r\n" + std::string(2, '\0'),
         200},
        {"beyond the body limit", std::string(20481, ' '), 413},
    };
    for (const Case& c : cases) EXPECT_EQ(PostBody(action, c.body), c.status) << c.why;
    EXPECT_EQ(PostBody(action, "<a/>", "/control/none"), 404);
}

TEST_F(UpnpLibraryTest, RootFiles) {
    const std::pair<int, std::vector<const char*>> kAnswers[] = {
        {200, {"/ContentDirectory.xml", "/initall.xml", "/dmsicon48.png"}},
        {404,
         {"/menu_simple.xml", "/device.xml", "//initall.xml", "/.hidden.xml", "/agent.conf", "/list.json",
          "/sub/inner.xml", "/sub%2finner.xml", "/", "/none.xml"}},
        {400, {"/../etc/passwd", "/sub/../dmsicon48.png"}}};
    for (const auto& [status, paths] : kAnswers) {
        for (const char* path : paths) EXPECT_EQ(Get(path), status) << path;
    }
}

TEST_F(UpnpLibraryTest, SubscriptionsThatAreRefused) {
    HttpServer::Config config = OnLoopback();
    config.methods = {"NOTIFY"};
    HttpServer subscriber(config, [](const HttpRequest&) { return HttpResponse(); });
    ASSERT_EQ(subscriber.Start(), 0);
    const std::string nt = "NT: upnp:event\r\n",
                      good = "CALLBACK: <http://127.0.0.1:" + std::to_string(subscriber.Port()) + "/e>\r\n";
    struct Case {
        const char* why;
        std::string fields;
        int status;
    };
    const Case cases[] = {
        {"a callback without a path ends the library's process", "CALLBACK: <http://127.0.0.1:1>\r\n" + nt, 412},
        {"somebody else's address", "CALLBACK: <http://192.0.2.1:80/>\r\n" + nt, 412},
        {"somebody else's address within a path", "CALLBACK: <http://127.0.0.1:1/a<http://192.0.2.1>\r\n" + nt, 412},
        {"no callback", nt, 412},
        {"no NT", good, 412},
        {"another NT", good + "NT: upnp:propchange\r\n", 412},
        {"new and renewal at once", good + nt + "SID: uuid:1\r\n", 400},
        {"renewal of nothing", "SID: uuid:00000000-0000-0000-0000-000000000000\r\n", 412},
        {"SID longer than any", "SID: uuid:" + std::string(4000, 'a') + "\r\n", 412},
        {"neither", "", 412},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Exchange("SUBSCRIBE /desc/event/cd HTTP/1.1\r\nHost: 127.0.0.1\r\n" + c.fields + "\r\n"), c.status)
            << c.why;
    }
    EXPECT_EQ(Exchange("SUBSCRIBE / HTTP/1.1\r\nHost: 127.0.0.1\r\n" + good + nt + "\r\n"), 404);
    EXPECT_EQ(Exchange("SUBSCRIBE http://127.0.0.1 HTTP/1.1\r\nHost: 127.0.0.1\r\n" + good + nt + "\r\n"), 400);

    int accepted = 0, status = 200;
    while (status == 200 && accepted < 100) {
        status = Exchange("SUBSCRIBE /desc/event/cd HTTP/1.1\r\nHost: 127.0.0.1\r\n" + good + nt + "\r\n");
        if (status != 200) break;
        // Giving one back does not help one who is in a hurry.
        if (++accepted % 2 == 0)
            Exchange("UNSUBSCRIBE /desc/event/cd HTTP/1.1\r\nHost: 127.0.0.1\r\nSID: " +
                     RawClient::HeaderOf(head_, "SID") + "\r\n\r\n");
    }
    EXPECT_EQ(status, 503);
    EXPECT_EQ(accepted, static_cast<int>(UpnpLimits::kSubscriptionsPerAddress));
}

TEST_F(UpnpLibraryTest, ARestartedSubscriberTakesThePlacesOfItsOldSelf) {
    Subscriptions subscriptions(::UpnpGetServerPort(), {0x7f000001, 0xff000000}, 0s);
    const auto answer = [&](const std::map<std::string, std::string>& headers) {
        HttpRequest request;
        request.method = "SUBSCRIBE";
        request.client_address = "127.0.0.1";
        request.headers = headers;
        return subscriptions.Answer(request, "/desc/event/cd");
    };
    std::vector<std::string> sids;
    for (std::size_t i = 0; i <= UpnpLimits::kSubscriptionsPerAddress; ++i) {
        const HttpResponse made = answer({{"callback", "<http://127.0.0.1:9/>"}, {"nt", "upnp:event"}});
        ASSERT_EQ(made.status, 200) << i;
        sids.push_back(made.headers.at(0).second);
        if (i == 1) {
            EXPECT_EQ(answer({{"sid", sids[0]}}).status, 200) << "who renews is there";
        }
    }
    EXPECT_EQ(answer({{"sid", sids[0]}}).status, 200);
    EXPECT_EQ(answer({{"sid", sids[1]}}).status, 412) << "the one not heard of for the longest time";
    EXPECT_EQ(RelayToLoopback(::UpnpGetServerPort(), "UNSUBSCRIBE", "/desc/event/cd", {{"SID", sids[1]}}).status, 412)
        << "the library has been told";
}

TEST_F(UpnpLibraryTest, OnlyTheFrontIsPublic) {
    UpnpLibrary second;
    EXPECT_EQ(second.UpnpInit("127.0.0.1", 0), UPNP_E_INIT) << "one per process";
    library_.UpnpFinish();
    EXPECT_FALSE(RawClient(port_).Connected());
    library_.UpnpFinish();

    HttpServer taken(OnLoopback(), [](const HttpRequest&) { return HttpResponse(); });
    ASSERT_EQ(taken.Start(), 0);
    EXPECT_EQ(second.UpnpInit("127.0.0.1", taken.Port()), UPNP_E_SOCKET_BIND);
    ASSERT_EQ(second.UpnpInit("127.0.0.1", 0), UPNP_E_SUCCESS) << "a start that failed can be tried again";
    const std::uint16_t private_port = ::UpnpGetServerPort();
    EXPECT_NE(private_port, second.UpnpGetServerPort());
    EXPECT_TRUE(RawClient(private_port).Connected());
    second.UpnpFinish();
}

constexpr int kNotPermitted = 77;  // this machine lets no process have a network of its own

/// In a network of its own, an interface with a second address, which the kernel lists under a label of its own.
int KnowsSubnets() {
    if (unshare(geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) return kNotPermitted;
    if (std::system("ip link set lo up && ip address add 10.1.2.3/24 dev lo label lo:2") != 0) return 2;
    const auto told = [](const char* address) {
        std::string text;
        for (const Subnet& subnet : SubnetsOf(address)) {
            char line[32];
            std::snprintf(line, sizeof line, "%08x/%08x ", subnet.address, subnet.mask);
            text += line;
        }
        return text;
    };
    const std::string loopback = "7f000001/ff000000 ", second = "0a010203/ffffff00 ";
    const bool known = told("127.0.0.1") == loopback + second && told("10.1.2.3") == second + loopback;
    return known && told("192.0.2.1").ends_with("/ffffffff ") ? 0 : 3;
}

bool DoneOrNotPermitted(int status) {
    return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == kNotPermitted);
}

TEST(SubnetDeathTest, AllOfTheInterface) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(exit(KnowsSubnets()), DoneOrNotPermitted, "");
}

}  // namespace
}  // namespace MediaServer
