#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TARN_KEL {

/// A queue of numbers by weight that is exact to a factor of 1.5: weights that are closer may come in either order,
/// otherwise the lower one is first. In one bucket those that were entered first are first.
///
/// Entering and removing cost O(1), without the cache misses of a heap, and an entry is four bytes. Weights are finite and
/// not negative; those below 2^-160 count as equal, and so do those from 2^32.
class BucketQueue {
public:
    bool empty() const { return numEntries == 0; }
    /// The bucket of a weight: ascends with it.
    static std::size_t bucketOf(double weight) {
        constexpr std::uint64_t LOWEST = static_cast<std::uint64_t>(1023 - 160) << PER_OCTAVE_BITS;
        const std::uint64_t leading = std::bit_cast<std::uint64_t>(weight + 0.0) >> (52 - PER_OCTAVE_BITS);
        if (leading <= LOWEST) return 0;
        const std::uint64_t bucket = leading - LOWEST;
        return bucket < NUM_BUCKETS ? bucket : NUM_BUCKETS - 1;
    }
    void push(std::size_t bucket, std::uint32_t number) {
        aBucket[bucket].vNumber.push_back(number);
        aUsed[bucket / 64] |= std::uint64_t{1} << bucket % 64;
        ++numEntries;
    }
    /// The lowest bucket that has an entry; there must be one. Cost: a look at six words at most.
    std::size_t firstBucket() const {
        std::size_t word = 0;
        while (aUsed[word] == 0)
            ++word;
        return 64 * word + static_cast<std::size_t>(std::countr_zero(aUsed[word]));
    }
    /// Removes the first entry of a bucket that has one.
    std::uint32_t popFrom(std::size_t bucket) {
        Bucket& b = aBucket[bucket];
        const std::uint32_t number = b.vNumber[b.next++];
        --numEntries;
        if (b.next == b.vNumber.size()) {
            b.vNumber.clear();
            b.next = 0;
            aUsed[bucket / 64] &= ~(std::uint64_t{1} << bucket % 64);
        }
        return number;
    }
    void clear() { *this = BucketQueue(); }

private:
    static constexpr int PER_OCTAVE_BITS = 1;
    static constexpr std::size_t NUM_BUCKETS = 192 << PER_OCTAVE_BITS;
    struct Bucket {
        std::vector<std::uint32_t> vNumber;
        std::size_t next = 0;
    };
    std::array<Bucket, NUM_BUCKETS> aBucket;
    std::array<std::uint64_t, NUM_BUCKETS / 64> aUsed{};
    std::size_t numEntries = 0;
};

}  // namespace TARN_KEL
