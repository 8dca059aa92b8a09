// Finds the neighbour of a facet across an edge.
#include "Facet.h"

#include <algorithm>

#include "tools.h"

namespace TARN_KEL {

namespace {

RCC cornerOf(const Facet& facet, int edge) {
    const auto corner = static_cast<std::size_t>(Facet::facets[facet.idx][edge % 4]);
    return facet.rcd + Facet::addersx[corner] + Facet::addersy[corner] + Facet::addersz[corner];
}

RCD cellAt(RCD rcd, const int* offset) {
    return rcd + static_cast<RCD>(static_cast<long long>(offset[0])) * RCD_STEP_X +
           static_cast<RCD>(static_cast<long long>(offset[1])) * RCD_STEP_Y +
           static_cast<RCD>(static_cast<long long>(offset[2])) * RCD_STEP_Z;
}

}  // namespace

void Facet::fetchEdge(int edge, EdgePair& out) const {
    out = {cornerOf(*this, edge), cornerOf(*this, edge + 1)};
}

void Facet::fetchNeig(const VRCD& vCells, int edge, Facet& out) const {
    const int* row = neigAdders[idx * 4 + edge];
    const auto isIn = [&vCells](RCD cell) { return std::binary_search(vCells.begin(), vCells.end(), cell); };
    const RCD diagonal = cellAt(rcd, row), coplanar = cellAt(rcd, row + 4);
    if (isIn(diagonal))
        out = Facet(diagonal, row[3], -1, -1);
    else if (isIn(coplanar))
        out = Facet(coplanar, row[7], -1, -1);
    else
        out = Facet(rcd, row[8], -1, -1);
}

std::size_t Facet::fetchNeigPosition(const VRCD& vCells, const std::vector<Facet>& vVisibleFacets, int edge) const {
    Facet neigFacet;
    fetchNeig(vCells, edge, neigFacet);
    const auto q_it = std::lower_bound(vVisibleFacets.begin(), vVisibleFacets.end(), neigFacet);
    ASSEX(q_it!=vVisibleFacets.end());
    ASSEX(*q_it==neigFacet);
    return static_cast<std::size_t>(q_it - vVisibleFacets.begin());
}

Facet* Facet::fetchNeigPtr(const VRCD& vCells, std::vector<Facet>& vVisibleFacets, int edge) const {
    return &vVisibleFacets[fetchNeigPosition(vCells, vVisibleFacets, edge)];
}

}  // namespace TARN_KEL
