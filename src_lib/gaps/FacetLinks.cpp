// The neighbours of a facet depend on the cells around its cell, which a walk over the sorted list finds without searching.
// So all links are found in one sweep over the cells; floods, weights and bands then go from facet to facet by position.
#include "FacetLinks.h"

#include "NeighbourWalk.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Walk = NeighbourWalk<RCD>;
using Position = CellSides::Position;
constexpr std::size_t NUM_POSITIONS = 27;

/// A row of neigAdders with positions of the block for offsets.
struct LinkRow {
    std::size_t diagonal;
    int diagonalFacet;
    std::size_t coplanar;
    int coplanarFacet;
    int ownFacet;
};

constexpr std::array<LinkRow, 24> makeLinkRows() {
    std::array<LinkRow, 24> rows{};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const int* row = Facet::neigAdders[i];
        rows[i] = {static_cast<std::size_t>(Walk::positionOf(row[0], row[1], row[2])), row[3],
                   static_cast<std::size_t>(Walk::positionOf(row[4], row[5], row[6])), row[7], row[8]};
    }
    return rows;
}
constexpr std::array<LinkRow, 24> LINK_ROWS = makeLinkRows();

}  // namespace

CellSides::CellSides(const VRCD& vCells, const std::vector<Facet>& vFacets) : vSides(vCells.size()) {
    ASSEX(vFacets.size()<NONE);
    Position position = 0;
    for (std::size_t cell = 0; cell < vCells.size(); ++cell) {
        vSides[cell].first = position;
        for (; position < vFacets.size() && vFacets[position].rcd == vCells[cell]; ++position)
            vSides[cell].mask |= 1U << vFacets[position].idx;
    }
    const bool bAllOfCells = position == vFacets.size();
    ASSEX(bAllOfCells);
}

FacetLinks::FacetLinks(const VRCD& vCells, const std::vector<Facet>& vFacets) : vNeigs(vFacets.size()) {
    const CellSides sides(vCells, vFacets);
    Walk walk(vCells);
    std::array<std::size_t, NUM_POSITIONS> cells;  // in vCells, by position in the block; `free` where there is no cell
    const std::size_t free = vCells.size();
    RCD current = ~RCD{0};
    for (std::size_t position = 0; position < vFacets.size(); ++position) {
        const Facet& facet = vFacets[position];
        if (facet.rcd != current) {
            current = facet.rcd;
            cells.fill(free);
            walk.visitBlock(current, [&cells](int pos, std::size_t cell) { cells[static_cast<std::size_t>(pos)] = cell; });
        }
        for (std::size_t edge = 0; edge < 4; ++edge) {
            const LinkRow& row = LINK_ROWS[static_cast<std::size_t>(facet.idx) * 4 + edge];
            Position neig;
            if (cells[row.diagonal] != free)
                neig = sides.find(cells[row.diagonal], row.diagonalFacet);
            else if (cells[row.coplanar] != free)
                neig = sides.find(cells[row.coplanar], row.coplanarFacet);
            else
                neig = sides.find(cells[Walk::CENTRE], row.ownFacet);
            if (neig == CellSides::NONE)  // the search tells what is missing, and fails
                neig = static_cast<Position>(facet.fetchNeigPosition(vCells, vFacets, static_cast<int>(edge)));
            vNeigs[position][edge] = neig;
        }
    }
}

}  // namespace TARN_KEL
