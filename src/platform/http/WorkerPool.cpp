#include "platform/http/WorkerPool.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <tuple>
#include <utility>

namespace MediaServer {

namespace {
constexpr std::size_t kKeptPart = 4;  // one thread in so many is kept for owners that have none
}  // namespace

WorkerPool::WorkerPool(std::size_t threads, std::size_t queued)
    : most_threads_(threads), most_queued_(queued), kept_threads_(threads / kKeptPart) {}

WorkerPool::~WorkerPool() {
    Stop();
}

bool WorkerPool::Submit(const std::string& owner, Task task) noexcept {
    std::list<Task> displaced;
    bool accepted = false;
    Worker* woken = nullptr;
    try {
        const std::lock_guard lock(mutex_);
        accepted = Accept(owner, task, displaced);
        if (accepted && !idle_.empty()) {
            woken = idle_.back();
            idle_.pop_back();
        }
    } catch (const std::bad_alloc&) {
        // Not accepted, though one may have been displaced for it.
    }
    if (woken) woken->wake.notify_one();
    for (const Task& each : displaced) each(true);
    return accepted;
}

/// With the lock held, as the rest below but for Run.
bool WorkerPool::Accept(const std::string& owner, Task& task, std::list<Task>& displaced) {
    if (stopping_) return false;
    const std::size_t under_way = running_ + waiting_;
    // Out of threads or memory those that exist take the task too.
    const bool needs_worker = under_way >= workers_.size() && workers_.size() < most_threads_;
    if (needs_worker && !StartWorker() && workers_.empty()) return false;
    Share& share = ShareOf(owner);
    if (under_way >= most_threads_ + most_queued_ && !Displace(share, displaced)) return false;
    share.waiting.push_back(std::move(task));
    ++waiting_;
    return true;
}

bool WorkerPool::StartWorker() {
    try {
        Worker& worker = workers_.emplace_back();
        idle_.reserve(workers_.size());  // so that going to sleep cannot fail
        worker.thread = std::thread([this, &worker] { Run(worker); });
        return true;
    } catch (const std::exception&) {
        if (!workers_.empty() && !workers_.back().thread.joinable()) workers_.pop_back();
        return false;
    }
}

WorkerPool::Share& WorkerPool::ShareOf(const std::string& owner) {
    const auto found =
        std::find_if(shares_.begin(), shares_.end(), [&](const Share& share) { return share.owner == owner; });
    return found != shares_.end() ? *found : shares_.emplace_back(Share{.owner = owner, .waiting = {}});
}

bool WorkerPool::Displace(const Share& newcomer, std::list<Task>& displaced) {
    Share& longest = *std::max_element(shares_.begin(), shares_.end(), [](const Share& left, const Share& right) {
        return left.waiting.size() < right.waiting.size();
    });
    if (longest.waiting.size() <= newcomer.waiting.size() + 1) return false;
    displaced.splice(displaced.end(), longest.waiting, std::prev(longest.waiting.end()));
    --waiting_;
    return true;
}

/// Whose task is to start now; the end when none may.
WorkerPool::Shares::iterator WorkerPool::Next() {
    const auto rank = [](const Share& share) { return std::tuple(share.waiting.empty(), share.running); };
    const auto next = std::min_element(shares_.begin(), shares_.end(),
                                       [&](const Share& left, const Share& right) { return rank(left) < rank(right); });
    if (next == shares_.end() || next->waiting.empty()) return shares_.end();
    return next->running == 0 || running_ + kept_threads_ < most_threads_ ? next : shares_.end();
}

void WorkerPool::Run(Worker& self) {
    std::unique_lock lock(mutex_);
    for (;;) {
        Shares::iterator next;
        while (!stopping_ && (next = Next()) == shares_.end()) {
            idle_.push_back(&self);
            self.wake.wait(lock);
            std::erase(idle_, &self);  // still there when nobody woke it
        }
        if (stopping_) return;
        Share& share = *next;
        const Task task = std::move(share.waiting.front());
        share.waiting.pop_front();
        --waiting_;
        ++share.running;
        ++running_;
        shares_.splice(shares_.end(), shares_, next);
        lock.unlock();
        task(false);
        lock.lock();
        --share.running;
        --running_;
        shares_.remove_if([](const Share& each) { return each.running == 0 && each.waiting.empty(); });
    }
}

void WorkerPool::Stop() {
    std::list<Task> abandoned;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (Share& share : shares_) abandoned.splice(abandoned.end(), share.waiting);
    }
    for (Worker& worker : workers_) worker.wake.notify_one();
    for (const Task& task : abandoned) task(true);
    // The workers stay until the pool goes: who has just handed in a task may be about to wake one.
    for (Worker& worker : workers_)
        if (worker.thread.joinable()) worker.thread.join();
}

}  // namespace MediaServer
