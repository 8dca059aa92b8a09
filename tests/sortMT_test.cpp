#include "sortMT.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>

#include "radixSort.h"
#include "support/prelude.h"
#include "support/sanitized.h"
#include "thread_pool.h"
#include "wanted.h"

using namespace TARN_TEST;
using ctpl::thread_pool;

namespace {

using U64 = std::uint64_t;
using Pairs = std::vector<std::pair<U64, int>>;

/// Numbers below the limit, from a seed.
std::vector<U64> randomNumbers(std::size_t n, U64 limit, unsigned seed) {
    std::mt19937_64 random(seed);
    std::vector<U64> v(n);
    for (U64& number : v)
        number = random() % limit;
    return v;
}

/// Pairs of the numbers and their positions.
Pairs numbered(const std::vector<U64>& vFirst) {
    Pairs v;
    for (const U64 first : vFirst)
        v.emplace_back(first, static_cast<int>(v.size()));
    return v;
}

/// The input orders on which a partitioning sort could stumble.
std::map<std::string, std::vector<U64>> inputs(std::size_t n) {
    std::map<std::string, std::vector<U64>> m{{"random", randomNumbers(n, ~U64{0}, 1)},
                                              {"few values", randomNumbers(n, 7, 2)},
                                              {"equal", std::vector<U64>(n, 42)}};
    m["sorted"] = m["random"];
    std::sort(m["sorted"].begin(), m["sorted"].end());
    m["reversed"] = {m["sorted"].rbegin(), m["sorted"].rend()};
    m["one low"] = m["equal"];
    if (n != 0) m["one low"].back() = 0;
    return m;
}

}  // namespace

TEST(sortMT, sortsLikeTheStandardSortOnAnyNumberOfThreads) {
    for (const std::size_t n : {0U, 1U, 2U, 999U, 1000U, 1001U, 2500U, 100000U})
        for (const auto& [name, vInput] : inputs(n))
            for (const int numThreads : {0, 1, 2, 3, 6, 8}) {
                std::vector<U64> v = vInput;
                std::less<U64> comp;
                sortOnThreads(v.begin(), v.end(), comp, numThreads);
                ASSERT_EQ(v, sorted(vInput)) << name << ", " << n << " numbers, " << numThreads << " threads";
            }
}

TEST(forWanted, putsTheFirstOfEachRunInItsPlaceOnAnyNumberOfThreads) {
    for (const int numThreads : {1, 3, 0})
        for (const std::size_t n : {0U, 1U, 8192U, 8193U, 50000U}) {
            setNumThreads(numThreads);
            const std::vector<U64> v = sorted(randomNumbers(n, 1 + n / 3, 4));
            std::vector<U64> vFirst, vExpected = v;
            forWanted_MT(
                firstOfRuns_MT(v, [](U64 number) { return number; }), [&](std::size_t num) { vFirst.resize(num); },
                [&](std::size_t i, std::size_t place) { vFirst[place] = v[i]; });
            dropRepeats(vExpected);
            ASSERT_EQ(vFirst, vExpected) << n << " numbers, " << numThreads << " threads";
        }
}

TEST(sortMT, bringsTheFirstExceptionAndLeavesNoTaskRunning) {
    std::vector<U64> v = randomNumbers(50000, ~U64{0}, 5);
    std::atomic<int> numCalls = 0;
    const auto comp = [&numCalls](U64 a, U64 b) {
        if (++numCalls == 40000) throw std::runtime_error("stop");
        return a < b;
    };
    EXPECT_THROW(sortOnThreads(v.begin(), v.end(), comp, 4), std::runtime_error);
    const int numAtReturn = numCalls;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(numCalls, numAtReturn);

    std::vector<std::function<void(int)>> vTask;
    for (int i = 0; i < 6; ++i)
        vTask.emplace_back([i](int) {
            std::this_thread::sleep_for(std::chrono::milliseconds(6 - i));
            if (i >= 2) throw std::runtime_error(std::to_string(i));
        });
    try {
        runTasks_MT(vTask);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "2");
    }
}

TEST(runTasks, aHeartbeatThatThrowsGivesUpWhatHasNotBegun) {
    struct Beat : Heartbeat {
        Beat() { currentHeartbeat() = this; }
        ~Beat() override { currentHeartbeat() = nullptr; }
        void beat() override { throw std::runtime_error("enough"); }
    } heartbeat;
    std::atomic<int> numRun = 0;
    const auto sleep = [&numRun](int) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ++numRun;
    };
    std::vector<std::function<void(int)>> vTask(2000, sleep);
    EXPECT_THROW(runTasks_MT(vTask), std::runtime_error);
    const int numAtReturn = numRun;
    EXPECT_LT(numAtReturn, 2000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(numRun, numAtReturn) << "none is running any more";
}

TEST(sortByFirstMT, isStableWhateverTheKeyAndTheThreads) {
    const auto byFirst = [](const auto& a, const auto& b) { return a.first < b.first; };
    for (const std::size_t n : {0U, 1U, 1499U, 1500U, 120001U})
        for (const U64 limit : {U64{3}, U64{1} << 13, ~U64{0} / 2})
            for (const int shift : {0, 20}) {
                const Pairs vInput = numbered(randomNumbers(n, (limit >> shift) + 1, 6));
                Pairs vExpected = vInput;
                for (auto& [code, position] : vExpected)
                    code <<= shift;
                Pairs v = vExpected;
                std::stable_sort(vExpected.begin(), vExpected.end(), byFirst);
                for (const int numThreads : {1, 2, 4}) {
                    Pairs vRadix = v;
                    radixSortOnThreads(
                        vRadix.data(), n, [](const auto& pair) { return pair.first; }, numThreads);
                    ASSERT_EQ(vRadix, vExpected) << n << " below " << limit << ", " << numThreads << " threads";
                }
                sortByFirstMT(v);
                ASSERT_EQ(v, vExpected);
            }
}

TEST(sortByFirstMT, keepsTheOrderOfKeysOfAnyKind) {
    std::vector<std::pair<double, int>> vDouble;
    std::vector<std::pair<std::pair<int, int>, int>> vPairs;
    for (int i = 0; i < 3000; ++i) {
        for (const double d : {1.5 * i, -1.5 * i, 1e-310 * i, INF, -INF, LARGEST, -LARGEST, 0.0, -0.0})
            vDouble.emplace_back(d, i);
        vPairs.push_back({{i % 7, i % 3}, i});
    }
    const auto compare = [](auto v) {
        auto vExpected = v;
        std::stable_sort(vExpected.begin(), vExpected.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        sortByFirstMT(v);
        EXPECT_EQ(v, vExpected);
    };
    compare(vDouble), compare(vPairs);

    std::vector<int> vInt;
    for (const U64 number : randomNumbers(5000, ~U64{0}, 7))
        vInt.push_back(static_cast<int>(number));
    const std::vector<int> vSorted = sorted(vInt);
    radixSort(vInt);
    EXPECT_EQ(vInt, vSorted);
}

TEST(selections, agreeWithMaps) {
    for (const std::size_t n : {0U, 1U, 500U, 30000U}) {
        std::vector<U64> v = randomNumbers(n, n / 3 + 1, 8), vOnce = v, vOnceMT = v, vKeys;
        Pairs vFirst = numbered(v);
        std::map<U64, int> mFirst, mCount;
        for (const auto& [number, position] : vFirst) {
            mFirst.emplace(number, position);
            ++mCount[number];
        }
        oneInstanceFirstComponent(vFirst);
        EXPECT_EQ(vFirst, Pairs(mFirst.begin(), mFirst.end()));
        for (const auto& [number, count] : mCount)
            vKeys.push_back(number);
        oneInstance(vOnce), oneInstanceMT(vOnceMT);
        EXPECT_EQ(std::pair(vOnce, vOnceMT), std::pair(vKeys, vKeys));
        for (const int N : {1, 2, 5}) {
            std::vector<U64> vExpected{99}, vOut{99};
            for (const auto& [number, count] : mCount)
                if (count == N) vExpected.push_back(number);
            filterN(sorted(v), N, vOut);
            EXPECT_EQ(vOut, vExpected);
        }
    }
}

TEST(chunkedLoop, reachesEachElementOnce) {
    for (const std::size_t n : {0U, 1U, 2U, 3U, 7U, 1000U, 20011U}) {
        const std::vector<U64> vIn = randomNumbers(n, 1000000, 11);
        std::vector<U64> vOut, vExpected, vChanged = vIn;
        for (const U64 number : vIn)
            vExpected.push_back(number + 1);
        transform_MT(vIn, vOut, [](U64 number) { return number + 1; });
        forEach_MT(vChanged, [](U64& number) { ++number; });
        EXPECT_EQ(std::tie(vOut, vChanged), std::tie(vExpected, vExpected));
    }
}

TEST(threadPool, runsTasksFromManyThreadsGrowsAndShrinks) {
    std::atomic<int> sum = 0, numRun = 0;
    {
        thread_pool pool;
        auto queued = pool.push([&numRun](int) { ++numRun; });
        EXPECT_EQ(queued.wait_for(std::chrono::milliseconds(5)), std::future_status::timeout) << "no worker yet";
        pool.resize(3);
        queued.get();
        onThreads(4, [&pool, &sum](std::size_t) {
            std::vector<std::future<int>> vFuture;
            for (int k = 0; k < 500; ++k)
                vFuture.push_back(pool.push([k](int iWorker) { return iWorker >= 0 && iWorker < 3 ? k : -100000; }));
            for (auto& future : vFuture)
                sum += future.get();
        });
        auto failing = pool.push([](int) -> int { throw std::runtime_error("no"); });
        EXPECT_THROW(failing.get(), std::runtime_error);
        for (int i = 0; i < 10000 && pool.numIdle() != 3; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(pool.numIdle(), 3);
        pool.resize(-1);
        EXPECT_EQ(pool.size(), 0);
        pool.resize(2);
        for (int i = 0; i < 50; ++i)
            pool.push([&numRun](int) { ++numRun; });
    }
    EXPECT_EQ(sum, 4 * 499 * 500 / 2);
    EXPECT_EQ(numRun, 51) << "the end of a pool runs what is queued";
}

TEST(threadPool, isSetInSizeForTheProcessWhileItWorks) {
    auto& pool = thread_pool::getLowLevelPool();
    const int numByDefault = numProcessors();
    std::vector<U64> vIn(20000);
    std::iota(vIn.begin(), vIn.end(), 0U);
    onThreads(4, [&](std::size_t i) {
        for (int k = 0; k < 200; ++k) {
            if (i == 0) setNumThreads(k % 7);
            std::vector<U64> vOut;
            transform_MT(vIn, vOut, [](U64 value) { return value + 1; });
            ASSERT_EQ(vOut.front(), 1U);
            ASSERT_EQ(vOut.back(), 20000U);
        }
    });
    for (const auto& [numWanted, num] : {std::pair(5, 5), {1, 1}, {0, numByDefault}, {-3, numByDefault}}) {
        setNumThreads(numWanted);
        EXPECT_EQ(numProcessors(), num);
        EXPECT_EQ(pool.size(), num);
    }
}

TEST(threadPool, leavesAForkedProcessWorkingAndEnding) {
    EXPECT_EQ(thread_pool::getLowLevelPool().size(), numProcessors());
    std::cout.flush();
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        std::vector<U64> v = randomNumbers(5000, 1000, 12);
        std::less<U64> comp;
        sortOnThreads(v.begin(), v.end(), comp, 4);
        setNumThreads(3);
        const int status = std::is_sorted(v.begin(), v.end()) ? 7 : 8;
        if (SANITIZED) _exit(status);  // a search for leaks would look for the threads of the other process
        std::exit(status);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
}
