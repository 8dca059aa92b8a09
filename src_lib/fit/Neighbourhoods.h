// The points near each point, as one bit per candidate.
//
// The candidates of all points of a cell are the same: the points of the cells around it, which are at most nine runs in the
// order of the grid. So a point keeps a bit for each of them, some ten times less than a list of positions. A list is made
// while it is looked at, and points are taken cell by cell, so that the candidates of a cell are listed only once.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

#include "FitPoints.h"
#include "PointGrid.h"

namespace TARN_KEL {

constexpr double SAME_SIDE = -0.2;  // cosine of the sides of two neighbours

/// Whether two points, if they are near, are of one sheet: of one piece of the mesh, seen from the same side. Walls never
/// mix.
inline bool areNeighbours(const FitPoints& points, std::size_t i, std::size_t j) {
    return points.vPiece[i] == points.vPiece[j] && points.vSide[i] * points.vSide[j] > SAME_SIDE;
}

/// The neighbours of each point within a radius, itself included.
///
/// On a surface with some 80 neighbours per point they take 40 bytes per point. Const operations are safe on several
/// threads.
class Neighbourhoods {
public:
    /// Uses the pool. O(candidates of all points).
    Neighbourhoods(const FitPoints& points, double theRadius);

    double getRadius() const { return radius; }
    std::size_t numPoints() const { return vPoint.size(); }

    /// Calls visit(point, its neighbours as a std::span of positions) for those points in the places [begin, end) of the
    /// grid's order that isWanted(point) asks for. The order of the neighbours depends on the points alone; the span ends
    /// with the call.
    template <typename IsWanted, typename Visit>
    void visitWanted(std::size_t begin, std::size_t end, const IsWanted& isWanted, const Visit& visit) const;
    /// The same cell by cell, for work that prepares what it needs of all candidates: enter(first point of the cell,
    /// candidates), then visit(point, the positions of its neighbours among these) for those that are wanted. A cell without
    /// any isn't entered.
    template <typename IsWanted, typename Enter, typename Visit>
    void visitCells(std::size_t begin, std::size_t end, const IsWanted& isWanted, const Enter& enter,
                    const Visit& visit) const;

private:
    static constexpr std::size_t WORD_BITS = 64;
    struct Cell {
        FitIndex begin = 0;           // of its points, in vPoint
        FitIndex numWords = 0;        // of each of its points
        std::uint64_t firstWord = 0;  // of its first point
        GridRows rows;                // the candidates
    };

    void enterCells(const PointGrid& grid);
    void markNeighbours(const FitPoints& points, std::size_t begin, std::size_t end);
    /// Positions of the points that may be neighbours of those in a cell.
    void listCandidates(const Cell& cell, std::vector<FitIndex>& vCandidate) const;
    /// The cell of the point at a place.
    std::size_t cellAt(std::size_t place) const {
        const auto itNext = std::upper_bound(vCell.begin(), std::prev(vCell.end()), place,
                                             [](std::size_t at, const Cell& cell) { return at < cell.begin; });
        return static_cast<std::size_t>(itNext - vCell.begin()) - 1;
    }
    std::size_t wordOf(const Cell& cell, std::size_t place) const {
        return static_cast<std::size_t>(cell.firstWord) + (place - cell.begin) * cell.numWords;
    }

    double radius;
    double sqRadius = 0.0;             // as the grid rounds it
    std::vector<FitIndex> vPoint;      // in the order of the grid
    std::vector<Cell> vCell;           // and one behind the last
    std::vector<std::uint64_t> vBits;  // per point numWords of its cell: a bit for each candidate
};

template <typename IsWanted, typename Enter, typename Visit>
void Neighbourhoods::visitCells(std::size_t begin, std::size_t end, const IsWanted& isWanted, const Enter& enter,
                                const Visit& visit) const {
    std::vector<FitIndex> vCandidate, vPosition;
    for (std::size_t place = begin, cell = place < end ? cellAt(place) : 0; place < end; ++cell) {
        const std::size_t endOfCell = std::min<std::size_t>(end, vCell[cell + 1].begin);
        bool bEntered = false;
        for (; place < endOfCell; ++place) {
            const FitIndex point = vPoint[place];
            if (!isWanted(point)) continue;
            if (!bEntered) {
                listCandidates(vCell[cell], vCandidate);
                vPosition.resize(vCandidate.size());
                enter(vPoint[vCell[cell].begin], std::span<const FitIndex>(vCandidate));
                bEntered = true;
            }
            const std::uint64_t* pWord = vBits.data() + wordOf(vCell[cell], place);
            std::size_t numNear = 0;
            for (std::size_t first = 0; first < vCandidate.size(); first += WORD_BITS, ++pWord)
                for (std::uint64_t bits = *pWord; bits != 0; bits &= bits - 1)
                    vPosition[numNear++] = static_cast<FitIndex>(first + static_cast<std::size_t>(std::countr_zero(bits)));
            visit(point, std::span<const FitIndex>(vPosition.data(), numNear));
        }
    }
}

template <typename IsWanted, typename Visit>
void Neighbourhoods::visitWanted(std::size_t begin, std::size_t end, const IsWanted& isWanted, const Visit& visit) const {
    std::span<const FitIndex> vCandidate;
    std::vector<FitIndex> vNear;
    visitCells(
        begin, end, isWanted, [&](FitIndex, std::span<const FitIndex> vEntered) { vCandidate = vEntered; },
        [&](FitIndex point, std::span<const FitIndex> vPosition) {
            vNear.clear();
            for (const FitIndex position : vPosition)
                vNear.push_back(vCandidate[position]);
            visit(point, std::span<const FitIndex>(vNear));
        });
}

}  // namespace TARN_KEL
