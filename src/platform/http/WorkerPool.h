#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace MediaServer {

/// A bounded queue of tasks and the threads that run them, started as tasks need them.
///
/// Every accepted task is run exactly once: by a worker, or by Stop with `abandoned` true, so that what waits for it is
/// always released. Threads: Submit from any; Stop from one, once. A task must not throw.
class WorkerPool {
public:
    using Task = std::function<void(bool abandoned)>;

    /// @param queued  how many may wait when all threads are at work.
    WorkerPool(std::size_t threads, std::size_t queued);
    ~WorkerPool();

    /// @return false when the queue is full, the pool has stopped or memory runs out; the task is then never run.
    bool Submit(Task task) noexcept;
    /// Abandons what is queued, waits for what runs, joins the threads.
    void Stop();

private:
    void Run();

    const std::size_t most_threads_;
    const std::size_t most_queued_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> tasks_;            // guarded by mutex_
    std::vector<std::thread> threads_;  // guarded by mutex_ until stopping_
    std::size_t running_ = 0;           // guarded by mutex_
    bool stopping_ = false;             // guarded by mutex_
};

}  // namespace MediaServer
