// The sorts of the library against the standard ones, on random numbers of all 64 bits and on cell codes, which vary in 33
// bits. Each turn sorts a fresh copy; controlCopy is the cost of that copy alone.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "SimplePool.h"
#include "radixSort.h"
#include "sortMT.h"

namespace {

using U64 = std::uint64_t;
using CodeAndPointer = std::pair<U64, const char*>;

enum Codes { ALL_BITS, CELLS };

U64 code(std::mt19937_64& random, int codes) {
    return codes == ALL_BITS ? random() : (U64{0x924924} << 36) + random() % (U64{1} << 33);
}

std::vector<U64> makeCodes(const benchmark::State& state) {
    std::mt19937_64 random(1);
    std::vector<U64> v(static_cast<std::size_t>(state.range(0)));
    for (U64& number : v)
        number = code(random, static_cast<int>(state.range(1)));
    return v;
}

std::vector<CodeAndPointer> makePairs(const benchmark::State& state) {
    static const char target[64] = {};
    std::vector<CodeAndPointer> v;
    for (const U64 number : makeCodes(state))
        v.emplace_back(number, target + v.size() % 64);
    return v;
}

template <typename Element, typename Sort>
void sortCopies(benchmark::State& state, const std::vector<Element>& vInput, const Sort& sort) {
    std::vector<Element> v;
    for (auto _ : state) {
        v = vInput;
        sort(v);
        benchmark::DoNotOptimize(v.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

constexpr auto STD_SORT = [](auto& v) { std::sort(v.begin(), v.end()); };
constexpr auto SORT_MT = [](auto& v) { TARN_KEL::sortMT(v.begin(), v.end()); };
constexpr auto RADIX_SORT = [](auto& v) { TARN_KEL::radixSort(v); };
constexpr auto RADIX_PAIRS = [](auto& v) { TARN_KEL::radixSortByCode(v); };
constexpr auto STABLE_BY_FIRST = [](auto& v) {
    std::stable_sort(v.begin(), v.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
};
constexpr auto ONE_INSTANCE = [](auto& v) { TARN_KEL::oneInstance(v); };
constexpr auto ONE_INSTANCE_MT = [](auto& v) { TARN_KEL::oneInstanceMT(v); };

template <typename Sort>
void codes(benchmark::State& state, const Sort& sort) {
    sortCopies(state, makeCodes(state), sort);
}
template <typename Sort>
void pairs(benchmark::State& state, const Sort& sort) {
    sortCopies(state, makePairs(state), sort);
}

/// Eight entries for each code, as lists of neighbours have them.
template <typename Sort>
void repeats(benchmark::State& state, const Sort& sort) {
    std::vector<U64> v = makeCodes(state);
    for (U64& number : v)
        number %= static_cast<U64>(state.range(0) / 8);
    sortCopies(state, v, sort);
}

/// One empty task on the pool.
void task(benchmark::State& state) {
    std::vector<void (*)(int)> vTask(64, [](int) {});
    for (auto _ : state)
        TARN_KEL::runTasks_MT(vTask);
    state.SetItemsProcessed(state.iterations() * 64);
}

/// A pool made and ended, with no element taken and with one.
void emptyPool(benchmark::State& state) {
    for (auto _ : state) {
        TARN_TOOLS::SimplePool<U64> pool;
        pool.init(3, -1);
        if (state.range(0) != 0) *pool.nextElement() = 1;
        benchmark::DoNotOptimize(pool.size());
    }
}

void sizes(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgsProduct({{1000000, 8000000}, {ALL_BITS, CELLS}})->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_CAPTURE(codes, controlCopy, [](auto&) {}) -> Apply(sizes);
BENCHMARK_CAPTURE(codes, stdSort, STD_SORT)->Apply(sizes);
BENCHMARK_CAPTURE(codes, sortMT, SORT_MT)->Apply(sizes);
BENCHMARK_CAPTURE(codes, radixSort, RADIX_SORT)->Apply(sizes);
BENCHMARK_CAPTURE(pairs, controlCopy, [](auto&) {}) -> Apply(sizes);
BENCHMARK_CAPTURE(pairs, stdSort, STD_SORT)->Apply(sizes);
BENCHMARK_CAPTURE(pairs, sortMT, SORT_MT)->Apply(sizes);
BENCHMARK_CAPTURE(pairs, stableSortByFirst, STABLE_BY_FIRST)->Apply(sizes);
BENCHMARK_CAPTURE(pairs, radixSortByCode, RADIX_PAIRS)->Apply(sizes);
BENCHMARK_CAPTURE(repeats, oneInstance, ONE_INSTANCE)->Apply(sizes);
BENCHMARK_CAPTURE(repeats, oneInstanceMT, ONE_INSTANCE_MT)->Apply(sizes);
BENCHMARK(task)->UseRealTime();
BENCHMARK(emptyPool)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
