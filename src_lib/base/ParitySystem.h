#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace TARN_KEL {

/// Equations over numbers that are 0 or 1: the sum of some of them is even, or odd.
///
/// Dense: n unknowns take n^2 / 8 bytes, an equation O(n^2 / 64) steps.
class ParitySystem {
public:
    using Unknown = std::uint32_t;

    /// The first unknowns are those that follow from others, so cheap ones come first.
    explicit ParitySystem(std::size_t numUnknowns);

    /// Returns false, with nothing changed, when the equation contradicts the others. vUnknown: without repeats.
    bool add(const std::vector<Unknown>& vUnknown, bool bOdd);
    /// A solution that costs little: no exchange of one of the unknowns that are free, and of all that depend on it, costs
    /// less. Cost: O(n^3 / 64) and a few exchanges of O(n).
    /// vCost: of each unknown that is 1, not negative.
    std::vector<bool> solve(const std::vector<std::size_t>& vCost) const;

private:
    struct Row {
        std::vector<std::uint64_t> vBits;  // the unknowns
        bool bOdd = false;

        void add(const Row& other);
        bool has(std::size_t unknown) const { return (vBits[unknown / 64] >> unknown % 64 & 1U) != 0; }
        void flip(std::size_t unknown) { vBits[unknown / 64] ^= std::uint64_t{1} << unknown % 64; }
        /// Whether the unknowns of both that are 1 have an odd number.
        bool meetsOddly(const Row& other) const;
        /// The number of unknowns when there is none.
        std::size_t first(std::size_t numUnknowns) const;
    };

    Row emptyRow() const { return {std::vector<std::uint64_t>((numUnknowns + 63) / 64), false}; }
    /// Sets the unknowns that have an equation of their own so that all hold, for given other ones.
    void complete(Row& values, bool bHomogeneous) const;

    const std::size_t numUnknowns;
    std::vector<std::optional<Row>> vRow;  // by its first unknown
};

}  // namespace TARN_KEL
