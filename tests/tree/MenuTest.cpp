#include <set>

#include "support/LogCapture.h"
#include "tree/MenuDirectory.h"
#include "tree/TreeTest.h"
#include "tree/cdsmenu.h"

namespace MediaServer {
namespace {

constexpr const char* kMenu = R"(<?xml version="1.0" encoding="utf-8"?>
<!-- a comment --><menu><entrylist>
  <other><title>not an entry</title></other>
  <entry><title>first</title><entrylist>
    <entry><title>nested</title><entrylist>
      <entry id="art" type="categoryfolder" media="music">
        <title>Artists &amp; more</title><directory>:@AllIndexFiles@</directory>
        <categories><category index="1">artist</category><category>flavour</category><category>album</category></categories>
      </entry>
    </entrylist></entry>
  </entrylist></entry>
  <entry id="x1"/>
  <entry id="x2"><entrylist><entry id="x3"><title>lost with its parent</title></entry></entrylist></entry>
  <entry id="x4" type="categoryfolder"><title>no media</title><directory>a</directory></entry>
  <entry id="x5" type="categoryfolder" media="scents"><title>unknown media</title><directory>a</directory></entry>
  <entry id="x6" type="storagefolder" media="music"><title>no directory</title></entry>
  <entry id="x7" type="storagefolder" media="photo"><title>no photo folder</title><directory>a</directory></entry>
  <entry id="x8" type="hologram" media="music"><title>unknown type</title></entry>
  <entry id="x9" type="reelhouse_collection" media="collection"><title>nothing</title></entry>
  <entry id="x10" type="reelhouse_categoryfolder" media="movie"><title>no place</title></entry>
  <entry id="x11" type="smartct" media="music"><title>no conjunction</title><rulelist/></entry>
  <entry id="x12" type="smartct" media="music"><title>no rules</title><conjunction>OR</conjunction></entry>
  <entry id="x13" type="radio" media="music"><title>not switched on</title></entry>
  <entry id="dir" type="storagefolder" media="video"><title>Folder</title><directory>films</directory></entry>
  <entry id="idx" type="index_storagefolder" media="music"><title>Shares</title></entry>
  <entry><title>last</title></entry>
</entrylist></menu>)";

using Menu = ContentDirectoryService::Menu;

class MenuTest : public ClientsTest {
protected:
    MenuTest() { Share("music = /m\nvideo = /v\n"); }

    void Share(const std::string& lines) { sysroot.Write("var/packages/MediaServer/etc/media_folders.conf", lines); }
    bool Load(const std::string& text) { return service.LoadMenu(sysroot.Write("menu.xml", text), {}, false); }
    Answer Find(std::string_view id, BrowseFlag flag = BrowseFlag::DirectChildren, const std::string& agent = "") {
        ClientRequest request;
        request.headers["user-agent"] = agent;
        Answer answer;
        Recorder recorder;
        update_id = 77;
        answer.result =
            service.FindObject(request, id, flag, Property::kAll, 0, 0, 0, recorder, answer.total, update_id);
        answer.objects = std::move(recorder.objects);
        return answer;
    }

    ContentDirectoryService service{strings};
    std::uint32_t update_id = 0;
};

TEST_F(MenuTest, EntriesBecomeNodesAndBrokenOnesAreSkipped) {
    EXPECT_EQ(Find("0").result, kNoSuchObject) << "before the menu is loaded";
    ASSERT_TRUE(Load(kMenu));
    EXPECT_THAT(Find("0").objects, ElementsAre(Written{"21", "0", "first", 1}, Written{"dir", "0", "Folder", 15},
                                               Written{"idx", "0", "Shares", 15}, Written{"23", "0", "last", 1}));
    EXPECT_THAT(Find("22").objects, ElementsAre(Written{"art", "22", "Artists & more", 1}));
    EXPECT_THAT(Find("0", BrowseFlag::Metadata).objects, ElementsAre(Written{"0", "-1", "Root", 1, 4}));
    EXPECT_THAT(Find("0", BrowseFlag::DirectChildren, "Audio").objects,
                ElementsAre(Written{"art", "0", "Artists & more", 1}, Written{"idx", "0", "Shares", 15}));
    EXPECT_EQ(Find("21", BrowseFlag::DirectChildren, "Audio").result, kNoSuchObject);

    AddRow("music", "/m/a.mp3", "Song", "artist, album", "'Abba', 'Gold'");
    EXPECT_THAT(Find("art").Ids(), ElementsAre("art$#A", "art$##")) << "an index gives the letters first";
    EXPECT_THAT(Find("art$#A").Titles(), ElementsAre("Abba"));
    EXPECT_THAT(Find("art$#A$1").Titles(), ElementsAre("Gold")) << "the unknown category is left out";
    AddFolder("/v/films");
    AddRow("video", "/v/films/f.mkv", "Film");
    EXPECT_THAT(Find("dir").Titles(), ElementsAre("Film"));
}

TEST_F(MenuTest, EachSkippedEntryHasItsLogLine) {
    LogCapture log(2);
    Load(kMenu);
    const std::string text = log.Text();
    for (const char* line :
         {"entryList entrylist", "Creating node Folder, type=storagefolder, media=video",
          "entry no directory, no directory property", "entry a, invalid directory",
          "Unknown category flavour on media type music", "entry no place, no directory property",
          "entry no rules, no rulelist el", "Adding menu entry Artists & more:art", "Adding menu entry Root:0"}) {
        EXPECT_THAT(text, HasSubstr(line));
    }
    EXPECT_LT(text.find("Adding menu entry Folder:dir"), text.find("Adding menu entry Root:0")) << "children first";
}

TEST_F(MenuTest, AFileThatIsNoMenuLeavesAnEmptyRoot) {
    for (const char* text : {"", "<menu>", "<menu/>", "<list><entrylist/></list>", "plain text"}) {
        ContentDirectoryService empty(strings);
        EXPECT_FALSE(empty.LoadMenu(sysroot.Write("menu.xml", text), {}, false)) << text;
    }
    EXPECT_FALSE(service.LoadMenu(sysroot / "absent.xml", {.in_template = true}, false));
    const Answer root = Find("0");
    EXPECT_EQ(root.result, 0);
    EXPECT_EQ(root.total, 0);
}

/// What menus ask for, as plain entries.
class PlainLibrary : public VideoLibraryNodes {
public:
    CDSMenuEntry& MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override {
        return nodes.Make<CDSMenuEntry>(entry.title, entry.id, entry.parent_id, entry.type);
    }
    CDSMenuEntry& MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override {
        return MakeCategoryFolder(nodes, std::move(entry));
    }
};

TEST_F(MenuTest, TheVideoLibraryFollowsTheMenuAndHasABranchOfTheConsoles) {
    sysroot.Write("var/packages/MediaServer/target/etc/menu_rh_template.xml",
                  "<menu><entrylist><entry id='rh'><title>Library</title></entry></entrylist></menu>");
    const std::string menu =
        sysroot.Write("menu.xml", "<menu><entrylist><entry id='a'><title>A</title></entry></entrylist></menu>");
    const PlainLibrary library;
    for (const bool in_template : {true, false}) {
        ContentDirectoryService with(strings, library);
        EXPECT_TRUE(with.LoadMenu(menu, {.in_template = in_template, .in_full_menu = !in_template}, false));
        EXPECT_NE(with.FindNode(Menu::Default, "a"), nullptr);
        EXPECT_EQ(with.FindNode(Menu::Default, "rh") != nullptr, in_template);
        for (const char* id : {"120", "130", "164"}) {
            EXPECT_EQ(with.FindNode(Menu::Full, id) == nullptr, in_template) << id;
        }
    }
}

TEST_F(MenuTest, DirectoriesOfTemplates) {
    const std::pair<const char*, const char*> kCases[] = {
        {":@AllIndexFiles@", ":@AllIndexFiles@"},
        {"photo/2010", "/m/photo/2010"},
        {":volume/x", "/volume/x"},
        {"/volume/x", "/volume/x"},
        {":", ""},
        {"", "/m"},
    };
    for (const auto& [value, expected] : kCases)
        EXPECT_EQ(ResolveMenuDirectory(MediaKind::Music, value), expected) << value;
    EXPECT_EQ(ResolveMenuDirectory(MediaKind::Photo, "a"), "") << "no shared folder of that kind";
}

TEST_F(MenuTest, EveryShippedMenuAnswers) {
    for (const char* name : {"simple", "ipod", "advance", "local", "rh_template"}) {
        ContentDirectoryService shipped(strings);
        ASSERT_TRUE(shipped.LoadMenu(std::string(DMS_SOURCE_DIR "/share/menu_") + name + ".xml", {}, true)) << name;
        std::set<std::string> seen;
        std::vector<std::string> ids{"0"};
        for (std::size_t i = 0; i < ids.size(); ++i) {
            EXPECT_TRUE(seen.insert(ids[i]).second) << name << " uses " << ids[i] << " twice";
            Recorder recorder;
            std::int32_t total = 0;
            EXPECT_GE(
                shipped.FindObject({}, ids[i], BrowseFlag::DirectChildren, 0, 0, 0, 0, recorder, total, update_id), 0)
                << name << " " << ids[i];
            for (const Written& object : recorder.objects) {
                if (object.id.find('$') == std::string::npos) ids.push_back(object.id);
            }
        }
    }
}

TEST_F(MenuTest, FindObjectSplitsByTheSeparatorOfTheClient) {
    Load(kMenu);
    AddRow("music", "/m/a.mp3", "Song", "artist, album", "'Abba', 'Gold'");
    EXPECT_THAT(Find("art/$A", BrowseFlag::DirectChildren, "Slash").Ids(), ElementsAre("art/$A/1"));
    EXPECT_EQ(Find("art/$A").result, kNoSuchObject);
    EXPECT_EQ(Find("art$#A", BrowseFlag::DirectChildren, "Slash").result, kNoSuchObject);
    for (const std::string& id : {std::string(), std::string("0'; DROP TABLE music"), std::string("../21"),
                                  std::string("$"), "art$" + std::string(600, '0')}) {
        const Answer answer = Find(id);
        EXPECT_EQ(answer.result, kNoSuchObject) << id;
        EXPECT_EQ(update_id, 77U) << "no identifier for " << id;
    }
    EXPECT_EQ(database.Value("SELECT count(*) FROM music"), "1");
}

TEST_F(MenuTest, UpdateIdsFollowTheTotals) {
    Load(kMenu);
    const auto update_of = [&](std::string_view id) {
        Find(id);
        return update_id;
    };
    AddRow("music", "/m/a.mp3", "Song", "artist, album", "'Abba', 'Gold'");
    EXPECT_EQ(update_of("art"), 0U);
    EXPECT_EQ(update_of("art"), 0U);
    AddRow("music", "/m/b.mp3", "Song", "artist, album", "'Beck', 'Odelay'");
    EXPECT_EQ(update_of("art"), 1U);
    EXPECT_EQ(update_of("art"), 1U);
    EXPECT_EQ(update_of("art$#A$1$1$@1"), 77U) << "an item has none";
    Find("art", BrowseFlag::Metadata);
    EXPECT_EQ(update_id, 77U) << "metadata has none";
    database.Stop();
    EXPECT_EQ(update_of("art"), 77U) << "a failure has none";
    database.Start();
    EXPECT_EQ(update_of("art"), 1U);
}

TEST(ContainerUpdateTable, ForgetsWhatNobodyAskedForTheLongest) {
    ContainerUpdateTable table;
    table.Update("old", 1);
    EXPECT_EQ(table.Update("old", 2), 1U);
    table.Update("kept", 1);
    table.Update("kept", 2);
    for (std::size_t i = 0; i + 1 < ContainerUpdateTable::kMaxEntries; ++i) {
        table.Update("id" + std::to_string(i), 0);
        EXPECT_EQ(table.Update("kept", 2), 1U);
    }
    EXPECT_EQ(table.Update("old", 2), 0U);
}

TEST(CDSContainer, PagesOfStaticChildren) {
    CDSMenuEntry root("Root", "0", "-1", 1), a("A", "a", "0", 1), b("B", "b", "0", 15);
    CDSObject item("I", "i", "0", ObjectType::kMusicItem);
    for (CDSObject* child : {static_cast<CDSObject*>(&a), &item, static_cast<CDSObject*>(&b)}) root.AddChild(child);
    const std::tuple<std::int32_t, std::int32_t, std::vector<std::string>> kPages[] = {
        {0, 0, {"a", "i", "b"}},     {1, 0, {"i", "b"}}, {2, 9, {"b"}}, {3, 1, {}}, {0, -1, {}},
        {1, 2147483647, {"i", "b"}},
    };
    for (const auto& [start, count, ids] : kPages) {
        const Answer answer = Children(root, "0", {.start = start, .count = count});
        EXPECT_EQ(answer.Ids(), ids) << start << " " << count;
        EXPECT_EQ(answer.total, 3);
    }
    const Answer counted = Children(root, "0", {.options = BrowseOption::kFakeChildCount});
    EXPECT_THAT(counted.objects, ElementsAre(Written{"a", "0", "A", 1, 1000}, Written{"i", "0", "I", 18},
                                             Written{"b", "0", "B", 15, 1000}));
    EXPECT_THAT(Metadata(root, "0").objects, ElementsAre(Written{"0", "-1", "Root", 1, 3}));
}

}  // namespace
}  // namespace MediaServer
