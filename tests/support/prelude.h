// What every test opens with: the test framework, the standard headers, the library's names, and what hears its reports.
#pragma once

#include <gtest/gtest.h>

#include "Random.h"
#include "support/capture.h"
#include "support/names.h"

namespace TARN_TEST {

/// Calls check(seed) for each seed below the number; a failure names the seed, and a fatal one ends the loop.
template <typename Check>
void forSeeds(unsigned numSeeds, const Check& check) {
    for (unsigned seed = 0; seed < numSeeds && !::testing::Test::HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        check(seed);
    }
}

inline std::size_t pick(Random& random, std::size_t n) {
    return static_cast<std::size_t>(random.next()) % n;
}

/// What the query appends to a list.
template <typename T, typename Query>
std::vector<T> listOf(Query&& query) {
    std::vector<T> v;
    query(v);
    return v;
}

template <typename T>
std::vector<T> sorted(std::vector<T> v) {
    std::sort(v.begin(), v.end());
    return v;
}

/// For each of n elements the number of the first one in its component; isJoined(i, j) tells for j < i whether two hang
/// together directly. Looks at all pairs.
template <typename IsJoined>
std::vector<std::size_t> labels(std::size_t n, const IsJoined& isJoined) {
    std::vector<std::size_t> vLabel(n);
    std::iota(vLabel.begin(), vLabel.end(), 0U);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (vLabel[i] != vLabel[j] && isJoined(i, j)) {
                const auto [first, second] = std::minmax({vLabel[i], vLabel[j]});
                std::replace(vLabel.begin(), vLabel.end(), second, first);
            }
    return vLabel;
}

/// Calls call(i) for each i below the number, all at once, and waits for them.
template <typename Call>
void onThreads(std::size_t numThreads, const Call& call) {
    std::vector<std::thread> vThread;
    for (std::size_t i = 0; i < numThreads; ++i)
        vThread.emplace_back([&call, i] { call(i); });
    for (std::thread& thread : vThread)
        thread.join();
}

}  // namespace TARN_TEST
