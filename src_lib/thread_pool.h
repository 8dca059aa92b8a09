#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace ctpl {

/// A set of worker threads that take tasks from one queue, first in, first out.
///
/// The library has one pool; a stage pushes its tasks and waits for their futures before it returns. A task must not wait
/// for another task: with all workers waiting, nobody would be left to run it. All operations are safe from any number of
/// threads at once, but a task must not call resize() or stop().
class thread_pool {
public:
    /// The pool of the process: created at the first call with one worker per processor, stopped when the process ends.
    static thread_pool& getLowLevelPool();

    explicit thread_pool(int numWorkers = 0);
    /// Calls stop(true).
    ~thread_pool();
    thread_pool(const thread_pool&) = delete;
    thread_pool& operator=(const thread_pool&) = delete;

    /// Sets the number of workers; a negative number counts as 0. Surplus workers end after their current task; this doesn't
    /// wait for them. When the system refuses more threads, the pool keeps those it got; if it has none at all,
    /// std::system_error is thrown. Does nothing in a process forked from the pool's own, and once the pool is stopped.
    void resize(int numWorkers);
    /// Ends and joins all workers: with bDrain after they have run the queued tasks, else after their current tasks. Tasks
    /// left in the queue or pushed later are dropped; their futures get a broken promise. A stopped pool stays stopped.
    void stop(bool bDrain = false);
    /// The number of workers. A process forked from the pool's own has none of them, so it gets 0.
    int size() const;
    /// The number of workers that sleep at this moment.
    int numIdle() const;

    /// Queues f(index of the worker). The future gives its result or rethrows its exception. Costs three small allocations.
    template <typename F>
    auto push(F&& f) -> std::future<std::invoke_result_t<std::decay_t<F>&, int>> {
        using Result = std::invoke_result_t<std::decay_t<F>&, int>;
        auto pTask = std::make_shared<std::packaged_task<Result(int)>>(std::forward<F>(f));
        auto result = pTask->get_future();
        enqueue([pTask = std::move(pTask)](int iWorker) { (*pTask)(iWorker); });
        return result;
    }

private:
    using Task = std::function<void(int)>;
    struct State;  // shared by workers and pool, because a worker that resize() has detached may outlive the pool

    bool isForked() const;
    static void work(State& state, const std::atomic<bool>& bStop, int iWorker);
    void enqueue(Task task);
    void addWorker();

    std::vector<std::unique_ptr<std::thread>> threads;
    std::vector<std::shared_ptr<std::atomic<bool>>> flags;  // a worker with its flag set ends after its current task
    std::shared_ptr<State> pState;
    pid_t ownerProcess;
};

}  // namespace ctpl
