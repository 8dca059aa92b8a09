// The worker threads and their queue.
#include "thread_pool.h"

#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>

namespace ctpl {

// One mutex guards the queue and the sleep, so no wake-up can be lost between a look at the queue and the wait.
struct thread_pool::State {
    std::mutex mutex;
    std::condition_variable cv;
    std::deque<Task> queue;
    bool isDone = false;  // drain the queue, then end
    bool isStop = false;  // end at once
    int nWaiting = 0;     // sleeping workers

    std::mutex sizeMutex;             // guards threads and flags of the pool; taken before the other one
    std::atomic<int> numWorkers = 0;  // the length of both; may be read without the lock

    bool isEnding() const { return isDone || isStop; }
};

thread_pool& thread_pool::getLowLevelPool() {
    static thread_pool* const pPool = new thread_pool(static_cast<int>(std::thread::hardware_concurrency()));
    // A forked process has the object but not its threads, and the state is as it was at the fork, perhaps locked. It can
    // neither join nor destroy the threads when it ends, so it leaves the object alone.
    static struct Stopper {
        ~Stopper() {
            if (!pPool->isForked()) delete pPool;
        }
    } stopper;
    return *pPool;
}

thread_pool::thread_pool(int numWorkers) : pState(std::make_shared<State>()), ownerProcess(getpid()) {
    resize(numWorkers);
}

thread_pool::~thread_pool() {
    stop(true);
}

bool thread_pool::isForked() const {
    return ownerProcess != getpid();
}

int thread_pool::size() const {
    return isForked() ? 0 : pState->numWorkers.load();
}

int thread_pool::numIdle() const {
    const std::lock_guard<std::mutex> lock(pState->mutex);
    return pState->nWaiting;
}

void thread_pool::addWorker() {
    auto pStop = std::make_shared<std::atomic<bool>>(false);
    const int iWorker = static_cast<int>(threads.size());
    flags.reserve(flags.size() + 1);
    threads.reserve(threads.size() + 1);
    threads.push_back(
        std::make_unique<std::thread>([pShared = pState, pStop, iWorker] { work(*pShared, *pStop, iWorker); }));
    flags.push_back(std::move(pStop));
    ++pState->numWorkers;
}

void thread_pool::resize(int numWorkers) {
    if (isForked()) return;
    const std::lock_guard<std::mutex> sizeLock(pState->sizeMutex);
    {
        const std::lock_guard<std::mutex> lock(pState->mutex);
        if (pState->isEnding()) return;
    }
    const auto wanted = static_cast<std::size_t>(std::max(numWorkers, 0));
    try {
        while (threads.size() < wanted)
            addWorker();
    } catch (const std::system_error&) {
        if (threads.empty()) throw;
        return;
    }
    if (threads.size() == wanted) return;
    for (std::size_t i = wanted; i < threads.size(); ++i) {
        *flags[i] = true;
        threads[i]->detach();
    }
    threads.resize(wanted);
    flags.resize(wanted);
    pState->numWorkers = static_cast<int>(wanted);
    const std::lock_guard<std::mutex> lock(pState->mutex);
    pState->cv.notify_all();
}

void thread_pool::enqueue(Task task) {
    const std::lock_guard<std::mutex> lock(pState->mutex);
    if (pState->isEnding()) return;
    pState->queue.push_back(std::move(task));
    pState->cv.notify_one();
}

void thread_pool::work(State& state, const std::atomic<bool>& bStop, int iWorker) {
    std::unique_lock<std::mutex> lock(state.mutex);
    while (true) {
        while (!state.queue.empty()) {
            {
                const Task task = std::move(state.queue.front());
                state.queue.pop_front();
                lock.unlock();
                task(iWorker);
            }
            if (bStop) return;
            lock.lock();
        }
        ++state.nWaiting;
        state.cv.wait(lock, [&] { return !state.queue.empty() || state.isEnding() || bStop; });
        --state.nWaiting;
        if (state.queue.empty()) return;
    }
}

void thread_pool::stop(bool bDrain) {
    const std::lock_guard<std::mutex> sizeLock(pState->sizeMutex);
    std::deque<Task> dropped;
    {
        const std::lock_guard<std::mutex> lock(pState->mutex);
        if (pState->isEnding()) return;
        (bDrain ? pState->isDone : pState->isStop) = true;
        if (!bDrain || threads.empty()) dropped.swap(pState->queue);
        pState->cv.notify_all();
    }
    dropped.clear();  // breaks their promises before the join: a worker may depend on a thread that waits for one
    for (const auto& pThread : threads)
        pThread->join();
    threads.clear();
    flags.clear();
    pState->numWorkers = 0;
}

}  // namespace ctpl
