// The number of processors in use, and waiting for tasks.
#include "runTasks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "kel.h"
#include "lookUp.h"

namespace TARN_KEL {

namespace {

constexpr int MOST_THREADS = 1024;
std::atomic<int> numWanted{0};     // 0: as many as there are processors
std::atomic<int> heartbeatMs{50};  // milliseconds

std::chrono::milliseconds period() {
    return std::chrono::milliseconds(heartbeatMs);
}

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
    struct Silence {  // no beat within a beat
        Heartbeat* const pHeartbeat = std::exchange(currentHeartbeat(), nullptr);
        ~Silence() { currentHeartbeat() = pHeartbeat; }
    } silence;
    if (silence.pHeartbeat == nullptr || Clock::now() - lastBeat < period()) return;
    lastBeat = Clock::now();
    silence.pHeartbeat->beat();
}

void setHeartbeatPeriod(int milliseconds) {
    heartbeatMs = milliseconds;
}

void waitForTask(const std::future<void>& future) {
    if (currentHeartbeat() == nullptr) return future.wait();
    do
        lookUp();
    while (future.wait_for(period()) != std::future_status::ready);
}

void setNumThreads(int numThreads) {
    static std::mutex mutex;  // the number and the size of the pool change together
    const std::lock_guard<std::mutex> lock(mutex);
    numWanted = std::clamp(numThreads, 0, MOST_THREADS);
    ctpl::thread_pool::getLowLevelPool().resize(numProcessors());
}

}  // namespace TARN_KEL
