#include <future>

#include "platform/http/RawClient.h"
#include "platform/system/Paths.h"
#include "service/DMSDevice.h"
#include "service/Discovery.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;

constexpr const char* kRenderer = "urn:schemas-upnp-org:device:MediaRenderer:1";
constexpr const char* kLoopbackMac = "00:00:00:00:00:01";

/// A renderer on loopback: a real HTTP server with the descriptions of the cases.
class Discovery : public ::testing::Test {
protected:
    Discovery()
        : server_(OnLoopback(), [this](const HttpRequest& request) {
              ++downloads_;
              HttpResponse response;
              response.body = request.path == "/full.xml"
                                  ? "<root><device><friendlyName>Living &amp; room</friendlyName>"
                                    "<manufacturer>Maker</manufacturer><modelName>M-1</modelName>"
                                    "</device></root>"
                                  : "<root><broken";
              return response;
          }) {
        EXPECT_EQ(server_.Start(), 0);
        root_.Write(std::string(kProfileFile).substr(1), "[profile Kind]\nmodel-name = M-1\n");
        root_.Write(std::string(kClientListFile).substr(1), "{\"ClientList\": 0}");
        device_ = std::make_unique<DMSDevice>();
        device_->ReloadClients();
        device_->LearnInterfaces();
    }

    int Discover(Upnp_EventType type, const char* device_type, const std::string& path,
                 const char* address = "127.0.0.1", int error = UPNP_E_SUCCESS) {
        UpnpDiscovery* event = UpnpDiscovery_new();
        sockaddr_storage source{};
        auto* ipv4 = reinterpret_cast<sockaddr_in*>(&source);
        ipv4->sin_family = AF_INET;
        inet_pton(AF_INET, address, &ipv4->sin_addr);
        const std::string location = "http://127.0.0.1:" + std::to_string(server_.Port()) + path;
        UpnpDiscovery_set_ErrCode(event, error);
        UpnpDiscovery_strcpy_DeviceType(event, device_type);
        UpnpDiscovery_strcpy_Location(event, location.c_str());
        UpnpDiscovery_set_DestAddr(event, &source);
        const int result = HandleDiscovery(*device_, event, type);
        UpnpDiscovery_delete(event);
        return result;
    }

    TempSysroot root_;
    std::unique_ptr<DMSDevice> device_;
    std::atomic<int> downloads_ = 0;
    HttpServer server_;
};

TEST_F(Discovery, WhatIsNoRendererOfThisNetworkIsIgnored) {
    struct Case {
        const char* why;
        Upnp_EventType type;
        const char *device_type, *path, *address;
        int error, downloads;
    };
    const Case cases[] = {
        {"an error", UPNP_DISCOVERY_SEARCH_RESULT, kRenderer, "/full.xml", "127.0.0.1", UPNP_E_NETWORK_ERROR, 0},
        {"a server announcing itself", UPNP_DISCOVERY_ADVERTISEMENT_ALIVE, "urn:schemas-upnp-org:device:MediaServer:1",
         "/full.xml", "127.0.0.1", 0, 0},
        {"no hardware address", UPNP_DISCOVERY_ADVERTISEMENT_ALIVE, kRenderer, "/full.xml", "192.0.2.7", 0, 0},
        {"a broken description", UPNP_DISCOVERY_ADVERTISEMENT_ALIVE, kRenderer, "/broken.xml", "127.0.0.1", 0, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        downloads_ = 0;
        EXPECT_EQ(Discover(c.type, c.device_type, c.path, c.address, c.error), -1);
        EXPECT_EQ(downloads_, c.downloads);
        EXPECT_EQ(device_->FindKey(kLoopbackMac, "ip"), "");
    }
    EXPECT_EQ(Discover(UPNP_DISCOVERY_SEARCH_RESULT, "", "/full.xml"), 0) << "answers to our search need no type";
}

TEST_F(Discovery, RepeatedAnnouncementIsDownloadedOnce) {
    for (int i = 0; i < 20; ++i) Discover(UPNP_DISCOVERY_ADVERTISEMENT_ALIVE, kRenderer, "/full.xml");
    EXPECT_EQ(downloads_, 1);
}

TEST(DownloadGate, BoundsWhatStrangersCanCause) {
    DownloadGate gate(0ms);
    DownloadGate::Clock::time_point now{1h};
    {
        const auto a = gate.Enter("a", "x", now), b = gate.Enter("b", "x", now), c = gate.Enter("c", "x", now);
        EXPECT_TRUE(a && b && c);
        EXPECT_FALSE(gate.Enter("d", "x", now)) << "too many at once";
    }
    EXPECT_TRUE(gate.Enter("d", "x", now)) << "they have ended";
    EXPECT_FALSE(gate.Enter("a", "x", now + 9s)) << "the same again";
    {
        const auto other = gate.Enter("a", "y", now + 9s);
        EXPECT_TRUE(other) << "another location";
        EXPECT_FALSE(gate.Enter("a", "z", now + 9s)) << "one at a time from an address";
    }
    EXPECT_TRUE(gate.Enter("a", "x", now + 30s));
    int admitted = 0;
    for (int i = 0; i < 100; ++i) admitted += gate.Enter("b", "l" + std::to_string(i), now + 20s) ? 1 : 0;
    EXPECT_EQ(admitted, DownloadGate::kMaxPerMinute - 1) << "new locations are no way around";
    EXPECT_TRUE(gate.Enter("b", "x", now + 61s)) << "a minute later all is forgiven";
    admitted = 0;
    for (int i = 0; i < 1000; ++i) admitted += gate.Enter("n" + std::to_string(i), "x", now + 30s) ? 1 : 0;
    EXPECT_LE(admitted, static_cast<int>(DownloadGate::kMaxAddresses));
    EXPECT_TRUE(gate.Enter("late", "x", now + 10min)) << "idle addresses make room";
}

TEST(DownloadGate, WhoFindsNoPlaceWaitsForOne) {
    DownloadGate gate(10s);
    const DownloadGate::Clock::time_point now{1h};
    auto a = gate.Enter("a", "x", now), b = gate.Enter("b", "x", now), c = gate.Enter("c", "x", now);
    EXPECT_FALSE(gate.Enter("a", "x", now)) << "a repetition does not wait";
    auto fourth = std::async(std::launch::async, [&] { return gate.Enter("d", "x", now); });
    auto again = std::async(std::launch::async, [&] { return gate.Enter("a", "y", now); });
    std::this_thread::sleep_for(50ms);
    b.reset();
    EXPECT_TRUE(fourth.get()) << "the place of another";
    a.reset();
    EXPECT_TRUE(again.get()) << "its own address's place";
}

TEST(ProfileCache, NothingFromBeforeAClearComesBack) {
    ProfileCache cache;
    std::uint64_t before = 0, after = 0;
    EXPECT_EQ(cache.Find("m", before), "");
    cache.Clear();
    cache.Store("m", "stale", before);
    EXPECT_EQ(cache.Find("m", after), "");
    cache.Store("m", "fresh", after);
    EXPECT_EQ(cache.Find("m", after), "fresh");
    for (int i = 0; i < 5000; ++i) cache.Store("n" + std::to_string(i), "x", after);
    EXPECT_EQ(cache.Find("n4999", after), "x");
    EXPECT_EQ(cache.Find("m", after), "") << "bounded";
}

}  // namespace
}  // namespace MediaServer
