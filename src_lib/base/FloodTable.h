#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "FreshVector.h"
#include "SimplePool.h"
#include "sortMT.h"

namespace TARN_KEL {

/// The neighbours of all triangles of a mesh as numbers, with a few bits about each triangle, for floods.
///
/// Finding them takes most of the time of a flood, and all workers do it. What is left jumps through 13 bytes a triangle
/// instead of several cache lines.
template <typename Triangle>
class FloodTable {
public:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};
    static constexpr unsigned TAKEN = 128;  ///< a flood doesn't enter it; the lower bits are the owner's

    /// Dead triangles and those marked visited count as taken. thePool must outlive this object.
    /// nextAcross: nextAcross(triangle, i, bits) returns the triangle across the edge opposite corner i, or null for an edge
    /// that no flood crosses, and may set bits of an alive triangle. Called on all workers.
    /// Cost: O(n).
    template <typename NextAcross>
    FloodTable(const TARN_TOOLS::SimplePool<Triangle>& thePool, const NextAcross& nextAcross)
        : pool(thePool), vNeighbour(thePool.size()), vBits(thePool.size()) {
        forChunks_MT(
            pool.size(),
            [&](std::size_t begin, std::size_t end) {
                for (std::size_t number = begin; number < end; ++number)
                    enter(number, nextAcross);
            },
            WORTH_A_TASK);
    }
    std::uint32_t numberOf(const Triangle* pT) const { return static_cast<std::uint32_t>(pool.indexOf(pT)); }
    Triangle* at(std::uint32_t number) const { return pool.at(number); }
    std::vector<Triangle*> elements(std::span<const std::uint32_t> numbers) const {
        std::vector<Triangle*> vT;
        vT.reserve(numbers.size());
        for (const std::uint32_t number : numbers)
            vT.push_back(at(number));
        return vT;
    }
    /// Across the edge opposite corner i, as the triangles were at the start.
    std::uint32_t next(std::uint32_t number, std::size_t i) const { return vNeighbour[number][i]; }
    bool has(std::uint32_t number, unsigned bit) const { return (vBits[number] & bit) != 0; }
    void set(std::uint32_t number, unsigned bit) { vBits[number] = static_cast<unsigned char>(vBits[number] | bit); }

private:
    template <typename NextAcross>
    void enter(std::size_t number, const NextAcross& nextAcross) {
        const Triangle* const pT = pool.at(number);
        vBits[number] = TAKEN;
        if (!pT->isAlive()) return;
        unsigned bits = pT->bVisited ? TAKEN : 0U;
        for (std::size_t i = 0; i < 3; ++i) {
            const Triangle* const pNext = nextAcross(pT, static_cast<int>(i), bits);
            vNeighbour[number][i] = pNext == nullptr ? NONE : numberOf(pNext);
        }
        vBits[number] = static_cast<unsigned char>(bits);
    }

    const TARN_TOOLS::SimplePool<Triangle>& pool;
    FreshVector<std::array<std::uint32_t, 3>> vNeighbour;  // of the alive triangles
    FreshVector<unsigned char> vBits;
};

}  // namespace TARN_KEL
