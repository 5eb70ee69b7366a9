#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"

namespace MediaServer {
namespace {

constexpr const char* kArpTable =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "192.168.1.10     0x1         0x0         00:00:00:00:00:00     *        eth1\n"
    "192.168.1.10     0x1         0x2         aa:bb:cc:dd:ee:01     *        eth0\n"
    "192.168.1.100    0x1         0x2         aa:bb:cc:dd:ee:02     *        eth0\n"
    "192.168.1.11     0x1         0x0         00:00:00:00:00:00     *        eth0\n"
    "192.168.1.12     0x1\n";

TEST(FindInARPTable, WholeAddressesOfAnsweredNeighbours) {
    struct Case {
        const char *why, *ip, *mac;
    };
    constexpr Case kCases[] = {
        {"another device knows it", "192.168.1.10", "aa:bb:cc:dd:ee:01"},
        {"a longer address is another one", "192.168.1.100", "aa:bb:cc:dd:ee:02"},
        {"a shorter one too", "192.168.1.1", kUnknownMAC},
        {"has not answered", "192.168.1.11", kUnknownMAC},
        {"line cut short", "192.168.1.12", kUnknownMAC},
        {"the heading is no entry", "IP", kUnknownMAC},
        {"empty", "", kUnknownMAC},
    };
    for (const Case& c : kCases) EXPECT_EQ(FindInARPTable(kArpTable, c.ip), c.mac) << c.why;
}

TEST(HasDefaultRoute, OnlyWithAnEmptyMask) {
    constexpr const char* kRoutes =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
        "eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
        "vpn0\t00000000\t00000000\t0001\t0\t0\t0\t00000080\t0\t0\t0\n"
        "eth1\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0\n";
    EXPECT_TRUE(HasDefaultRoute(kRoutes, "eth0"));
    EXPECT_FALSE(HasDefaultRoute(kRoutes, "vpn0"));
    EXPECT_FALSE(HasDefaultRoute(kRoutes, "eth1"));
    EXPECT_FALSE(HasDefaultRoute(kRoutes, "eth"));
}

TEST(NLIBNetGetInterfaceInfo, RefusesAnotherKind) {
    std::vector<InterfaceInfo> interfaces;
    EXPECT_LT(NLIBNetGetInterfaceInfo(interfaces, 32, 6), 1);
    EXPECT_EQ(NLIBCErrGet(), EINVAL);
}

/// A network of its own for the rest of the process: two cables, a neighbour on one of them and the default route
/// through the other. Stays last in this file.
class OwnNetwork : public testing::Test {
protected:
    static void SetUpTestSuite() {
        const int flags = geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET;
        ready_ = unshare(flags) == 0 &&
                 std::system(
                     "ip link set lo up && "
                     "ip link add first address 02:00:00:00:01:01 type veth peer name first_end && "
                     "ip link add second address 02:00:00:00:02:01 type veth peer name second_end && "
                     "ip address add 10.71.1.1/24 dev first && ip address add 10.71.2.1/24 dev second && "
                     "ip link set first up && ip link set first_end up && "
                     "ip link set second up && ip link set second_end up && "
                     "ip neighbour add 10.71.1.9 lladdr 02:00:00:00:01:09 dev first nud permanent && "
                     "ip route add default via 10.71.2.9 dev second") == 0;
    }
    void SetUp() override {
        if (!ready_) GTEST_SKIP() << "no permission to make a network namespace";
    }
    static bool ready_;
};
bool OwnNetwork::ready_ = false;

TEST_F(OwnNetwork, TheWayToTheDefaultRouteComesFirst) {
    std::vector<InterfaceInfo> interfaces;
    ASSERT_EQ(NLIBNetGetInterfaceInfo(interfaces, 32, 2), 2);
    EXPECT_EQ(interfaces[0].name, "second");
    EXPECT_EQ(interfaces[0].ip_address, "10.71.2.1");
    EXPECT_EQ(interfaces[0].mac_address, "02:00:00:00:02:01");
    EXPECT_EQ(interfaces[1].name, "first");
    EXPECT_EQ(NLIBNetGetInterfaceInfo(interfaces, 1, 2), 1);

    InterfaceInfo record;
    EXPECT_EQ(NIMBNetGetCard1(1, 0, record), 1);
    EXPECT_EQ(record.ip_address, "10.71.1.1");
    EXPECT_EQ(NIMBNetGetCard1(2, 0, record), 0);
    EXPECT_EQ(NIMBNetGetCard1(-1, 0, record), 0);
}

TEST_F(OwnNetwork, OwnAddressesIncludeLoopback) {
    std::map<std::string, std::string> mac_to_ip{{"stale", "1.2.3.4"}};
    DMSGetNetworkInterface(mac_to_ip);
    EXPECT_THAT(mac_to_ip, testing::ElementsAre(testing::Pair("00:00:00:00:00:01", "127.0.0.1"),
                                                testing::Pair("02:00:00:00:01:01", "10.71.1.1"),
                                                testing::Pair("02:00:00:00:02:01", "10.71.2.1")));
}

TEST_F(OwnNetwork, NeighboursComeFromTheKernel) {
    EXPECT_EQ(GetMACAddressFromARPTable("10.71.1.9"), "02:00:00:00:01:09");
    EXPECT_EQ(GetMACAddressFromARPTable("10.71.1.8"), kUnknownMAC);
}

TEST_F(OwnNetwork, TheMachineKnowsItselfByEveryAddress) {
    ASSERT_EQ(std::system("ip address add 10.72.1.1/24 dev first && ip address add 10.71.2.2/24 dev second"), 0);
    std::map<std::string, std::string> own;
    DMSGetNetworkInterface(own);
    for (const auto& [ip, mac] : {std::pair{"10.71.1.1", "02:00:00:00:01:01"},
                                  {"10.72.1.1", "02:00:00:00:01:01"},
                                  {"10.71.2.2", "02:00:00:00:02:01"},
                                  {"127.0.0.1", "00:00:00:00:00:01"},
                                  {"10.71.1.9", "02:00:00:00:01:09"},
                                  {"10.72.1.2", kUnknownMAC}}) {
        EXPECT_EQ(GetMACAddressFromARPTable(ip), mac) << ip;
        EXPECT_EQ(FindClientMAC(own, ip), mac) << ip;
    }
}

TEST_F(OwnNetwork, NoInterfaceIsAnErrorThatTellsWhy) {
    ASSERT_EQ(std::system("ip link set first down && ip link set second down"), 0);
    std::vector<InterfaceInfo> interfaces;
    EXPECT_LT(NLIBNetGetInterfaceInfo(interfaces, 32, 2), 1);
    EXPECT_EQ(NLIBCErrGet(), ENODEV);
}

}  // namespace
}  // namespace MediaServer
