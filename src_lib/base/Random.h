#pragma once

#include <cstdint>

namespace TARN_KEL {

/// The library's only source of random numbers: 0 to 2147483647, depending on the seed alone.
///
/// It belongs to a run or an object and starts from a fixed seed, so that the same input gives the same bytes in every run,
/// in any thread, after any other run. Work that is cut into tasks seeds one for each element, by its index. A copy gives
/// the same numbers as the original from then on.
class Random {
public:
    static constexpr std::int64_t MAX = 2147483647;

    explicit Random(std::uint64_t seed = 0) : state(seed) {}

    /// The next number, uniform from 0 to MAX. Constant time.
    int next() {
        // A counter through a mixing function: every state gives a good number, 0 too, and the period is 2^64.
        std::uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return static_cast<int>((z ^ (z >> 31)) >> 33);
    }

private:
    std::uint64_t state;
};

}  // namespace TARN_KEL
