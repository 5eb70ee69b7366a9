#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace MediaServer {

/// A bounded queue of tasks and the threads that run them, started as tasks need them. Each task has an owner, the
/// address of a client; whoever asks much waits for itself only:
/// - a free thread goes to the owner that has the fewest, in turns among equals;
/// - a quarter of the threads is kept for owners that have none;
/// - when the queue is full, the owner with the longest one loses its newest task to one with a shorter.
///
/// Of the free threads the one works that did so last, for its memory and its database connection are still at hand.
///
/// Every accepted task is run exactly once: by a worker, or with `abandoned` true by Stop or by who takes its place, so
/// that what waits for it is always released. Threads: Submit from any; Stop from one, once. A task must not throw.
class WorkerPool {
public:
    using Task = std::function<void(bool abandoned)>;

    /// @param queued  how many may wait when all threads are at work.
    WorkerPool(std::size_t threads, std::size_t queued);
    ~WorkerPool();

    /// @return false when the queue is full, the pool has stopped or memory runs out; the task is then never run.
    bool Submit(const std::string& owner, Task task) noexcept;
    /// Abandons what is queued, waits for what runs, joins the threads.
    void Stop();

private:
    /// What one owner has under way.
    struct Share {
        std::string owner;
        std::list<Task> waiting;
        std::size_t running = 0;
    };
    using Shares = std::list<Share>;

    /// A thread and what it sleeps on.
    struct Worker {
        std::condition_variable wake;
        std::thread thread;
    };

    void Run(Worker& self);
    bool StartWorker();
    bool Accept(const std::string& owner, Task& task, std::list<Task>& displaced);
    Share& ShareOf(const std::string& owner);
    bool Displace(const Share& newcomer, std::list<Task>& displaced);
    Shares::iterator Next();

    const std::size_t most_threads_;
    const std::size_t most_queued_;
    const std::size_t kept_threads_;
    std::mutex mutex_;
    Shares shares_;              // guarded by mutex_; who was served longest ago comes first
    std::list<Worker> workers_;  // guarded by mutex_ until stopping_
    std::vector<Worker*> idle_;  // guarded by mutex_; the last one is the next to work
    std::size_t waiting_ = 0;    // guarded by mutex_
    std::size_t running_ = 0;    // guarded by mutex_
    bool stopping_ = false;      // guarded by mutex_
};

}  // namespace MediaServer
