// The queues work is scheduled on: a global pool of workers for searches and other
// background steps, and a main queue that each front end binds to its own event loop.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvora::platform {

using Task = std::function<void()>;

class DispatchQueue {
public:
    virtual ~DispatchQueue() = default;
    virtual void async(Task task) = 0;
};

// A fixed pool of worker threads; tasks start in the order they were scheduled.
class WorkerPool final : public DispatchQueue {
public:
    explicit WorkerPool(unsigned threads);
    ~WorkerPool() override;  // runs what is queued, then joins
    void async(Task task) override;

private:
    void work();
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> tasks_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

// A queue drained by whichever thread calls run(): the command line's and the tests' main
// loop. run() returns once quit() has been called and the tasks before it have run.
class RunLoop final : public DispatchQueue {
public:
    void async(Task task) override;
    void run();
    void quit();

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> tasks_;
    bool quitting_ = false;
};

// The process-wide pool of background workers.
DispatchQueue& globalQueue();

// The queue on which work that touches the user interface runs. A front end installs its
// own before the first search; the queue must outlive every use.
void setMainQueue(DispatchQueue* queue);
DispatchQueue& mainQueue();

}  // namespace kelvora::platform
