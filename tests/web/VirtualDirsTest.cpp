#include <atomic>
#include <thread>

#include <sys/stat.h>

#include "WebTest.h"
#include "web/VirtualDirs.h"

namespace MediaServer {
namespace {

class VirtualDirsTest : public WebTest {};

struct UrlCase {
    const char *why, *url;
    const char* content;  // "-" for not found
};
constexpr UrlCase kUrlCases[] = {
    {"a profile", "/m/MP3/1.mp3", "song"},
    {"a photo", "/p/JPEG_SM/1.jpg", "photo"},
    {"its small thumbnail", "/sp/JPEG_TN/1.jpg", "small"},
    {"its big thumbnail under the older name", "/bp/JPEG_SM/1.jpg", "big"},
    {"the tables do not mix", "/v/NDLNA/1.mp3", "-"},
    {"no such row", "/m/NDLNA/3.mp3", "-"},
    {"a row whose file is gone", "/m/NDLNA/2.mp3", "-"},
    {"a path", "/m/../../etc/passwd", "-"},
    {"an icon that does not exist", "/tmp_icon/dmsicon48.png", "-"},
    {"an icon", "/tmp_icon/dmsicon120.png", "png120!"},
    {"a file beside the icons", "/tmp_icon/s_device.xml", "-"},
};

TEST_F(VirtualDirsTest, NamesLeadToFiles) {
    AddTrack(Write("media/a.mp3", "song"), "T");
    AddTrack(root / "media/gone.mp3", "T");
    const std::string photo = Write("media/p.jpg", "photo");
    Write("media/@eaDir/p.jpg/NIMBPHOTO_THUMB_S.jpg", "small");
    Write("media/@eaDir/p.jpg/NIMBPHOTO:THUMB_B.jpg", "big");
    database.Insert("photo", "path", "'" + photo + "'");
    for (const UrlCase& c : kUrlCases) {
        SCOPED_TRACE(c.why);
        EXPECT_EQ(Get(c.url), c.content);
    }
}

TEST_F(VirtualDirsTest, TypesFollowTheName) {
    AddTrack(Write("media/a.bin", "song"), "T");
    const std::pair<const char*, const char*> types[] = {
        {"/desc/device.xml", "text/xml"},
        {"/tmp_icon/dmsicon48.jpg", "image/jpeg"},
        {"/tmp_icon/dmsicon120.png", "image/png"},
        {"/m/NDLNA/1.MP3", "audio/mpeg"},
        {"/m/NDLNA/1.xyz", "application/octet-stream"},
        {"/cds/", "text/html"},
    };
    for (const auto& [name, type] : types) {
        WebFileInfo info;
        EXPECT_TRUE(web.get_info(From(kHere), name, info)) << name;
        EXPECT_EQ(info.content_type, type) << name;
        EXPECT_GT(info.last_modified, 1500000000) << name;
    }
}

TEST_F(VirtualDirsTest, WhatIsNoPlainFileIsNotServed) {
    const std::string pipe = root / "media.mp3";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    AddTrack(pipe, "pipe");
    AddTrack(root.Path(), "directory");
    EXPECT_EQ(Get("/m/1.mp3"), "-");
    EXPECT_EQ(Get("/m/2.mp3"), "-");
    EXPECT_EQ(web.open(From(kHere), "/m/1.mp3", false), nullptr) << "and nobody waits for a writer";
}

TEST_F(VirtualDirsTest, HandlesReadAndSeekAndNeverWrite) {
    AddTrack(Write("media/a.mp3", "0123456789"), "T");
    EXPECT_EQ(web.open(From(kHere), "/m/1.mp3", true), nullptr);
    void* handle = web.open(From(kHere), "/m/1.mp3", false);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(web.seek(handle, -3, SEEK_END), 0);
    EXPECT_EQ(Drain(handle), "789");
    EXPECT_EQ(web.seek(handle, 5000000000, SEEK_SET), 0) << "offsets have 64 bits";
    EXPECT_EQ(web.seek(handle, -1, SEEK_SET), -1);
    EXPECT_GE(web.descriptor(handle), 0);
    web.close(handle);
    char byte;
    EXPECT_EQ(web.read(nullptr, &byte, 1), -1);
    EXPECT_EQ(web.seek(nullptr, 0, SEEK_SET), -1);
}

TEST_F(VirtualDirsTest, StrangersWithoutAHardwareAddressGetNothing) {
    const WebRequest stranger = From("192.0.2.77");
    for (const char* name : {"/desc/device.xml", "/tmp_icon/dmsicon48.jpg", "/cds/"}) {
        EXPECT_EQ(Get(name, stranger), "-") << name;
    }
    EXPECT_EQ(TemporaryPages(), 0U);
    clients.UpdateKeys("HandleDiscovery", "aa:bb:cc:dd:ee:ff", "192.0.2.77", {{"modelName", "M"}});
    EXPECT_EQ(Get("/tmp_icon/dmsicon48.jpg", stranger), "jpg48") << "unless it was seen before";
}

TEST_F(VirtualDirsTest, OpensAreRecorded) {
    EXPECT_EQ(Get("/tmp_icon/dmsicon48.jpg", From(kHere, "player/1")), "jpg48");
    EXPECT_EQ(clients.FindKey(kHereMac, "open_user-agent"), "player/1");
    clients.UpdateKeys("HandleActionRequest", kHereMac, kHere, {{"user-agent", "player/1"}});

    EXPECT_EQ(Get("/desc/device.xml", From(kHere, "player/1")), "<device/>");
    EXPECT_EQ(clients.FindKey(kHereMac, "browse_user-agent"), "player/1") << "the same agent keeps its entry";

    EXPECT_EQ(Get("/desc/device.xml", From(kHere, "")), "<any agent at all/>");
    EXPECT_EQ(clients.FindKey(kHereMac, "open_user-agent"), "No Open User Agent");
    EXPECT_EQ(clients.FindKey(kHereMac, "browse_user-agent"), "") << "another one starts a new entry";

    const std::string longer_than_stored(3000, 'x');
    EXPECT_EQ(Get("/desc/device.xml", From(kHere, longer_than_stored)), "<device/>");
    clients.UpdateKeys("HandleActionRequest", kHereMac, kHere, {{"user-agent", "player/1"}});
    EXPECT_EQ(Get("/desc/device.xml", From(kHere, longer_than_stored)), "<device/>");
    EXPECT_EQ(clients.FindKey(kHereMac, "browse_user-agent"), "player/1") << "it is the same agent all the same";
}

TEST_F(VirtualDirsTest, ARefusedClientSeesTheServerOnly) {
    AddTrack(Write("media/a.mp3", "song"), "T");
    const std::string list = Write(
        "list.json", std::string(R"({"ClientList":{")") + kHereMac + R"(":{"ip":"127.0.0.1","isAccess":"false"}}})");
    ASSERT_TRUE(clients.Load(list, "/nonexistent"));
    EXPECT_EQ(Get("/m/1.mp3"), "-");
    EXPECT_EQ(Get("/cds/"), "-");
    EXPECT_EQ(Get("/desc/device.xml"), "<device/>");
}

TEST_F(VirtualDirsTest, APageLivesUntilItsTransferCloses) {
    EXPECT_EQ(web.open(From(kHere), "/cds/", false), nullptr) << "nothing was rendered";
    WebFileInfo info;
    ASSERT_TRUE(web.get_info(From(kHere), "/cds/", info));
    EXPECT_EQ(TemporaryPages(), 1U);
    EXPECT_EQ(web.open(From(kHere), "/cds/0", false), nullptr) << "another URL, though the same object";
    void* handle = web.open(From(kHere), "/cds/", false);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(web.open(From(kHere), "/cds/", false), nullptr) << "one rendering, one transfer";
    EXPECT_LT(web.descriptor(handle), 0) << "so that whoever sends it keeps the handle";
    web.close(handle);
    EXPECT_EQ(TemporaryPages(), 0U);
}

TEST_F(VirtualDirsTest, APageThatCannotBeWrittenIsNotServed) {
    std::filesystem::remove_all(root / "tmp");
    EXPECT_EQ(Get("/cds/"), "-");
}

TEST_F(VirtualDirsTest, FewPagesAreRenderedAtOnce) {
    constexpr int kMost = 2;
    AddTrack(Write("media/a.mp3", "song"), "T");
    database.Execute("BEGIN; LOCK TABLE music");
    std::vector<std::thread> renderings;
    std::atomic<int> good = 0;
    for (int i = 0; i < kMost; ++i) renderings.emplace_back([&] { good += Get("/cds/all") != "-"; });
    for (int i = 0; i < 500 && TemporaryPages() < kMost; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    WebFileInfo info;
    EXPECT_FALSE(web.get_info(From(kHere), "/cds/all", info));
    EXPECT_TRUE(info.is_busy);
    EXPECT_TRUE(web.get_info(From(kHere), "/desc/device.xml", info)) << "everything else goes on";
    database.Execute("COMMIT");
    for (std::thread& rendering : renderings) rendering.join();
    EXPECT_EQ(good, kMost);
    EXPECT_NE(Get("/cds/all"), "-") << "and there is room again";
}

}  // namespace
}  // namespace MediaServer
