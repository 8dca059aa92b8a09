#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Positions in lists of points, vertices and triangles.
using FitIndex = std::uint32_t;
constexpr FitIndex NO_INDEX = ~FitIndex{0};

/// Places [begin, end) in the order of a grid.
struct GridRun {
    FitIndex begin, end;
};
/// The places of a cell and those around it: a run for each of nine rows, some of them empty.
using GridRows = std::array<GridRun, 9>;

/// Places in the cells of a cubic grid, for searches within a radius of about the edge of a cell.
///
/// A place is the vector from some corner below all, in whatever unit of length the user of this grid has.
///
/// The places are kept in the order of their cells, in rows along x: a search visits runs of neighbours in memory.
/// Places farther apart than 2^32 cells may be in one cell: a search never returns them, but beginOfCell() and rowsAround()
/// know only cells. Const operations are safe on several threads.
class PointGrid {
public:
    PointGrid() = default;
    /// Copies the places for which bUse is nonzero; all where that list is empty. Finite coordinates of at least 0.0 and
    /// less than 1e12 cells. O(n log n).
    PointGrid(const std::vector<Vector3>& vPlace, double cellEdge, const std::vector<unsigned char>& vUse = {});

    std::size_t size() const { return vEntry.size(); }
    /// The positions of all places in the list that was given, in the order of the grid.
    std::vector<FitIndex> order() const;

    /// Calls visit(position in the given list, squared distance) for each place within the radius, the order depends on the
    /// places alone.
    template <typename Visit>
    void visitWithin(const Vector3& centre, double radius, const Visit& visit) const {
        const double sqRadius = radius * radius;
        const std::int64_t lowX = cellOf(centre.x() - radius), highX = cellOf(centre.x() + radius);
        const std::int64_t lowY = cellOf(centre.y() - radius), highY = cellOf(centre.y() + radius);
        const std::int64_t lowZ = cellOf(centre.z() - radius), highZ = cellOf(centre.z() + radius);
        for (std::int64_t z = lowZ; z <= highZ; ++z)
            for (std::int64_t y = lowY; y <= highY; ++y) {
                const GridRun run = runOf(lowX, highX, y, z);
                for (FitIndex i = run.begin; i < run.end; ++i) {
                    const double sqDistance = (vEntry[i].place - centre).sqLength();
                    if (sqDistance <= sqRadius) visit(vEntry[i].index, sqDistance);
                }
            }
    }

    std::size_t numCells() const { return vCell.empty() ? 0 : vCell.size() - 1; }
    /// The places of a cell are those from beginOfCell(cell) to beginOfCell(cell + 1) in the order of the grid.
    FitIndex beginOfCell(std::size_t cell) const { return vCell[cell].begin; }
    /// The places within the edge of a cell from any place in the given one are among these, itself included.
    GridRows rowsAround(std::size_t cell) const {
        const Vector3& first = vEntry[vCell[cell].begin].place;
        const std::int64_t x = vCell[cell].x, y = cellOf(first.y()), z = cellOf(first.z());
        GridRows rows;
        for (int row = 0; row < 9; ++row)
            rows[static_cast<std::size_t>(row)] = runOf(x - 1, x + 1, y + row % 3 - 1, z + row / 3 - 1);
        return rows;
    }
    double sqCellEdge() const { return 1.0 / (inverseEdge * inverseEdge); }

private:
    struct Entry {
        Vector3 place;
        FitIndex index;
    };
    struct Cell {
        std::int64_t x;
        FitIndex begin;
    };
    struct Row {
        std::uint64_t key = 0;
        FitIndex beginCell = 0, endCell = 0;  // equal: the slot is free
    };

    std::int64_t cellOf(double coordinate) const { return static_cast<std::int64_t>(std::floor(coordinate * inverseEdge)); }
    static std::uint64_t rowKey(std::int64_t y, std::int64_t z) {
        return static_cast<std::uint64_t>(z) << 32 | static_cast<std::uint32_t>(y);
    }
    std::size_t slotOf(std::uint64_t key) const {
        std::size_t slot = static_cast<std::size_t>(key * 0x9E3779B97F4A7C15U >> shift);
        while (vRow[slot].beginCell != vRow[slot].endCell && vRow[slot].key != key)
            slot = (slot + 1) & (vRow.size() - 1);
        return slot;
    }
    /// The entries of the cells lowX to highX of a row.
    GridRun runOf(std::int64_t lowX, std::int64_t highX, std::int64_t y, std::int64_t z) const {
        if (vRow.empty()) return {0, 0};
        const Row& row = vRow[slotOf(rowKey(y, z))];
        const auto itBegin = vCell.begin() + row.beginCell, itEnd = vCell.begin() + row.endCell;
        const auto itLow =
            std::lower_bound(itBegin, itEnd, lowX, [](const Cell& cell, std::int64_t x) { return cell.x < x; });
        auto itHigh = itLow;
        while (itHigh != itEnd && itHigh->x <= highX)
            ++itHigh;
        if (itLow == itHigh) return {0, 0};
        return {itLow->begin, vCell[static_cast<std::size_t>(itHigh - vCell.begin())].begin};
    }

    double inverseEdge = 1.0;
    int shift = 0;
    std::vector<Entry> vEntry;  // by row, then x, then position in the given list
    std::vector<Cell> vCell;    // of all rows in turn, and one behind the last
    std::vector<Row> vRow;      // a hash table of a power of two of slots, at most half full
};

}  // namespace TARN_KEL
