#include <set>

#include <upnp.h>

#include "cds/CDSActions.h"
#include "serializer/CDSDIDLSerializer.h"
#include "support/LogCapture.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

using testing::Not;
using testing::Pair;
using Pairs = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kMenu = R"(<menu><entrylist>
  <entry id="m"><title>Music</title><entrylist>
    <entry id="a" type="categoryfolder" media="music"><title>Artist</title><directory>:@AllIndexFiles@</directory>
      <categories><category>artist</category><category>album</category></categories></entry>
    <entry id="f" type="storagefolder" media="music"><title>Folder</title><directory>:/f</directory></entry>
  </entrylist></entry></entrylist></menu>)";

/// What an action answered.
struct Reply {
    int code = 0;
    std::string error;
    Pairs outputs;  // in order

    std::string operator[](std::string_view name) const {
        for (const auto& [key, value] : outputs) {
            if (key == name) return value;
        }
        return "(none)";
    }
};

class ActionsTest : public ClientsTest {
protected:
    ActionsTest() {
        directory.LoadMenu(sysroot.Write("menu.xml", kMenu), {}, false);
        content.device_mutex = &mutex;
        content.service_type = "urn:schemas-upnp-org:service:ContentDirectory:1";
        content.state_variables = {{"SystemUpdateID", "41"}, {"SortCapabilities", ""}};
        content.actions = ContentDirectoryActions({directory, options, "192.0.2.1", 50001});
        database.Execute(
            "INSERT INTO music (path, title, artist, album, track) VALUES ('/m/1.mp3', 'One', 'A & B', 'First', 1),"
            " ('/m/2.mp3', 'Two', 'A & B', 'First', 2), ('/m/3.mp3', 'Three', 'C', 'Second', 1)");
    }

    void SetOptions(const std::string& lines) {
        sysroot.Write("dmsinfo.conf", lines);
        options.Read(0, nullptr);
    }

    Reply Call(const std::string& action, const Pairs& arguments = {}, const std::string& agent = "") {
        std::string text = "<u:" + action + " xmlns:u=\"" + content.service_type + "\">";
        for (const auto& [name, value] : arguments) text += "<" + name + ">" + XMLEscape(value) + "</" + name + ">";
        const IxmlDocument request(ixmlParseBuffer((text + "</u:" + action + ">").c_str()));
        ClientRequest client;
        client.headers["user-agent"] = agent;
        client.client_address = "192.0.2.9";
        client.profile_name = "";
        IXML_Document* response = nullptr;
        Reply reply;
        reply.code = content.actions.at(action)(client, content, request.get(), &response, reply.error);
        const IxmlDocument owned(response);
        IXML_Node* outputs =
            response != nullptr ? ixmlNode_getFirstChild(reinterpret_cast<IXML_Node*>(response)) : nullptr;
        for (IXML_Node* node = outputs != nullptr ? ixmlNode_getFirstChild(outputs) : nullptr; node != nullptr;
             node = ixmlNode_getNextSibling(node)) {
            reply.outputs.emplace_back(ixmlNode_getNodeName(node), NodeText(node));
            if (client.result.View().starts_with("<DIDL") && reply.outputs.back().first == "Result") {
                EXPECT_EQ(reply.outputs.back().second, "") << "one of the two holds it";
                reply.outputs.back().second = client.result.View();
            }
        }
        EXPECT_EQ(reply.outputs.empty(), reply.code != 0) << "outputs on success, and only then";
        return reply;
    }
    Reply Browse(const std::string& id, const std::string& flag = "BrowseDirectChildren",
                 const std::string& filter = "*", const std::string& start = "0", const std::string& count = "0",
                 const std::string& agent = "") {
        return Call("Browse",
                    {{"ObjectID", id},
                     {"BrowseFlag", flag},
                     {"Filter", filter},
                     {"StartingIndex", start},
                     {"RequestedCount", count}},
                    agent);
    }

    ContentDirectoryService directory{strings};
    ServiceOptions options{sysroot / "dmsinfo.conf"};
    std::mutex mutex;
    DMSService content;
};

TEST_F(ActionsTest, BrowseAnswersWithAWholeDocument) {
    const Reply reply = Browse("a$1", "BrowseDirectChildren", "dc:title");
    EXPECT_EQ(reply.code, 0);
    EXPECT_THAT(
        reply.outputs,
        ElementsAre(Pair("Result", std::string(kDIDLOpen) +
                                       std::string("<container id=\"a$1$1\"  parentID=\"a$1\"  restricted=\"1\">\n"
                                                   "<dc:title>First</dc:title>\n"
                                                   "<upnp:class>object.container.album.musicAlbum</upnp:class>\n"
                                                   "</container>\n</DIDL-Lite>")),
                    Pair("NumberReturned", "1"), Pair("TotalMatches", "1"), Pair("UpdateID", "0")));
}

TEST_F(ActionsTest, BrowseReadsItsArguments) {
    const std::string children = Browse("0")["Result"];
    for (const char* flag : {"", "browsemetadata", "nonsense"})
        EXPECT_EQ(Browse("0", flag)["Result"], children) << flag;
    EXPECT_THAT(Browse("0", "BrowseMetadata")["Result"], HasSubstr("id=\"0\"  parentID=\"-1\""));
    EXPECT_EQ(Browse("a$1$1", "", "")["Result"], Browse("a$1$1", "", "*")["Result"]) << "an empty filter is all";
    EXPECT_THAT(Browse("a$1$1", "", "upnp:album")["Result"], Not(HasSubstr("<res")));
    EXPECT_EQ(Browse("a", "", "*", "1", "1")["NumberReturned"], "1");
    EXPECT_EQ(Browse("a", "", "*", "1", "1")["TotalMatches"], "2");
    EXPECT_THAT(Browse("a", "", "*", "1", "1")["Result"], HasSubstr(">C<"));
    EXPECT_EQ(Browse("a", "", "*", "0", "4294967295")["NumberReturned"], "2") << "the largest ui4 means all as well";
    EXPECT_EQ(Browse("a", "", "*", "1", "99999999999999999999")["NumberReturned"], "1");
    EXPECT_EQ(Browse("a", "", "*", "4294967295", "0")["NumberReturned"], "0");
    EXPECT_THAT(Browse("a")["Result"], HasSubstr("A &amp; B"));
    EXPECT_THAT(Browse("a", "", "*", "0", "0", "Slash")["Result"], HasSubstr("\"a/1\""));

    SetOptions("fakecldcnt_mediaservice=yes\n");
    EXPECT_THAT(Browse("0")["Result"], HasSubstr("childCount=\"1000\""));
}

TEST_F(ActionsTest, AListThatIsTooLongForOneAnswerComesInSeveral) {
    constexpr int kSongs = 4500;
    AddFolder("/f");
    database.Execute(
        "INSERT INTO music (path, title, artist, parent_id) SELECT '/f/' || n || '.mp3', n || repeat('-', 2000), n, 1"
        " FROM generate_series(4, " +
        std::to_string(kSongs) + ") AS songs(n)");
    struct ListCase {
        const char *why, *action, *agent, *id;
        int start, count, objects;
        std::size_t answers;
        std::string total = std::to_string(kSongs);
    } cases[] = {
        {"more than a portion, and short", "Browse", "", "a", 0, 0, kSongs - 1, 1, std::to_string(kSongs - 1)},
        {"part of it", "Browse", "", "a", 1, 2001, 2001, 1, std::to_string(kSongs - 1)},
        {"its end", "Browse", "", "a", 4000, 2000, kSongs - 4001, 1, std::to_string(kSongs - 1)},
        {"a long one", "Search", "Flat", "0", 0, 0, kSongs, 2},
        {"as many as there are numbers", "Search", "Flat", "0", 3, INT32_MAX, kSongs - 3, 2},
        {"fewer than none", "Search", "Flat", "0", 0, -1, 0, 1, "0"},
        {"a folder", "Browse", "", "f", 0, 0, kSongs - 3, 2, std::to_string(kSongs - 3)},
    };
    for (const ListCase& c : cases) {
        SCOPED_TRACE(c.why);
        std::size_t answers = 0;
        std::set<std::string> ids;
        int done = 0, returned = 0;
        do {
            const Pairs arguments{{"ObjectID", c.id},
                                  {"ContainerID", c.id},
                                  {"SearchCriteria", "object.item.audioItem"},
                                  {"StartingIndex", std::to_string(c.start + done)},
                                  {"RequestedCount", std::to_string(c.count > 0 ? c.count - done : c.count)}};
            const Reply reply = Call(c.action, arguments, c.agent);
            const std::string text = reply["Result"];
            EXPECT_LT(text.size(), 10'000'000U);
            for (std::size_t at = 0; (at = text.find(" id=\"", at)) != std::string::npos; ++at)
                ids.insert(text.substr(at, text.find('"', at + 5) - at));
            EXPECT_EQ(reply["TotalMatches"], c.total);
            returned = ToInt(reply["NumberReturned"]);
            done += returned;
            ++answers;
        } while (returned > 0 && c.start + done < ToInt(c.total) && done != c.count);
        EXPECT_EQ(answers, c.answers);
        EXPECT_EQ(done, c.objects);
        EXPECT_EQ(ids.size(), static_cast<std::size_t>(c.objects)) << "each once";
    }
}

TEST_F(ActionsTest, AConsoleNamesTheObjectContainerID) {
    const Pairs arguments{{"ContainerID", "6"}, {"ObjectID", "0"}, {"StartingIndex", "0"}, {"RequestedCount", "0"}};
    EXPECT_EQ(Call("Browse", arguments, "Console")["TotalMatches"], "2");
    EXPECT_EQ(Call("Browse", arguments)["TotalMatches"], "1");
}

TEST_F(ActionsTest, BrowseRefusesBadArguments) {
    for (const char* number : {"", "abc", "-1", "1 ", "0x1", "1;2"}) {
        EXPECT_EQ(Browse("0", "", "*", number, "0").code, UPNP_E_INVALID_PARAM) << number;
        EXPECT_EQ(Browse("0", "", "*", "0", number).code, UPNP_E_INVALID_PARAM) << number;
    }
    EXPECT_THAT(Browse("0", "", "*", "x").error, IsEmpty());
    for (const char* id : {"", "99", "a$x", "a$1'; DROP TABLE music; --", "../a", "a$4294967296", "a$-1"}) {
        const Reply reply = Browse(id);
        EXPECT_EQ(reply.code, 701) << id;
        EXPECT_EQ(reply.error, "No such object") << id;
    }
    const Reply gone = Browse("a$999");
    EXPECT_EQ(gone["NumberReturned"], "0") << "a row that is gone is an empty answer";
    EXPECT_EQ(gone["TotalMatches"], "0");
    database.Stop();
    EXPECT_EQ(Browse("a").code, 501);
    EXPECT_THAT(Browse("a").error, IsEmpty());
    database.Start();
    EXPECT_EQ(Browse("a")["TotalMatches"], "2");
}

TEST_F(ActionsTest, UpdateIdOfTheRootIsTheSystems) {
    EXPECT_EQ(Browse("0")["UpdateID"], "41");
    EXPECT_EQ(Browse("0", "BrowseMetadata")["UpdateID"], "41");
    content.state_variables["SystemUpdateID"] = "42";
    EXPECT_EQ(Browse("0")["UpdateID"], "42");
    EXPECT_EQ(Browse("a")["UpdateID"], "0");
}

TEST_F(ActionsTest, BrowseLogsTheRequestAndItsResult) {
    LogCapture log(3);
    Browse("a", "", "", "0", "1", "Slash");
    const std::string text = log.Text();
    EXPECT_THAT(text, HasSubstr("ClientInfo: UserAgent:Slash, LoadProfile = , From:192.0.2.9\n"));
    EXPECT_THAT(text, HasSubstr("ObjectID=a, flag=, filter=, start=0, limit=1\n"));
    EXPECT_THAT(text, HasSubstr("ObjectID=a, flag=, result=1, total=2\n"));
    EXPECT_THAT(text, Not(HasSubstr("CDS_Browse"))) << "whole documents are level 4";
}

TEST_F(ActionsTest, CapabilitiesDependOnTheClient) {
    EXPECT_EQ(Call("GetSearchCapabilities", {}, "Roku")["SearchCaps"], "*");
    EXPECT_EQ(Call("GetSearchCapabilities", {}, "other")["SearchCaps"], "");
    SetOptions("rokusearch_mediaservice=no\n");
    EXPECT_EQ(Call("GetSearchCapabilities", {}, "Roku")["SearchCaps"], "");
    EXPECT_EQ(Call("GetSortCapabilities", {}, "Mozilla/4.0 (compatible)")["SortCaps"], "*");
    EXPECT_EQ(Call("GetSortCapabilities", {}, "Mozilla/4.0 (compatible) x")["SortCaps"], "");
    EXPECT_EQ(Call("GetSystemUpdateID")["Id"], "41");
}

}  // namespace
}  // namespace MediaServer
