// Parallel sorting, unique lists and chunked loops.
//
// All parallelism of the library has the same form: the calling thread cuts an array into parts, pushes one task for each
// part to the pool, and waits. Tasks write disjoint places, without a lock; no phase outlives its call. With one processor,
// or too little to do, everything runs on the calling thread.
//
// The sort cuts its range by middle values before it sorts: a middle is estimated from a sample, the range is partitioned in
// place, and both halves are cut again, until there are as many ranges as processors. The ranges then follow each other in
// order, and each is sorted by itself, so nothing is merged and no memory of the order of n is needed. The order of elements
// that compare equal depends on the number of processors: use a comparator that tells different elements apart, or
// sortByFirstMT, which is stable.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

#include "radixSort.h"
#include "runTasks.h"
#include "tools.h"

namespace TARN_KEL {

// ---- Task objects: only iterators and references; they exist while the caller waits

/// Partitions [begin, end): elements that come before mid go to the front.
template <typename T, typename Compare, typename Iterator = typename std::vector<T>::iterator>
struct PartitionTask2 {
    T mid;
    Iterator begin, end;
    Iterator result;  ///< the first element of the back part; end until the task has run
    Compare& comp;

    void operator()(int) {
        result = std::partition(begin, end, [this](const T& element) { return comp(element, mid); });
    }
};

/// Sorts [begin, end).
template <typename T, typename Compare, typename Iterator = typename std::vector<T>::iterator>
struct SortTask2 {
    Iterator begin, end;
    Compare& comp;

    void operator()(int) { std::sort(begin, end, std::ref(comp)); }
};

/// out[i] = func(begin[i]).
template <typename In, typename Out, typename Func>
struct TransformTask {
    In begin, end;
    Out out;
    Func& func;

    void operator()(int) { std::transform(begin, end, out, std::ref(func)); }
};

/// func(begin[i], out + N * i): the function writes N elements for each input.
template <typename In, typename Out, typename Func>
struct TransformTask_N {
    In begin, end;
    Out out;
    int N;
    Func& func;

    void operator()(int) {
        Out place = out;
        for (In it = begin; it != end; ++it, place += N)
            func(*it, place);
    }
};

/// func(begin[i]).
template <typename T, typename Func>
struct ForEachTask {
    T begin, end;
    Func& func;

    void operator()(int) {
        for (T it = begin; it != end; ++it)
            func(*it);
    }
};

// ---- Chunked loops: one function object for all chunks, which must not write shared state

/// The largest chunk, in positions: a run that is to stop waits for the chunks that have begun.
constexpr std::size_t MAX_CHUNK = std::size_t{1} << 17;

/// Cuts 0 .. n-1 into chunks of n / (2 numThreads) positions, 1 to MAX_CHUNK, and runs the task makeTask(begin, end) for
/// each. A single task runs on the calling thread, and so do all with one thread, which looks up between them.
template <typename MakeTask>
void runChunks(std::size_t n, int numThreads, const MakeTask& makeTask) {
    if (n == 0) return;
    if (numThreads <= 1) {
        for (std::size_t begin = 0; begin < n; begin += MAX_CHUNK) {
            if (begin > 0) lookUp();
            makeTask(begin, std::min(begin + MAX_CHUNK, n))(0);
        }
        return;
    }
    const std::size_t chunk = std::clamp<std::size_t>(n / (2 * static_cast<std::size_t>(numThreads)), 1, MAX_CHUNK);
    std::vector<decltype(makeTask(n, n))> vTask;
    vTask.reserve(n / chunk + 1);
    for (std::size_t begin = 0; begin < n; begin += chunk)
        vTask.push_back(makeTask(begin, std::min(begin + chunk, n)));
    if (vTask.size() == 1)
        vTask.front()(0);
    else
        runTasks_MT(vTask);
}

/// Elements that each cost little: fewer would be done before a task has started.
constexpr std::size_t WORTH_A_TASK = 5000;

/// The number of threads for n elements: 1 for fewer than minParallel, which would be done before a task has started.
inline int numThreadsFor(std::size_t n, std::size_t minParallel) {
    return n < minParallel ? 1 : numProcessors();
}

/// func(begin, end) for each chunk of 0 .. n-1.
template <typename Func>
void forChunks_MT(std::size_t n, Func&& func, std::size_t minParallel = 0) {
    runChunks(n, numThreadsFor(n, minParallel),
              [&func](std::size_t begin, std::size_t end) { return [&func, begin, end](int) { func(begin, end); }; });
}

/// out[i] = func(vIn[i]); the output is sized first.
template <typename T, typename U, typename Func>
void transform_MT(const std::vector<T>& vIn, std::vector<U>& vOut, Func&& func, std::size_t minParallel = 0) {
    using Task = TransformTask<const T*, U*, std::remove_reference_t<Func>>;
    static_assert(!std::is_same_v<U, bool>, "chunks would share words");
    vOut.resize(vIn.size());
    runChunks(vIn.size(), numThreadsFor(vIn.size(), minParallel), [&](std::size_t begin, std::size_t end) {
        return Task{vIn.data() + begin, vIn.data() + end, vOut.data() + begin, func};
    });
}

/// func(element) for each element of the vector.
template <typename Vector, typename Func>
void forEach_MT(Vector& v, Func&& func, std::size_t minParallel = 0) {
    using Task = ForEachTask<decltype(v.data()), std::remove_reference_t<Func>>;
    runChunks(v.size(), numThreadsFor(v.size(), minParallel), [&](std::size_t begin, std::size_t end) {
        return Task{v.data() + begin, v.data() + end, func};
    });
}

/// Those elements for which isWanted(element) is true, in their order.
template <typename T, typename IsWanted>
std::vector<T> filter_MT(const std::vector<T>& vIn, const IsWanted& isWanted, std::size_t minParallel = WORTH_A_TASK) {
    std::vector<char> vWanted;
    transform_MT(
        vIn, vWanted, [&isWanted](const T& element) { return static_cast<char>(isWanted(element)); }, minParallel);
    std::vector<T> vOut;
    for (std::size_t i = 0; i < vIn.size(); ++i)
        if (vWanted[i] != 0) vOut.push_back(vIn[i]);
    return vOut;
}

// ---- Sorting -------------------------------------------------------------------------------------------------------------

/// A value near the middle of the range in the order of comp: the middle of at most 1999 evenly spaced elements. The range
/// must not be empty.
template <typename Iterator, typename Compare>
auto estimateMid2(Iterator first, Iterator last, Compare&& comp) {
    using Diff = typename std::iterator_traits<Iterator>::difference_type;
    const Diff n = last - first;
    const Diff stride = n >= 1000 ? n / 1000 : 1;
    std::vector<typename std::iterator_traits<Iterator>::value_type> vSample;
    vSample.reserve(1000);
    for (Diff i = 0; i < n; i += stride)
        vSample.push_back(first[i]);
    ASSEX(!vSample.empty());
    std::sort(vSample.begin(), vSample.end(), std::ref(comp));
    return vSample[vSample.size() / 2];
}

/// A range of positions: the first one, and the one after the last.
using SortRange = std::pair<std::size_t, std::size_t>;

/// One step of the cutting: cuts each range in two at its estimated middle. An empty range becomes two empty ones.
template <typename Iterator, typename Compare>
std::vector<SortRange> cutRanges(Iterator first, const std::vector<SortRange>& vRange, Compare& comp) {
    using T = typename std::iterator_traits<Iterator>::value_type;
    using Diff = typename std::iterator_traits<Iterator>::difference_type;
    const auto at = [first](std::size_t i) { return first + static_cast<Diff>(i); };
    std::vector<PartitionTask2<T, Compare, Iterator>> vTask;
    vTask.reserve(vRange.size());
    for (const auto& [lo, hi] : vRange)
        if (lo != hi) vTask.push_back({estimateMid2(at(lo), at(hi), comp), at(lo), at(hi), at(hi), comp});
    runTasks_MT(vTask);

    std::vector<SortRange> vNext;
    vNext.reserve(2 * vRange.size());
    auto itTask = vTask.begin();
    for (const auto& [lo, hi] : vRange) {
        const std::size_t cut = lo == hi ? lo : static_cast<std::size_t>((itTask++)->result - first);
        vNext.emplace_back(lo, cut);
        vNext.emplace_back(cut, hi);
    }
    return vNext;
}

/// Cuts a range, in place, into ranges that are in sorted order relative to each other: as many as the power of two that
/// first reaches numThreads. Some may be empty.
template <typename Iterator, typename Compare>
std::vector<SortRange> partitionIntoRanges(Iterator first, Iterator last, Compare& comp, int numThreads) {
    std::vector<SortRange> vRange{{0, static_cast<std::size_t>(last - first)}};
    while (static_cast<int>(vRange.size()) < numThreads)
        vRange = cutRanges(first, vRange, comp);
    return vRange;
}

/// Sorts a random-access range as sortMT does with that many processors.
template <typename Iterator, typename Compare>
void sortOnThreads(Iterator first, Iterator last, Compare& comp, int numThreads) {
    using Diff = typename std::iterator_traits<Iterator>::difference_type;
    const auto vectorSize = static_cast<std::size_t>(last - first);
    if (numThreads <= 1 || vectorSize < 1000) {
        std::sort(first, last, std::ref(comp));
        return;
    }
    std::vector<SortTask2<typename std::iterator_traits<Iterator>::value_type, Compare, Iterator>> vTask;
    std::size_t sumSize = 0;
    for (const auto& [lo, hi] : partitionIntoRanges(first, last, comp, numThreads)) {
        if (lo == hi) continue;
        vTask.push_back({first + static_cast<Diff>(lo), first + static_cast<Diff>(hi), comp});
        sumSize += hi - lo;
    }
    ASSEX(sumSize==vectorSize);
    runTasks_MT(vTask);
}

/// Sorts a random-access range in place. Not stable, see the top of this file. Fewer than 1000 elements are sorted by the
/// standard sort on the calling thread.
/// comp: shared by all tasks.
template <typename Iterator, typename Compare>
void sortMT(Iterator first, Iterator last, Compare&& comp) {
    sortOnThreads(first, last, comp, numProcessors());
}
template <typename Iterator>
void sortMT(Iterator first, Iterator last) {
    sortMT(first, last, std::less<typename std::iterator_traits<Iterator>::value_type>());
}

/// Sorts pairs by their first members alone. Stable: pairs with equal first members keep their order, with any number of
/// processors. Uses the radix sort when the first members are numbers and the second ones trivially copyable.
template <typename First, typename Second>
void sortByFirstMT(std::vector<std::pair<First, Second>>& v) {
    if constexpr (isRadixKey<First> && std::is_trivially_copy_constructible_v<Second>)
        radixSortByCode(v);
    else
        std::stable_sort(v.begin(), v.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

// ---- Unique lists --------------------------------------------------------------------------------------------------------

/// Drops repeats from a sorted vector.
template <typename T>
void dropRepeats(std::vector<T>& vSorted) {
    vSorted.erase(std::unique(vSorted.begin(), vSorted.end()), vSorted.end());
}

/// Keeps the first pair of each run of equal first members, as in a sorted list. Cost: O(n).
template <typename First, typename Second>
void dropRepeatsOfFirst(std::vector<std::pair<First, Second>>& v) {
    v.erase(std::unique(v.begin(), v.end(), [](const auto& a, const auto& b) { return a.first == b.first; }), v.end());
}

/// Sorts and drops repeats, on the calling thread.
template <typename T>
void oneInstance(std::vector<T>& v) {
    std::sort(v.begin(), v.end());
    dropRepeats(v);
}

/// Sorts numbers, such as codes, and drops repeats. Cost: O(n), with n elements of memory.
template <typename Number>
void oneInstanceOfNumbers(std::vector<Number>& v) {
    radixSort(v);
    dropRepeats(v);
}

/// Sorts and drops repeats, with sortMT.
template <typename T>
void oneInstanceMT(std::vector<T>& v) {
    sortMT(v.begin(), v.end());
    dropRepeats(v);
}

/// Sorts pairs by their first members and keeps the first pair, in the order given, of each run of equal first members. On
/// the calling thread.
template <typename First, typename Second>
void oneInstanceFirstComponent(std::vector<std::pair<First, Second>>& v) {
    std::stable_sort(v.begin(), v.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    dropRepeatsOfFirst(v);
}

/// Inserts into out (a vector or a set) the elements that occur exactly N times in a sorted vector, each once, in order.
template <typename T, typename Out>
void filterN(const std::vector<T>& vSorted, int N, Out& out) {
    for (auto it = vSorted.begin(); it != vSorted.end();) {
        const auto itEnd = std::find_if(it, vSorted.end(), [it](const T& element) { return element != *it; });
        if (itEnd - it == N) out.insert(out.end(), *it);
        it = itEnd;
    }
}

}  // namespace TARN_KEL
