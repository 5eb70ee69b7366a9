#include <future>
#include <map>
#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include "platform/http/WorkerPool.h"

namespace MediaServer {
namespace {

using namespace std::chrono_literals;

/// Tasks that run until they are told to end, and what became of them.
class WorkerPoolTest : public ::testing::Test {
protected:
    static constexpr std::size_t kThreads = 4, kQueued = 6;

    void TearDown() override {
        for (auto& [name, task] : tasks_) End(name);
        pool_.Stop();
    }
    bool Submit(const std::string& name) {
        Task& task = tasks_[name];
        return pool_.Submit(name.substr(0, 1), [&task](bool abandoned) {
            task.begun.set_value(!abandoned);
            if (!abandoned) task.end.get_future().wait();
        });
    }
    void SubmitMany(const std::string& owner, int count) {
        for (int i = 1; i <= count; ++i) ASSERT_TRUE(Submit(owner + std::to_string(i)));
    }
    void End(const std::string& name) {
        Task& task = tasks_[name];
        if (!std::exchange(task.ended, true)) task.end.set_value();
    }
    /// "runs", "waits" or "gave way".
    std::string StateOf(const std::string& name, std::chrono::milliseconds patience = 50ms) {
        if (tasks_[name].begun_future.wait_for(patience) != std::future_status::ready) return "waits";
        return tasks_[name].begun_future.get() ? "runs" : "gave way";
    }

    struct Task {
        std::promise<bool> begun;
        std::shared_future<bool> begun_future{begun.get_future()};
        std::promise<void> end;
        bool ended = false;
    };
    std::map<std::string, Task> tasks_;
    WorkerPool pool_{kThreads, kQueued};
};

TEST_F(WorkerPoolTest, WhoAsksMuchWaitsForItself) {
    SubmitMany("A", 6);
    for (const char* name : {"A1", "A2", "A3"}) EXPECT_EQ(StateOf(name, 5s), "runs") << name;
    EXPECT_EQ(StateOf("A4"), "waits") << "the last thread is for another";
    Submit("B1");
    EXPECT_EQ(StateOf("B1", 5s), "runs");
    Submit("B2");
    Submit("C1");
    EXPECT_EQ(StateOf("C1"), "waits") << "there are four threads";
    // Those that wait are A with three threads, B with one and C with none.
    End("A1");
    EXPECT_EQ(StateOf("C1", 5s), "runs");
    EXPECT_EQ(StateOf("B2"), "waits");
    End("C1");
    EXPECT_EQ(StateOf("B2"), "waits") << "two of A, one of B: one thread is kept again";
    End("A2");
    EXPECT_EQ(StateOf("A4", 5s), "runs") << "as many as B, but served longer ago";
    EXPECT_EQ(StateOf("B2"), "waits");
}

TEST_F(WorkerPoolTest, TheLongestQueueGivesWay) {
    SubmitMany("A", 3 + 4);
    ASSERT_EQ(StateOf("A3", 5s), "runs");
    Submit("B1");
    ASSERT_EQ(StateOf("B1", 5s), "runs");
    ASSERT_TRUE(Submit("B2"));
    ASSERT_TRUE(Submit("B3"));
    EXPECT_FALSE(Submit("A8")) << "the queue is full, and mostly of A's tasks";
    EXPECT_TRUE(Submit("C1"));
    EXPECT_EQ(StateOf("A7", 5s), "gave way") << "the newest of the longest";
    EXPECT_EQ(StateOf("A6"), "waits");
    EXPECT_FALSE(Submit("B4")) << "A has no more than one ahead of B";
    for (const auto& name : {"A1", "A2", "A3", "A4", "B1", "C1"}) End(name);
    EXPECT_EQ(StateOf("C1", 5s), "runs");
}

}  // namespace
}  // namespace MediaServer
