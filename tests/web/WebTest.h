#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/database/TestDatabase.h"
#include "platform/network/Interfaces.h"
#include "support/TempDir.h"
#include "web/VirtualDirs.h"

namespace MediaServer {

/// The virtual directories on a real database, a real object tree and a real client list, in a system root of their
/// own.
class WebTest : public DatabaseTest {
protected:
    static constexpr const char* kHere = "127.0.0.1";
    static constexpr const char* kHereMac = "00:00:00:00:00:01";

    WebTest() : strings("enu") {
        Write("tmp/dms/s_device.xml", "<device/>");
        Write("tmp/dms/s_empty_agent.xml", "<any agent at all/>");
        Write("tmp/dms/dmsicon48.jpg", "jpg48");
        Write("tmp/dms/dmsicon120.png", "png120!");
        Write("usr/nimb/etc.defaults/mimetypes.txt", "mp3 audio/mpeg jpg image/jpeg");
        Write("menu.xml", R"(<menu><entrylist>
            <entry id="top"><title>Top &amp; more</title><entrylist>
                <entry id="artists" type="categoryfolder" media="music"><title>Artists</title>
                    <directory>:@AllIndexFiles@</directory>
                    <categories><category>artist</category><category>album</category></categories></entry>
                <entry id="letters" type="categoryfolder" media="music"><title>Letters</title>
                    <directory>:@AllIndexFiles@</directory>
                    <categories><category index="1">artist</category></categories></entry>
                <entry id="all" type="categoryfolder" media="music"><title>All</title>
                    <directory>:@AllIndexFiles@</directory></entry>
            </entrylist></entry>
        </entrylist></menu>)");
        directory = std::make_unique<ContentDirectoryService>(strings);
        EXPECT_TRUE(directory->LoadMenu(root / "menu.xml", {}, false));
        dirs = std::make_unique<VirtualDirs>(WebContext{*directory, clients,
                                                        [this](const std::string& agent) {
                                                            return root / (agent.empty() ? "tmp/dms/s_empty_agent.xml"
                                                                                         : "tmp/dms/s_device.xml");
                                                        },
                                                        [](const std::string& address) {
                                                            return FindClientMAC({{kHereMac, kHere}}, address);
                                                        }});
        web = dirs->Callbacks();
    }

    std::string Write(const std::string& name, const std::string& content) { return root.Write(name, content); }
    std::int32_t AddTrack(const std::string& path, const std::string& title, const std::string& artist = "A") {
        return database.Insert("music", "path, title, artist, album",
                               "'" + path + "', '" + title + "', '" + artist + "', 'B'");
    }
    static WebRequest From(const std::string& address, const std::string& agent = "test") {
        WebRequest request;
        request.client_address = address;
        if (!agent.empty()) request.headers["user-agent"] = agent;
        return request;
    }
    std::string Drain(void* handle) {
        std::string text;
        char buffer[7];  // smaller than any file here, so that reads follow each other
        for (int got; (got = web.read(handle, buffer, sizeof buffer)) > 0;) text.append(buffer, got);
        return text;
    }
    /// One whole GET as the library does it: the content, or "-" when it failed.
    std::string Get(const std::string& name, const WebRequest& request = From(kHere)) {
        WebFileInfo info;
        if (!web.get_info(request, name, info)) return "-";
        void* handle = web.open(request, name, false);
        if (handle == nullptr) return "-";
        const std::string text = Drain(handle);
        EXPECT_EQ(text.size(), info.length) << name;
        EXPECT_EQ(web.close(handle), 0);
        return text;
    }
    std::size_t TemporaryPages() const {
        std::size_t pages = 0;
        for (const auto& entry : std::filesystem::directory_iterator(root / "tmp")) pages += entry.is_regular_file();
        return pages;
    }

    TempSysroot root;
    DMSStringBundle strings;
    DMSClientList clients;
    std::unique_ptr<ContentDirectoryService> directory;
    std::unique_ptr<VirtualDirs> dirs;
    VirtualDirCallbacks web;
};

}  // namespace MediaServer
