#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "Facet.h"

namespace TARN_KEL {

/// The four neighbours of every facet of a set of cells, by position in the sorted list of facets.
///
/// The links say what Facet::fetchNeig() finds by searching, and stay true as long as the list keeps its facets; colours
/// don't matter. 16 bytes a facet.
class FacetLinks {
public:
    using Position = std::uint32_t;

    FacetLinks() = default;
    /// vCells: sorted, unique. vFacets: all of their visible facets, sorted. O(n). An assertion fails when a facet is
    /// missing, or for 2^32 - 1 facets or more.
    FacetLinks(const VRCD& vCells, const std::vector<Facet>& vFacets);

    /// The positions of the neighbours across edges 0 to 3.
    const std::array<Position, 4>& operator[](std::size_t position) const { return vNeigs[position]; }

private:
    std::vector<std::array<Position, 4>> vNeigs;
};

}  // namespace TARN_KEL
