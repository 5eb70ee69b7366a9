#include <chrono>
#include <filesystem>
#include <thread>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kLocalUrl = "http://127.0.0.1:50003";
constexpr const char* kHostUrl = "http://10.77.0.1:50001";

/// A network of its own for this program and all that it starts, so that neither ports nor announcements meet those of
/// the host or of another test.
bool EnterPrivateNetwork() {
    const bool is_root = geteuid() == 0;
    const std::string uid = std::to_string(geteuid()), gid = std::to_string(getegid());
    if (unshare(is_root ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    if (!is_root) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
        std::ofstream("/proc/self/gid_map") << "0 " + gid + " 1";
    }
    return std::system("ip link set lo up") == 0;
}

bool AddInterface() {
    return std::system(
               "ip link add dmsa type veth peer name dmsb && ip addr add 10.77.0.1/24 dev dmsa && "
               "ip link set dmsa up && ip link set dmsb up && ip route add 239.0.0.0/8 dev dmsa") == 0;
}

/// False for a process that ended but was not collected either, as where the first process of a container collects
/// none.
bool Runs(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    const std::string text{std::istreambuf_iterator<char>(status), {}};
    return !text.empty() && text.find("State:\tZ") == std::string::npos;
}

template <typename Condition>
bool Eventually(Condition condition, std::chrono::milliseconds patience = 15s) {
    const auto end = Clock::now() + patience;
    while (Clock::now() < end) {
        if (condition()) return true;
        std::this_thread::sleep_for(50ms);
    }
    return condition();
}

/// One HTTP request. @return the status, 0 when there was no answer.
long Http(const std::string& url, const std::string& body = "", const std::string& action = "",
          std::string* answer = nullptr) {
    CURL* curl = curl_easy_init();
    std::string text;
    curl_slist* headers = nullptr;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 5L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "test/1.0");
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &text);
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* out) {
            static_cast<std::string*>(out)->append(data, size * count);
            return size * count;
        });
    if (!body.empty()) {
        headers = curl_slist_append(headers, "Content-Type: text/xml; charset=\"utf-8\"");
        headers = curl_slist_append(headers, ("SOAPACTION: \"" + action + "\"").c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    }
    long status = 0;
    if (curl_easy_perform(curl) == CURLE_OK) curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    if (answer != nullptr) *answer = text;
    return status;
}

/// The answer to an action of the ContentDirectory at the control URL that the description gives; empty when refused.
std::string Call(const std::string& base, const std::string& action, const std::string& arguments = "") {
    std::string description;
    Http(base + "/desc/device.xml", "", "", &description);
    const auto service = description.find("serviceId:ContentDirectory");
    const auto begin = description.find("<controlURL>", service) + sizeof("<controlURL>") - 1;
    const std::string path = description.substr(begin, description.find('<', begin) - begin);
    const std::string type = "urn:schemas-upnp-org:service:ContentDirectory:1";
    std::string answer;
    const long status =
        Http(base + path,
             "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
             "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body><u:" +
                 action + " xmlns:u=\"" + type + "\">" + arguments + "</u:" + action + "></s:Body></s:Envelope>",
             type + "#" + action, &answer);
    return status == 200 ? answer : "";
}

std::string SystemUpdateId(const std::string& base) {
    const std::string answer = Call(base, "GetSystemUpdateID");
    const auto id = answer.find("<Id>");
    return id == std::string::npos ? "" : answer.substr(id + 4, answer.find('<', id + 1) - id - 4);
}

/// "max-age=N" of the answer to a search; empty without an answer.
std::string AnnouncedLifetime(const char* own_address) {
    const UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in own{}, group{};
    own.sin_family = group.sin_family = AF_INET;
    own.sin_addr.s_addr = inet_addr(own_address);
    group.sin_addr.s_addr = inet_addr("239.255.255.250");
    group.sin_port = htons(1900);
    const timeval patience{3, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd.get(), IPPROTO_IP, IP_MULTICAST_IF, &own.sin_addr, sizeof own.sin_addr);
    const std::string search =
        "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\n"
        "ST: upnp:rootdevice\r\n\r\n";
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&own), sizeof own) != 0) return {};
    sendto(fd.get(), search.data(), search.size(), 0, reinterpret_cast<sockaddr*>(&group), sizeof group);
    char text[2048] = "";
    const ssize_t size = recv(fd.get(), text, sizeof text - 1, 0);
    const std::string answer(text, size > 0 ? static_cast<std::size_t>(size) : 0);
    const auto begin = answer.find("max-age=");
    return begin == std::string::npos ? "" : answer.substr(begin, answer.find('\r', begin) - begin);
}

class Daemon : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        static const bool entered = EnterPrivateNetwork();
        ASSERT_TRUE(entered) << "cannot make a network namespace";
    }
    Daemon() {
        namespace fs = std::filesystem;
        for (const char* dir : {"var/run", "var/log", "var/packages/MediaServer/etc", "usr/nimb/etc.defaults"}) {
            fs::create_directories(root_ / dir);
        }
        fs::create_directories(root_ / "var/packages/MediaServer/target");
        fs::copy(DMS_SOURCE_DIR "/share", root_ / "var/packages/MediaServer/target/etc", fs::copy_options::recursive);
        fs::copy(DMS_SOURCE_DIR "/share/mimetypes.txt", root_ / "usr/nimb/etc.defaults/mimetypes.txt");
    }
    ~Daemon() override {
        // Only what this test started: its children, and the daemon that its own pid file names.
        if (const pid_t pid = PidInFile(); pid > 0) kill(pid, SIGKILL);
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    pid_t Spawn(const std::vector<std::string>& arguments, const std::string& output = "output") {
        const std::string file = root_ / output;
        const pid_t child = fork();
        if (child == 0) {
            const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            std::vector<char*> argv{const_cast<char*>(DMS_PROGRAM)};
            for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv(DMS_PROGRAM, argv.data());
            _exit(127);
        }
        children_.push_back(child);
        return child;
    }
    /// Exit status of a child, -1 when it did not end in time or by a signal.
    int WaitFor(pid_t child, std::chrono::milliseconds patience = 15s) {
        int status = -1;
        if (!Eventually([&] { return waitpid(child, &status, WNOHANG) == child; }, patience)) return -1;
        std::erase(children_, child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Text(const std::string& name) { return ReadWholeFile(root_ / name, 1 << 20).value_or(""); }
    pid_t PidInFile() { return ToInt(Text("var/run/dms.pid")); }
    void SetOptions(const std::string& text) { root_.Write("var/packages/MediaServer/etc/dmsinfo.conf", text); }
    bool Serves(const std::string& base) {
        // The description can be read a moment before the device answers actions.
        return Eventually([&] { return Http(base + "/desc/device.xml") == 200 && !SystemUpdateId(base).empty(); });
    }
    int Run(const std::vector<std::string>& arguments) { return WaitFor(Spawn(arguments)); }

    TempSysroot root_;
    std::vector<pid_t> children_;
};

class Listener {
public:
    explicit Listener(std::uint16_t port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        const int on = 1;
        setsockopt(fd_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        is_bound_ =
            bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && listen(fd_.get(), 1) == 0;
    }
    bool IsBound() const { return is_bound_; }

private:
    UniqueFd fd_;
    bool is_bound_ = false;
};

TEST_F(Daemon, DetachesServesObeysSignalsAndLeavesNothingBehind) {
    ASSERT_EQ(Run({"-localserver"}), 0) << Text("output");
    ASSERT_TRUE(Serves(kLocalUrl)) << Text("var/log/dms.log");
    const pid_t pid = PidInFile();
    ASSERT_GT(pid, 0);
    EXPECT_EQ(getsid(pid), pid) << "it has a session of its own";
    EXPECT_EQ(Text("var/run/dms.pid"), std::to_string(pid)) << "no newline";
    EXPECT_EQ(Text("var/packages/MediaServer/etc/client_list.json"), "{\n\t\"ClientList\" : 0\n}\n");

    EXPECT_EQ(SystemUpdateId(kLocalUrl), "1");
    kill(pid, SIGUSR1);
    EXPECT_TRUE(Eventually([] { return SystemUpdateId(kLocalUrl) == "2"; }));

    SetOptions("loglevel_mediaservice=\"3\"\n");
    kill(pid, SIGHUP);
    EXPECT_TRUE(Eventually([&] {
        SystemUpdateId(kLocalUrl);
        return Text("var/log/dms.log").find("CDS_GetSystemUpdateID") != std::string::npos;
    })) << "the log level was read again";

    kill(pid, SIGCONT);
    EXPECT_TRUE(Eventually([&] {
        return Text("var/packages/MediaServer/etc/client_list.json").find("browse_user-agent") != std::string::npos;
    })) << "the client list was written";
    root_.Write("var/packages/MediaServer/etc/client_list.json",
                R"({"ClientList": {"00:00:00:00:00:01": {"isAccess": "false"}}})");
    kill(pid, SIGUSR2);
    EXPECT_TRUE(Eventually([] { return SystemUpdateId(kLocalUrl).empty(); })) << "the edited list was read";

    const auto asked = Clock::now();
    kill(pid, SIGTERM);
    EXPECT_TRUE(Eventually([&] { return !Runs(pid); }, 10s));
    EXPECT_LT(Clock::now() - asked, 8s);
    EXPECT_FALSE(std::filesystem::exists(root_ / "var/run/dms.pid"));
    EXPECT_NE(Text("var/packages/MediaServer/etc/client_list.json").find("isAccess"), std::string::npos);
}

TEST_F(Daemon, SecondStartIsRefusedAndHarmsNothing) {
    const pid_t first = Spawn({"--foreground", "-localserver"});
    ASSERT_TRUE(Serves(kLocalUrl)) << Text("output");
    for (const char* mode : {"--foreground", "-localserver"}) {
        EXPECT_EQ(WaitFor(Spawn({mode}, "second")), 1);
        EXPECT_NE(Text("second").find("already running as process " + std::to_string(first)), std::string::npos)
            << Text("second");
    }
    EXPECT_EQ(PidInFile(), first);
    EXPECT_EQ(SystemUpdateId(kLocalUrl), "1");
    kill(first, SIGINT);
    EXPECT_EQ(WaitFor(first), 0) << "the interrupt key stops in order";
    EXPECT_EQ(PidInFile(), 0);
}

TEST_F(Daemon, PidFileOfACrashIsNoHindrance) {
    root_.Write("var/run/dms.pid", "1");
    const pid_t server = Spawn({"--foreground", "-localserver"});
    EXPECT_TRUE(Eventually([&] { return PidInFile() == server; }));
    EXPECT_TRUE(Serves(kLocalUrl));
    kill(server, SIGTERM);
    EXPECT_EQ(WaitFor(server), 0);
}

TEST_F(Daemon, AServerThatDoesNotTellItsNumberIsNamedWithoutOne) {
    const UniqueFd other(open((root_ / "var/run/dms.pid").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
    EXPECT_EQ(Run({"--foreground", "-localserver"}), 1);
    EXPECT_NE(Text("output").find("the server is already running (\""), std::string::npos) << Text("output");
}

TEST_F(Daemon, StopsInOrderWhileItStarts) {
    for (const auto delay : {0ms, 20ms, 100ms}) {
        const pid_t server = Spawn({"--foreground", "-localserver"});
        while (PidInFile() != server && kill(server, 0) == 0) std::this_thread::yield();
        std::this_thread::sleep_for(delay);
        kill(server, SIGTERM);
        EXPECT_EQ(WaitFor(server), 0) << delay.count() << ": " << Text("output");
        EXPECT_EQ(PidInFile(), 0);
    }
}

TEST_F(Daemon, AListThatIsThereIsNotRewrittenByTheStart) {
    const std::string list = R"({"ClientList" :{"aa:bb:cc:00:11:22":{"isAccess":"false"}} })";
    root_.Write("var/packages/MediaServer/etc/client_list.json", list);
    const pid_t server = Spawn({"--foreground", "-localserver"});
    ASSERT_TRUE(Serves(kLocalUrl)) << Text("output");
    EXPECT_EQ(Text("var/packages/MediaServer/etc/client_list.json"), list);
    kill(server, SIGTERM);
    EXPECT_EQ(WaitFor(server), 0);
}

TEST_F(Daemon, PortInUseIsSaidAtATerminalAndWaitedOutDetached) {
    const Listener other(50003);
    ASSERT_TRUE(other.IsBound());
    EXPECT_EQ(Run({"--foreground", "-localserver"}), 1);
    EXPECT_NE(Text("output").find("port 50003 on 127.0.0.1 is in use"), std::string::npos) << Text("output");
    EXPECT_NE(Text("output").find("Failed to init UPNP, err=-203"), std::string::npos) << Text("output");
    EXPECT_EQ(PidInFile(), 0);

    ASSERT_EQ(Run({"-localserver"}), 0);
    ASSERT_TRUE(Eventually([&] { return PidInFile() > 0; }));
    const pid_t pid = PidInFile();
    std::this_thread::sleep_for(500ms);
    EXPECT_TRUE(Runs(pid)) << "a failed start waits for SIGTERM";
    kill(pid, SIGTERM);
    EXPECT_TRUE(Eventually([&] { return !Runs(pid); }));
    EXPECT_EQ(PidInFile(), 0);
}

TEST_F(Daemon, WithoutAnInterfaceItSaysSo) {
    EXPECT_EQ(Run({"--foreground"}), 1);
    EXPECT_NE(Text("output").find("no network interface"), std::string::npos) << Text("output");
    EXPECT_TRUE(std::filesystem::exists(root_ / "var/run/dms.ip"));
    EXPECT_EQ(Text("var/run/dms.ip"), "");
}

TEST_F(Daemon, TornClientListAndMissingFilesDoNotStopIt) {
    root_.Write("var/packages/MediaServer/etc/client_list.json", R"({"ClientList": {"00:00)");
    std::filesystem::remove(root_ / "var/packages/MediaServer/target/etc/agent.conf");
    std::filesystem::remove(root_ / "var/packages/MediaServer/target/etc/dmsicon48.jpg");
    const pid_t server = Spawn({"--foreground", "-localserver"});
    ASSERT_TRUE(Serves(kLocalUrl)) << Text("output");
    EXPECT_EQ(SystemUpdateId(kLocalUrl), "1");
    EXPECT_EQ(Text("var/packages/MediaServer/etc/client_list.json.broken"), R"({"ClientList": {"00:00)");
    kill(server, SIGTERM);
    EXPECT_EQ(WaitFor(server), 0);
    EXPECT_NE(Text("output").find("client_list.json.broken"), std::string::npos);
}

TEST_F(Daemon, WithoutMenuTextsItDoesNotStart) {
    std::filesystem::remove_all(root_ / "var/packages/MediaServer/target/etc/strings");
    EXPECT_EQ(Run({"--foreground", "-localserver"}), 1);
    EXPECT_NE(Text("output").find("Failed to import strings"), std::string::npos) << Text("output");
}

// The last two: the interface stays.
TEST_F(Daemon, ServesOnTheFirstInterfaceWhenTheNamedOneIsMissing) {
    ASSERT_TRUE(AddInterface());
    SetOptions("network_mediaservice=\"nosuch0\"\nloglevel_mediaservice=\"2\"\n");
    const pid_t server = Spawn({"--foreground"});
    ASSERT_TRUE(Serves(kHostUrl)) << Text("output");
    EXPECT_EQ(Text("var/run/dms.ip"), "10.77.0.1");
    EXPECT_NE(Text("var/log/dms.log").find("MediaServer bind to 10.77.0.1:50001"), std::string::npos);
    EXPECT_NE(Text("var/log/dms.log").find("MediaServer device desc:http://10.77.0.1:50001/desc/device.xml"),
              std::string::npos);
    EXPECT_EQ(SystemUpdateId(kHostUrl), "1");
    kill(server, SIGTERM);
    EXPECT_EQ(WaitFor(server), 0);
}

TEST_F(Daemon, OptionsOfTheNetworkAndTheMenu) {
    // Two entries of the interface table have the name; the later one counts.
    ASSERT_EQ(std::system("ip addr add 10.78.0.1/24 dev dmsa"), 0);
    root_.Write("var/packages/MediaServer/etc/menu_custom.xml",
                R"(<menu><entrylist><entry id="own"><title>My own menu</title><entrylist>
                   <entry id="all" type="index_storagefolder" media="music"><title>All</title></entry>
                   </entrylist></entry></entrylist></menu>)");
    for (const char* too_short : {"30", "abc"}) {
        SetOptions(std::string("network_mediaservice=dmsa\nmenustyle_mediaservice=custom\nadvrexpire_mediaservice=") +
                   too_short + "\n");
        const pid_t server = Spawn({"--foreground"});
        ASSERT_TRUE(Serves("http://10.78.0.1:50001")) << Text("output");
        EXPECT_EQ(Text("var/run/dms.ip"), "10.78.0.1");
        EXPECT_TRUE(Eventually([] { return AnnouncedLifetime("10.78.0.1") == "max-age=70"; })) << too_short;
        const std::string root = Call("http://10.78.0.1:50001", "Browse",
                                      "<ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag>"
                                      "<Filter>*</Filter><StartingIndex>0</StartingIndex>"
                                      "<RequestedCount>0</RequestedCount><SortCriteria/>");
        EXPECT_NE(root.find("My own menu"), std::string::npos) << root;
        kill(server, SIGTERM);
        EXPECT_EQ(WaitFor(server), 0);
    }
}

}  // namespace
}  // namespace MediaServer
