// The number of processors in use, and waiting for tasks.
#include "runTasks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "kel.h"
#include "lookUp.h"

namespace TARN_KEL {

namespace {

constexpr int MOST_THREADS = 1024;
constexpr std::chrono::milliseconds PERIOD(50);  // of a heartbeat

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

void lookUp() {
    using Clock = std::chrono::steady_clock;
    thread_local Clock::time_point lastBeat;
    Heartbeat* const pHeartbeat = currentHeartbeat();
    if (pHeartbeat == nullptr || Clock::now() - lastBeat < PERIOD) return;
    lastBeat = Clock::now();
    pHeartbeat->beat();
}

void waitForTask(const std::future<void>& future) {
    if (currentHeartbeat() == nullptr) return future.wait();
    do
        lookUp();
    while (future.wait_for(PERIOD) != std::future_status::ready);
}

void setNumThreads(int numThreads) {
    static std::mutex mutex;  // the number and the size of the pool change together
    const std::lock_guard<std::mutex> lock(mutex);
    numWanted = std::clamp(numThreads, 0, MOST_THREADS);
    ctpl::thread_pool::getLowLevelPool().resize(numProcessors());
}

}  // namespace TARN_KEL
