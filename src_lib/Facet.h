#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

/// The two ends of a lattice edge, in the order in which a facet is walked round.
using EdgePair = std::pair<RCC, RCC>;

/// What kind of cell a facet belongs to: one in the middle of a sheet, or one at its rim.
enum FacetState { FACET_STATE_AREA = 1, FACET_STATE_BORDER = 2 };

/// One side of a cell of a sheet, toward a cell that isn't in the sheet.
///
/// All facets of a set of cells form closed surfaces: across each of its four edges a facet has exactly one neighbour, and
/// the relation is mutual. Which facet it is follows from the cells around the edge:
///
///        .  D          the cell D across the edge, if it is there: a concave fold (where D and the facet's cell touch at
///      ----+---        the edge only, each side folds to the cell it runs along)
///        C | P         else the cell P beside C: the surface goes on flat
///                      else another side of C itself: a convex fold
///
/// Facets are kept in sorted vectors; the order, and equality, look at cell and side only.
struct Facet {
    RCD rcd = 0;              ///< the cell
    std::int32_t idx = -1;    ///< the side: 0 to 5 for -x, +x, -y, +y, -z, +z; idx ^ 1 is the opposite side
    std::int32_t color = -1;  ///< -1: none; the rest is the owner's business
    std::int32_t state = -1;  ///< a FacetState

    Facet() = default;
    Facet(RCD cell, int side, int theColor, int theState) : rcd(cell), idx(side), color(theColor), state(theState) {}

    /// The edge from corner `edge`, 0 to 3, to the next corner.
    void fetchEdge(int edge, EdgePair& out) const;
    /// The neighbour across an edge on the surface of the sorted cells vCells; its color and state stay -1. O(log n).
    void fetchNeig(const VRCD& vCells, int edge, Facet& out) const;
    /// The same as a position in vVisibleFacets, which holds all facets of vCells in order. Assertions fail when it isn't
    /// there. O(log n).
    std::size_t fetchNeigPosition(const VRCD& vCells, const std::vector<Facet>& vVisibleFacets, int edge) const;
    /// The same as an element of vVisibleFacets.
    Facet* fetchNeigPtr(const VRCD& vCells, std::vector<Facet>& vVisibleFacets, int edge) const;

    bool operator==(const Facet& other) const { return rcd == other.rcd && idx == other.idx; }
    std::strong_ordering operator<=>(const Facet& other) const {
        return rcd != other.rcd ? rcd <=> other.rcd : idx <=> other.idx;
    }

    /// By side: its corners in order around it. Corner c lies a step up from the cell's low corner on x, y, z where bit 2,
    /// 1, 0 of c is set. Edge e runs from corner e to corner (e + 1) % 4.
    static constexpr int facets[6][4] = {{0, 1, 3, 2}, {4, 5, 7, 6}, {0, 4, 5, 1}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 5, 7, 3}};
    /// By corner: the steps from a cell's low corner to that corner, axis by axis.
    static constexpr std::array<unsigned long long, 8> addersx = {0,          0,          0,          0,
                                                                  RCD_STEP_X, RCD_STEP_X, RCD_STEP_X, RCD_STEP_X};
    static constexpr std::array<unsigned long long, 8> addersy = {0, 0, RCD_STEP_Y, RCD_STEP_Y,
                                                                  0, 0, RCD_STEP_Y, RCD_STEP_Y};
    static constexpr std::array<unsigned long long, 8> addersz = {0, RCD_STEP_Z, 0, RCD_STEP_Z,
                                                                  0, RCD_STEP_Z, 0, RCD_STEP_Z};
    /// By idx * 4 + edge: the facets that may lie across the edge, in the order in which they are tried: the offset x, y, z
    /// of the diagonal cell and its facet; those of the coplanar cell; the facet of the same cell.
    static constexpr int neigAdders[24][9] = {
        {-1, -1, 0, 3, 0, -1, 0, 0, 2}, {-1, 0, 1, 4, 0, 0, 1, 0, 5},   {-1, 1, 0, 2, 0, 1, 0, 0, 3},
        {-1, 0, -1, 5, 0, 0, -1, 0, 4}, {1, -1, 0, 3, 0, -1, 0, 1, 2},  {1, 0, 1, 4, 0, 0, 1, 1, 5},
        {1, 1, 0, 2, 0, 1, 0, 1, 3},    {1, 0, -1, 5, 0, 0, -1, 1, 4},  {0, -1, -1, 5, 0, 0, -1, 2, 4},
        {1, -1, 0, 0, 1, 0, 0, 2, 1},   {0, -1, 1, 4, 0, 0, 1, 2, 5},   {-1, -1, 0, 1, -1, 0, 0, 2, 0},
        {0, 1, -1, 5, 0, 0, -1, 3, 4},  {1, 1, 0, 0, 1, 0, 0, 3, 1},    {0, 1, 1, 4, 0, 0, 1, 3, 5},
        {-1, 1, 0, 1, -1, 0, 0, 3, 0},  {0, -1, -1, 3, 0, -1, 0, 4, 2}, {1, 0, -1, 0, 1, 0, 0, 4, 1},
        {0, 1, -1, 2, 0, 1, 0, 4, 3},   {-1, 0, -1, 1, -1, 0, 0, 4, 0}, {0, -1, 1, 3, 0, -1, 0, 5, 2},
        {1, 0, 1, 0, 1, 0, 0, 5, 1},    {0, 1, 1, 2, 0, 1, 0, 5, 3},    {-1, 0, 1, 1, -1, 0, 0, 5, 0}};
    /// By side: the unit vector that points out of the cell.
    static constexpr Vector3 axes[6] = {{-1.0, 0.0, 0.0}, {1.0, 0.0, 0.0},  {0.0, -1.0, 0.0},
                                        {0.0, 1.0, 0.0},  {0.0, 0.0, -1.0}, {0.0, 0.0, 1.0}};
};

}  // namespace TARN_KEL
