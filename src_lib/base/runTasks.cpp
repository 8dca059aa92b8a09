// The number of processors in use.
#include "runTasks.h"

#include <algorithm>
#include <atomic>
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

void setNumThreads(int numThreads) {
    static std::mutex mutex;  // the number and the size of the pool change together
    const std::lock_guard<std::mutex> lock(mutex);
    numWanted = std::clamp(numThreads, 0, MOST_THREADS);
    ctpl::thread_pool::getLowLevelPool().resize(numProcessors());
}

}  // namespace TARN_KEL
