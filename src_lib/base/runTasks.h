#pragma once

#include <atomic>
#include <future>
#include <vector>

#include "lookUp.h"
#include "messages.h"
#include "thread_pool.h"

namespace TARN_KEL {

/// The number of processors that a phase uses: as set by setNumThreads(), else those of the machine; 0 when the system
/// doesn't tell. It may change at any time, so a phase calls this only once.
int numProcessors();

/// What a thread does now and then while it waits for tasks.
class Heartbeat {
public:
    virtual ~Heartbeat() = default;
    /// May throw, which gives up the tasks that haven't begun; the wait ends with that exception once the others have ended.
    virtual void beat() = 0;
};
/// That of the calling thread, not owned; null for none.
Heartbeat*& currentHeartbeat();
/// Waits for a task. The heartbeat, if there is one, beats twenty times a second.
void waitForTask(const std::future<void>& future);

/// Tasks that run on the pool while the calling thread does something else.
///
/// Each is called as task(index of the worker). What tasks print goes where the caller's text goes. Costs two or three
/// microseconds per task.
template <typename Task>
class RunningTasks {
public:
    /// Starts the tasks, which must outlive this object. Without workers it runs them before it returns.
    explicit RunningTasks(std::vector<Task>& vTask) {
        auto& pool = ctpl::thread_pool::getLowLevelPool();
        if (pool.size() == 0) {
            for (Task& task : vTask) {
                lookUp();
                task(0);
            }
            return;
        }
        futures.reserve(vTask.size());
        MessageChannel* const pChannel = currentMessageChannel();
        for (Task& task : vTask)
            futures.push_back(pool.push([this, &task, pChannel](int iWorker) {
                if (bGivenUp) return;
                const MessageChannelScope scope(pChannel);
                task(iWorker);
            }));
    }
    /// Waits for all tasks. When some have thrown, throws the exception of the first of them in the list.
    void finish() {
        try {
            for (const auto& future : futures)
                waitForTask(future);
        } catch (...) {
            bGivenUp = true;
            throw;
        }
        for (auto& future : futures)
            future.get();
    }

    RunningTasks(const RunningTasks&) = delete;
    RunningTasks& operator=(const RunningTasks&) = delete;

private:
    std::atomic<bool> bGivenUp{false};  // tasks that haven't begun end at once
    // The tasks refer to the caller's data, so no task may be running when this object ends, not even by an exception.
    struct Futures : std::vector<std::future<void>> {
        ~Futures() {
            for (auto& future : *this)
                if (future.valid()) future.wait();
        }
    } futures;
};

/// Runs the tasks and waits for all of them, as RunningTasks does.
template <typename Task>
void runTasks_MT(std::vector<Task>& vTask) {
    RunningTasks<Task>(vTask).finish();
}

}  // namespace TARN_KEL
