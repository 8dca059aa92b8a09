// The number of processors in use, and waiting for tasks.
#include "runTasks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "kel.h"

namespace TARN_KEL {

namespace {

constexpr int MOST_THREADS = 1024;

std::atomic<int> numWanted{0};  // 0: as many as there are processors

int numOfMachine() {
    static const int num = static_cast<int>(std::thread::hardware_concurrency());
    return num;
}

}  // namespace

int numProcessors() {
    const int num = numWanted;
    return num > 0 ? num : numOfMachine();
}

Heartbeat*& currentHeartbeat() {
    thread_local Heartbeat* pHeartbeat = nullptr;
    return pHeartbeat;
}

void waitForTask(const std::future<void>& future) {
    constexpr std::chrono::milliseconds PERIOD(50);
    Heartbeat* const pHeartbeat = currentHeartbeat();
    if (pHeartbeat == nullptr) return future.wait();
    while (future.wait_for(PERIOD) != std::future_status::ready)
        pHeartbeat->beat();
}

void setNumThreads(int numThreads) {
    static std::mutex mutex;  // the number and the size of the pool change together
    const std::lock_guard<std::mutex> lock(mutex);
    numWanted = std::clamp(numThreads, 0, MOST_THREADS);
    ctpl::thread_pool::getLowLevelPool().resize(numProcessors());
}

}  // namespace TARN_KEL
