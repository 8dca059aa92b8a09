// The unit of times that are compared between machines: one std::sort of 10 million random 64-bit keys.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <vector>

/// Wall time from some moment on.
inline double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline std::vector<std::uint64_t> unitKeys() {
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> vKey(10000000);
    std::generate(vKey.begin(), vKey.end(), random);
    return vKey;
}

inline double sortUnit() {
    std::vector<std::uint64_t> vKey = unitKeys();
    const double begin = seconds();
    std::sort(vKey.begin(), vKey.end());
    return seconds() - begin;
}
