#include "platform/http/WorkerPool.h"

#include <exception>
#include <new>
#include <utility>

namespace MediaServer {

WorkerPool::WorkerPool(std::size_t threads, std::size_t queued) : most_threads_(threads), most_queued_(queued) {}

WorkerPool::~WorkerPool() {
    Stop();
}

bool WorkerPool::Submit(Task task) noexcept {
    const std::lock_guard lock(mutex_);
    const std::size_t under_way = running_ + tasks_.size();
    if (stopping_ || under_way >= most_threads_ + most_queued_) return false;
    if (under_way >= threads_.size() && threads_.size() < most_threads_) {
        try {
            threads_.emplace_back([this] { Run(); });
        } catch (const std::exception&) {
            // Out of threads or memory: those that exist take the task too.
            if (threads_.empty()) return false;
        }
    }
    try {
        tasks_.push_back(std::move(task));
    } catch (const std::bad_alloc&) {
        return false;
    }
    wake_.notify_one();
    return true;
}

void WorkerPool::Run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (stopping_) return;
        const Task task = std::move(tasks_.front());
        tasks_.pop_front();
        ++running_;
        lock.unlock();
        task(false);
        lock.lock();
        --running_;
    }
}

void WorkerPool::Stop() {
    std::deque<Task> abandoned;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        abandoned.swap(tasks_);
    }
    wake_.notify_all();
    for (const Task& task : abandoned) task(true);
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
}

}  // namespace MediaServer
