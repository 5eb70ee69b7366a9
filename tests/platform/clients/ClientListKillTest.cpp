#include <csignal>
#include <cstdlib>
#include <random>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/clients/DMSClientList.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

constexpr std::size_t kMaxBytes = 1 << 24;

std::string Mac(int number) {
    char text[18];
    std::snprintf(text, sizeof text, "aa:bb:cc:00:%02x:%02x", static_cast<unsigned>(number) >> 8 & 0xffU,
                  static_cast<unsigned>(number) & 0xffU);
    return text;
}

std::string Agent(int number) {
    return "player " + std::to_string(number);
}

/// An option file whose content fits itself only when it is whole: one value, many times.
std::string Options(int number) {
    std::string text;
    for (int line = 0; line < 200; ++line)
        text += "key" + std::to_string(line) + "=\"" + std::to_string(number) + "\"\n";
    return text;
}

class KilledWriters : public ::testing::Test {
protected:
    /// Adds clients and rewrites both files until it is killed; each number goes through the pipe when both are
    /// written.
    [[noreturn]] void Write(int acknowledge, int number) {
        DMSClientList list;
        list.Load(list_file_, profile_file_);
        for (;; ++number) {
            list.UpdateKeys("HandleActionRequest", Mac(number % 500), "10.0.0.1", {{"user-agent", Agent(number)}});
            if (!list.WriteToFile() || !WriteFileAtomically(option_file_, Options(number))) _exit(1);
            if (write(acknowledge, &number, sizeof number) != sizeof number) _exit(1);
        }
    }

    /// Starts a writer, kills it after that time. @return the last number that it acknowledged, or `last`.
    int RunAndKill(std::chrono::microseconds life, int last) {
        int channel[2];
        if (pipe2(channel, O_CLOEXEC) != 0) return -1;
        const pid_t writer = fork();
        if (writer == 0) Write(channel[1], last + 1);
        close(channel[1]);
        usleep(static_cast<useconds_t>(life.count()));
        kill(writer, SIGKILL);
        for (int number; read(channel[0], &number, sizeof number) == sizeof number;) last = number;
        close(channel[0]);
        int status = 0;
        waitpid(writer, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the writer gave up";
        return last;
    }

    void ExpectWhole(int last) {
        DMSClientList list;
        ASSERT_TRUE(list.Load(list_file_, profile_file_));
        // The one after it may have been written, but not acknowledged.
        const std::string found = list.FindKey(Mac(last % 500), "browse_user-agent");
        ASSERT_EQ(found, Agent(last));
        if (last > 0) {
            ASSERT_EQ(list.FindKey(Mac((last - 1) % 500), "browse_user-agent"), Agent(last - 1));
        }
        const std::string options = ReadWholeFile(option_file_, kMaxBytes).value_or("");
        ASSERT_TRUE(options == Options(last) || options == Options(last + 1));
    }

    TempDir dir_;
    const std::string list_file_ = dir_ / "client_list.json", option_file_ = dir_ / "dmsinfo.conf",
                      profile_file_ = dir_.Write("agent.conf", "[profile TV]\nuser-agent = TV\n");
};

TEST_F(KilledWriters, NothingIsTornAndNothingAcknowledgedLost) {
    const int rounds = std::getenv("DMS_SOAK") ? 1000 : 60;
    std::mt19937 random(20);
    std::uniform_int_distribution<int> microseconds(0, 40000);
    ASSERT_TRUE(DMSClientList::WriteNewFile(list_file_));
    int last = RunAndKill(std::chrono::milliseconds(300), -1);
    ASSERT_GE(last, 0);
    for (int round = 0; round < rounds; ++round) {
        last = RunAndKill(std::chrono::microseconds(microseconds(random)), last);
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(last)) << "round " << round;
    }
    RecordProperty("writes", last);
    std::printf("%d kills, %d acknowledged writes\n", rounds, last + 1);
}

}  // namespace
}  // namespace MediaServer
