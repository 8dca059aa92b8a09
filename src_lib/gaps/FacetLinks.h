#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "Facet.h"

namespace TARN_KEL {

/// The positions of the facets of each cell in the sorted list of all facets. Takes 8 bytes per cell.
class CellSides {
public:
    using Position = std::uint32_t;
    static constexpr Position NONE = 0xffffffffU;

    /// vCells: sorted, unique.
    /// vFacets: sorted, all of these cells.
    /// Throws (assertion) for a facet of another cell, and for 2^32 - 1 facets or more.
    /// Cost: O(n).
    CellSides(const VRCD& vCells, const std::vector<Facet>& vFacets);

    /// The position of a facet by that of its cell in the list of cells; NONE when that side has no facet.
    Position find(std::size_t cell, int idx) const {
        const Sides& sides = vSides[cell];
        const std::uint32_t bit = 1U << idx;
        if ((sides.mask & bit) == 0) return NONE;
        return sides.first + static_cast<Position>(std::popcount(sides.mask & (bit - 1)));
    }

private:
    struct Sides {
        Position first = 0;      // of the cell's facets
        std::uint32_t mask = 0;  // bit idx: that side has a facet
    };
    std::vector<Sides> vSides;  // by cell
};

/// The four neighbours of every facet of a set of cells, by position in the sorted list of facets.
///
/// The links tell without a search what Facet::fetchNeig() finds. They are valid as long as the list keeps its facets;
/// colours don't matter. Takes 16 bytes per facet.
class FacetLinks {
public:
    using Position = CellSides::Position;
    using Neigs = std::array<Position, 4>;

    /// vCells: sorted, unique.
    /// vFacets: all of their visible facets, sorted. Throws as Facet::fetchNeigPosition() when one is missing.
    /// Cost: O(n).
    FacetLinks(const VRCD& vCells, const std::vector<Facet>& vFacets);

    /// The positions of the neighbours across edges 0 to 3.
    const Neigs& operator[](std::size_t position) const { return vNeigs[position]; }

private:
    std::vector<Neigs> vNeigs;
};

}  // namespace TARN_KEL
