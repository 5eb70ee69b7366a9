#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "platform/system/Files.h"
#include "platform/upnp/SearchSocket.h"

namespace MediaServer {
namespace {

std::string Search(const std::string& fields) {
    return "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n" + fields + "ST: ssdp:all\r\n\r\n";
}

TEST(SearchSocket, OnlyPlainSearchesAndAnnouncementsAreHeard) {
    struct Case {
        const char* why;
        std::string datagram;
        DatagramKind kind;
    };
    constexpr DatagramKind kSearch = DatagramKind::Search, kOther = DatagramKind::Other;
    const Case cases[] = {
        {"as control points send it", Search("MX: 3\r\n"), kSearch},
        {"no blank, other case, bare line feeds", "M-SEARCH * HTTP/1.1\nmx:2\nST:upnp:rootdevice\n\n", kSearch},
        {"bytes behind the end", Search("MX: 3\r\n") + std::string(1, '\0'), kSearch},
        {"an announcement", "NOTIFY * HTTP/1.1\r\nNTS: ssdp:alive\r\n\r\n", DatagramKind::Announcement},
        {"the library skips blanks before the method", " " + Search("MX: 3\r\n"), kOther},
        {"and line ends", "\r\n" + Search("MX: 3\r\n"), kOther},
        {"an announcement behind a tab", "\tNOTIFY * HTTP/1.1\r\n\r\n", kOther},
        {"another method that begins alike", "M-SEARCHES * HTTP/1.1\r\nMX: 1\r\n\r\n", kOther},
        {"an answer", "HTTP/1.1 200 OK\r\nST: ssdp:all\r\n\r\n", DatagramKind::Answer},
        {"an answer of an old stack", "HTTP/1.0 200 OK\r\nST: ssdp:all\r\n\r\n", DatagramKind::Answer},
        {"a refusal", "HTTP/1.1 404 Not Found\r\n\r\n", kOther},
        {"another request", "GET / HTTP/1.1\r\n\r\n", kOther},
        {"garbage", std::string("\xff\x00\x01", 3), kOther},
        {"method alone", "M-SEARCH ", kOther},
        {"nothing", "", kOther},
        {"no MX", Search(""), kOther},
        {"two MX, which the library joins", Search("MX: 1\r\nmx: 9\r\n"), kOther},
        {"MX on the next line", Search("MX:\r\n 99999999\r\n"), kOther},
        {"a blank before the colon", Search("MX : 99999999\r\n"), kOther},
        {"a lone carriage return", Search("X: y\rMX: 99999999\r\nMX: 1\r\n"), kOther},
        {"negative", Search("MX: -1\r\n"), kOther},
        {"a sign", Search("MX: +99999999\r\n"), kOther},
        {"no number", Search("MX: 3s\r\n"), kOther},
        {"empty", Search("MX:\r\n"), kOther},
        {"cut short within the MX", "M-SEARCH * HTTP/1.1\r\nMX: 3", kOther},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        std::string datagram = c.datagram;
        EXPECT_EQ(PrepareDatagram(datagram), c.kind);
        if (c.kind != kOther) {
            EXPECT_EQ(datagram, c.datagram);
        }
    }
}

TEST(SearchSocket, LongDelaysAreBroughtDownInPlace) {
    const std::pair<const char*, const char*> delays[] = {
        {"MX: 5", "MX: 5"},     {"MX: 6", "MX: 5"},
        {"MX:10\t", "MX:05\t"}, {"MX:  2147483647 ", "MX:  0000000005 "},
        {"MX: 05", "MX: 05"},   {"MX: 003", "MX: 003"},
        {"mX: 120", "mX: 005"}, {"MX: 99999999999999999999", "MX: 00000000000000000005"},
    };
    for (const auto& [sent, heard] : delays) {
        std::string datagram = Search(std::string(sent) + "\r\n");
        EXPECT_EQ(PrepareDatagram(datagram), DatagramKind::Search) << sent;
        EXPECT_EQ(datagram, Search(std::string(heard) + "\r\n"));
    }
}

/// A guarded socket on loopback and one that sends to it.
class GuardedSocketTest : public ::testing::Test {
protected:
    GuardedSocketTest() {
        name_.sin_family = AF_INET;
        name_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof name_;
        EXPECT_EQ(bind(guarded_.get(), Name(), size), 0);
        EXPECT_EQ(getsockname(guarded_.get(), Name(), &size), 0);
    }
    ~GuardedSocketTest() override { ForgetSearchSocket(); }

    /// What the guarded socket hears of a datagram; empty when nothing.
    std::string Heard(const std::string& datagram) { return Heard(datagram, sender_, guarded_); }
    /// What a socket without a name of its own hears when somebody answers it.
    std::string HeardAsAnswer(const std::string& datagram) {
        Heard("M-SEARCH", sender_, guarded_);  // gives it a port
        socklen_t size = sizeof name_;
        getsockname(sender_.get(), Name(), &size);
        name_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const std::string heard = Heard(datagram, guarded_, sender_);
        getsockname(guarded_.get(), Name(), &size);
        return heard;
    }

    const UniqueFd guarded_{socket(AF_INET, SOCK_DGRAM, 0)}, sender_{socket(AF_INET, SOCK_DGRAM, 0)};

    static constexpr const char* kAnswer = "HTTP/1.1 200 OK\r\n\r\n";

private:
    std::string Heard(const std::string& datagram, const UniqueFd& from, const UniqueFd& to) {
        sendto(from.get(), datagram.data(), datagram.size(), 0, Name(), sizeof name_);
        char buffer[1024];
        sockaddr_in source{};
        socklen_t size = sizeof source;
        // Loopback delivers before sendto returns.
        const ssize_t got =
            recvfrom(to.get(), buffer, sizeof buffer, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&source), &size);
        return std::string(buffer, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    sockaddr* Name() { return reinterpret_cast<sockaddr*>(&name_); }
    sockaddr_in name_{};
};

TEST_F(GuardedSocketTest, HearsTheSubnetsOfItsInterface) {
    const std::string announcement = "NOTIFY * HTTP/1.1\r\n\r\n";
    const Subnet elsewhere{0x0a000001, 0xff000000}, here{0x7f000005, 0xffffff00}, alone{0x0a000001, 0xffffffff};
    struct Case {
        const char* why;
        std::vector<Subnet> subnets;
        bool is_heard;
    };
    const Case cases[] = {
        {"another network", {elsewhere}, false},
        {"the second network of the interface", {elsewhere, here}, true},
        {"the first", {here, elsewhere}, true},
        {"an address without neighbours of its own", {alone}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.why);
        const int none = 0;
        setsockopt(guarded_.get(), SOL_SOCKET, SO_DETACH_FILTER, &none, sizeof none);
        ASSERT_TRUE(GuardSearchSocket(guarded_.get(), c.subnets));
        EXPECT_EQ(Heard(announcement), c.is_heard ? announcement : "");
        EXPECT_EQ(HeardAsAnswer(kAnswer), c.is_heard ? kAnswer : "");
    }
}

TEST_F(GuardedSocketTest, TheLibrarySeesWhatWasPrepared) {
    ASSERT_TRUE(GuardSearchSocket(guarded_.get(), {{0x7f000001, 0xff000000}}));
    EXPECT_EQ(Heard(Search("MX: 86400\r\n")), Search("MX: 00005\r\n"));
    EXPECT_EQ(Heard(" " + Search("MX: 86400\r\n")), "");
    EXPECT_EQ(Heard(kAnswer), "") << "belongs to the socket of our own searches";
    int heard = 0;
    for (int i = 0; i < 1000; ++i) heard += !Heard("NOTIFY * HTTP/1.1\r\n\r\n").empty();
    EXPECT_LT(heard, 500) << "announcements have a bound as well";
}

TEST_F(GuardedSocketTest, OurOwnSearchesHearAnswersOnly) {
    EXPECT_EQ(HeardAsAnswer(Search("MX: 1\r\n")), Search("MX: 1\r\n")) << "nothing is guarded yet";
    ASSERT_TRUE(GuardSearchSocket(guarded_.get(), {{0x7f000001, 0xff000000}}));
    EXPECT_EQ(HeardAsAnswer(Search("MX: 1\r\n")), "");
    EXPECT_EQ(HeardAsAnswer("NOTIFY * HTTP/1.1\r\n\r\n"), "");
    int heard = 0;
    for (int i = 0; i < 1000; ++i) heard += !HeardAsAnswer(kAnswer).empty();
    EXPECT_TRUE(heard > 0 && heard < 100) << heard;
}

TEST(DatagramGate, HearsAFewOfEachAndMoreOfAll) {
    constexpr UpnpLimits::DatagramRates kRates = UpnpLimits::kSearches;
    DatagramGate gate(kRates);
    const DatagramGate::Clock::time_point start{};
    const auto heard = [&](std::uint32_t source, int sent, DatagramGate::Clock::time_point now) {
        int count = 0;
        for (int i = 0; i < sent; ++i) count += gate.Admit(source, now);
        return count;
    };
    const std::chrono::seconds second{1};
    EXPECT_EQ(heard(1, 1000, start), kRates.at_once);
    EXPECT_EQ(heard(2, 10, start), 10) << "one source does not silence another";
    EXPECT_EQ(heard(1, 1000, start + second), kRates.per_second);
    EXPECT_EQ(heard(1, 1000, start + 3600 * second), kRates.at_once) << "rest does not add up";
    int all = 0;
    for (std::uint32_t source = 0; source < 10000; ++source) all += heard(source, 10, start + 7200 * second);
    EXPECT_EQ(all, kRates.all_at_once);
}

}  // namespace
}  // namespace MediaServer
