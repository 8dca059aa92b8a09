// The nodes of even sampling: the mean points of the occupied cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

/// Position of a node in the list of all.
using NodeId = std::uint32_t;
constexpr NodeId NO_NODE = ~NodeId{0};

/// Between the caller's unit and cells: a place in cells is the vector from the low corner of the points, divided by the
/// edge of a cell. Small numbers keep squares in range and the last bits for what matters, wherever the cloud lies.
struct CellFrame {
    Point3 low;
    double edge = 1.0;

    Vector3 toCells(const Point3& p) const { return (p - low) / edge; }
    Point3 fromCells(const Vector3& place) const { return low + place * edge; }
};

/// The occupied cells, by ascending packed code, and the mean point of each, in cells.
struct SampleNodes {
    VRCD vCell;
    std::vector<Vector3> vPlace;

    std::size_t size() const { return vCell.size(); }
};

/// The points of a cell are added up in the order of their coordinates, so the order of the input leaves no trace. All
/// points are finite and lie on the grid; fewer than 2^32 of them. O(n log n); uses the pool. Progress: step "SC_nodes".
SampleNodes makeSampleNodes(const std::vector<Point3>& vPoints, const Calc& grid, const CellFrame& frame);

}  // namespace TARN_KEL
