// Worker pool, run loop and the two process-wide queues.
#include "platform/Queues.h"

#include <atomic>
#include <cassert>

namespace kelvora::platform {

WorkerPool::WorkerPool(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void WorkerPool::async(Task task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    wake_.notify_one();
}

void WorkerPool::work() {
    for (;;) {
        Task task;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
            if (tasks_.empty()) return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

void RunLoop::async(Task task) {
    // Woken under the lock: the task a thread posts last (the end of a search) may be the one
    // after which the loop's owner destroys it, and the poster must be done with it by then.
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    wake_.notify_one();
}

void RunLoop::run() {
    for (;;) {
        Task task;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return quitting_ || !tasks_.empty(); });
            if (tasks_.empty()) {
                quitting_ = false;
                return;
            }
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

void RunLoop::quit() {
    std::lock_guard lock(mutex_);
    quitting_ = true;
    wake_.notify_one();
}

DispatchQueue& globalQueue() {
    // Searches, result updates and previews are few and long: four workers let one of each
    // run at once without oversubscribing a small machine.
    static WorkerPool pool(4);
    return pool;
}

namespace {
std::atomic<DispatchQueue*> installedMainQueue{nullptr};
}

void setMainQueue(DispatchQueue* queue) {
    installedMainQueue.store(queue);
}

DispatchQueue& mainQueue() {
    DispatchQueue* queue = installedMainQueue.load();
    assert(queue != nullptr && "a front end must install its main queue first");
    return *queue;
}

}  // namespace kelvora::platform
