#include <filesystem>
#include <thread>

#include <json/json.h>

#include "platform/clients/AccessRights.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/clients/DMSClientList.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

constexpr const char* kMac = "aa:bb:cc:00:11:22";
constexpr const char* kOther = "aa:bb:cc:00:11:33";

class ClientList : public ::testing::Test {
protected:
    ClientList() {
        dir_.Write("agent.conf",
                   "[profile Header]\nheader.x-kind = special\n"
                   "[profile TV]\nuser-agent = TV\n[profile Model]\nmodel-name = M-1\n");
    }
    void TearDown() override { DMSClientChecker::ReleaseClientList(); }

    bool Load(DMSClientList& list) { return list.Load(File(), dir_ / "agent.conf"); }
    bool LoadText(DMSClientList& list, const std::string& text) {
        dir_.Write("client_list.json", text);
        return Load(list);
    }
    std::string File() const { return dir_ / "client_list.json"; }
    std::string FileText() const { return ReadWholeFile(File(), 1 << 24).value_or(""); }

    TempDir dir_;
};

void Act(DMSClientList& list, const std::string& agent, const std::string& mac = kMac,
         const std::string& ip = "10.0.0.1") {
    list.UpdateKeys("HandleActionRequest", mac, ip, {{"user-agent", agent}});
}

TEST_F(ClientList, EachCallerHasItsOwnKeysAndAllTakePartInRecognition) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": 0})"));
    list.UpdateKeys("HandleDiscovery", kMac, "10.0.0.1", {{"modelName", "M-1"}});
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "Model");
    Act(list, "TV 9");
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "TV") << "the earlier section wins";
    list.UpdateKeys("WebSerOpen", kMac, "10.0.0.1", {{"user-agent", "Player"}, {"x-kind", "special"}});
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "Header");
    EXPECT_EQ(list.FindKey(kMac, "browse_user-agent"), "TV 9");
    EXPECT_EQ(list.FindKey(kMac, "open_user-agent"), "Player");
    EXPECT_EQ(list.FindKey(kMac, "modelName"), "M-1");
    Act(list, "unknown", kOther, "10.0.0.2");
    EXPECT_EQ(list.FindKey(kOther, "profileName"), "");
}

TEST_F(ClientList, WhatTheOwnerSetStaysAndWhatNobodyKnowsIsKept) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"note": "mine", "ClientList": {
        "AA:BB:CC:00:11:22": {"profileName": "Model", "isAccess": "false", "room": ["attic"]},
        "aa:bb:cc:00:11:33": {"profileName": "Model", "detectedProfile": "Model", "isAccess": false},
        "nonsense": 7}})"));
    for (const char* mac : {kMac, kOther}) {
        Act(list, "TV", mac);
        EXPECT_EQ(list.FindKey(mac, "isAccess"), "false");
    }
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "Model") << "set by hand";
    EXPECT_EQ(list.FindKey(kOther, "profileName"), "TV") << "found by rule before, so found anew";
    ASSERT_TRUE(list.WriteToFile());
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(FileText(), root));
    EXPECT_EQ(root["note"].asString(), "mine");
    EXPECT_EQ(root["ClientList"]["nonsense"].asInt(), 7);
    EXPECT_EQ(root["ClientList"][kMac]["room"][0].asString(), "attic");
}

TEST_F(ClientList, ErasedClientIsRecognisedAnewButStaysRefused) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    Act(list, "TV");
    Act(list, "TV", kOther, "10.0.0.2");
    list.EraseObject(kMac);
    list.EraseObject(kOther);
    EXPECT_EQ(list.FindKey(kMac, "browse_user-agent"), "");
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "");
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false");
    EXPECT_EQ(list.FindMacByIP("10.0.0.1"), "");
    EXPECT_EQ(list.FindMacByIP("10.0.0.2"), "");
    list.SetAccessRightsDisabled(true);
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "");
    list.SetAccessRightsDisabled(false);
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false");
}

TEST_F(ClientList, NoHeaderOrDescriptionCanWriteTheOwnersSettings) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    list.UpdateKeys("HandleDiscovery", kMac, "10.0.0.1",
                    {{"isAccess", "true"}, {"profileName", "X"}, {"ip", "1.1.1.1"}});
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false");
    EXPECT_EQ(list.FindKey(kMac, "profileName"), "");
    EXPECT_EQ(list.FindMacByIP("10.0.0.1"), kMac);
}

TEST_F(ClientList, AnAddressBelongsToItsLastHolder) {
    DMSClientList list;
    Act(list, "TV", kOther, "10.0.0.7");
    Act(list, "TV", kMac, "10.0.0.7");
    EXPECT_EQ(list.FindMacByIP("10.0.0.7"), kMac);
    Act(list, "TV", kOther, "10.0.0.7");
    EXPECT_EQ(list.FindMacByIP("10.0.0.7"), kOther);
    EXPECT_EQ(list.FindMacByIP(""), "");
}

struct BrokenCase {
    const char* why;
    std::string text;
};
const BrokenCase kBroken[] = {
    {"torn in the middle", R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAcc)"},
    {"empty, as after a power cut", ""},
    {"another kind of document", "[]"},
    {"a list that is none", R"({"ClientList": "x"})"},
    {"a number that is not 0", R"({"ClientList": 3})"},
    {"nested to exhaust the stack", std::string(100000, '[')},
    {"two documents", R"({"ClientList": 0} {"ClientList": 0})"},
};

TEST_F(ClientList, BrokenFileIsKeptAsideAndTakesNothingAway) {
    for (const auto& c : kBroken) {
        SCOPED_TRACE(c.why);
        DMSClientList fresh;
        EXPECT_FALSE(LoadText(fresh, c.text));
        EXPECT_FALSE(std::filesystem::exists(File()));
        Act(fresh, "TV");
        EXPECT_TRUE(fresh.WriteToFile());

        DMSClientList running;
        ASSERT_TRUE(LoadText(running, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
        EXPECT_FALSE(LoadText(running, c.text));
        EXPECT_EQ(running.FindKey(kMac, "isAccess"), "false") << "a slip while editing must not let anybody in";
    }
    EXPECT_EQ(ReadWholeFile(File() + ".broken", 1000), kBroken[0].text);
    EXPECT_TRUE(std::filesystem::exists(File() + ".broken.1")) << "a later one must not replace the first";
}

TEST_F(ClientList, MissingFileEmptiesTheList) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    std::filesystem::remove(File());
    EXPECT_FALSE(Load(list));
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "");
    EXPECT_TRUE(list.WriteToFile());
}

TEST_F(ClientList, EditThatWasNotReadYetIsNotOverwritten) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": 0})"));
    Act(list, "TV");
    EXPECT_TRUE(list.WriteToFile());
    EXPECT_TRUE(list.WriteToFile()) << "its own writing is no change";
    const std::string edited = R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})";
    dir_.Write("client_list.json", edited);
    EXPECT_FALSE(list.WriteToFile());
    EXPECT_EQ(FileText(), edited);
    EXPECT_TRUE(Load(list));
    EXPECT_TRUE(list.WriteToFile());
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false");
}

TEST_F(ClientList, StrangersCannotFillIt) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    HeaderMap many;
    for (int i = 0; i < 300; ++i) many["x-" + std::to_string(i)] = std::string(5000, 'v');
    many[std::string(500, 'n')] = "long name";
    for (int i = 0; i < 1300; ++i) {
        list.UpdateKeys("HandleActionRequest", "m" + std::to_string(i), "10.1." + std::to_string(i),
                        i < 3 ? many : HeaderMap{});
    }
    list.UpdateKeys("HandleActionRequest", std::string(200, 'm'), "10.0.0.9", {});
    ASSERT_TRUE(list.WriteToFile());
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(FileText(), root));
    EXPECT_LE(root["ClientList"].size(), 256U);
    EXPECT_LT(FileText().size(), 100000U);
    EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false") << "the owner's entry is never the one to go";
    EXPECT_EQ(list.FindMacByIP("10.1.1299"), "m1299") << "the newest always finds room";
    EXPECT_EQ(list.FindMacByIP("10.1.0"), "") << "the oldest goes first";
}

TEST_F(ClientList, WhatIsWrittenCanAlwaysBeRead) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    HeaderMap large;
    for (int i = 0; i < 60; ++i) large["x-" + std::to_string(i)] = std::string(1024, '\1');
    constexpr int kClients = 300;  // three times as many as fit, for such a byte is written as six
    for (int i = 0; i < kClients; ++i) {
        list.UpdateKeys("HandleActionRequest", "m" + std::to_string(i), "10.1." + std::to_string(i), large);
    }
    ASSERT_TRUE(list.WriteToFile());
    DMSClientList again;
    ASSERT_TRUE(Load(again));
    EXPECT_EQ(again.FindKey(kMac, "isAccess"), "false");
    EXPECT_EQ(again.FindMacByIP("10.1.299"), "m299");
    EXPECT_EQ(again.FindMacByIP("10.1.0"), "") << "the oldest is left out";
    EXPECT_GT(FileText().size(), 7U << 20) << "no more than need be";

    const std::string by_hand = R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false", "room": ")" +
                                std::string((8U << 20) - 1000, 'r') + "\"}}}";
    ASSERT_TRUE(LoadText(list, by_hand));
    Act(list, "TV " + std::string(1000, 'x'));
    EXPECT_FALSE(list.WriteToFile());
    EXPECT_TRUE(FileText() == by_hand) << "a file that can be read is worth more than a newer one that cannot";
}

TEST_F(ClientList, AReaderRefusesWhomTheFileRefusesAndTouchesNothing) {
    const auto write = [this](const std::string& text) { dir_.Write("client_list.json", text); };
    AccessRights access(File());
    EXPECT_FALSE(access.IsRefused("127.0.0.1")) << "no file yet";
    const std::string refusal =
        R"({"ClientList": {"00:00:00:00:00:01": {"isAccess": false, "ip": "192.0.2.1"},
                           "AA:BB:CC:00:11:22": {"isAccess": "false", "ip": "192.0.2.77"},
                           "aa:bb:cc:00:11:33": {"isAccess": "true", "ip": "192.0.2.78"},
                           "aa:bb:cc:00:11:44": {"isAccess": "false"}, "nonsense": 7}})";
    write(refusal);
    EXPECT_TRUE(access.IsRefused("127.0.0.1")) << "by its hardware address";
    EXPECT_TRUE(access.IsRefused("192.0.2.77")) << "no neighbour, so by its address";
    EXPECT_FALSE(access.IsRefused("192.0.2.78"));
    EXPECT_FALSE(access.IsRefused(""));
    EXPECT_EQ(FileText(), refusal);

    for (const auto& c : kBroken) {
        write(c.text);
        EXPECT_TRUE(access.IsRefused("127.0.0.1")) << c.why;
        EXPECT_EQ(FileText(), c.text) << c.why;
    }
    std::filesystem::remove(File());
    EXPECT_TRUE(access.IsRefused("127.0.0.1")) << "the keeper has just moved a broken file aside";
    write(R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false", "ip": "127.0.0.1"}}})");
    EXPECT_FALSE(access.IsRefused("127.0.0.1")) << "the address has passed to another device";
    write(R"({"ClientList": 0})");
    EXPECT_FALSE(access.IsRefused("192.0.2.77"));
}

TEST_F(ClientList, BytesThatAreNoTextSurviveAsADocument) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": 0})"));
    const std::string odd = "a\xff\xe2\x82\x01\"\\z\xf0\x9f\x93\xba";
    Act(list, odd);
    Act(list, std::string(1023, 'x') + "\xc3\xa9", kOther, "10.0.0.2");
    EXPECT_EQ(list.FindKey(kOther, "browse_user-agent"), std::string(1023, 'x'));
    ASSERT_TRUE(list.WriteToFile());
    DMSClientList again;
    EXPECT_TRUE(Load(again));
    EXPECT_EQ(again.FindKey(kMac, "browse_user-agent"), DMSClientList::AsStored(odd))
        << "or the entry would be another client's after a restart";
}

TEST_F(ClientList, OperationsMayMeet) {
    DMSClientList list;
    ASSERT_TRUE(LoadText(list, R"({"ClientList": {"aa:bb:cc:00:11:22": {"isAccess": "false"}}})"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const std::string mac = "m" + std::to_string(t), ip = "10.0.0." + std::to_string(t);
            for (int i = 0; i < 100; ++i) {
                Act(list, "TV", mac, ip);
                if (i % 10 == t) list.WriteToFile();
                if (i % 10 == 5) Load(list);
                list.FindMacByIP(ip);
                EXPECT_EQ(list.FindKey(kMac, "isAccess"), "false");
                EXPECT_EQ(DMSClientChecker("TV", "", true).profile_name, "TV");
                if (i % 20 == 19) list.EraseObject(mac);
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace MediaServer
