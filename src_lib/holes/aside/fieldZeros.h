// Where the field of a hole changes its sign. No public function reaches it: it belongs to Hole.
//
// The surface crosses the lattice edges between points of opposite signs. Each such edge lies between four cells, and each
// of them is noted with the zero on the edge. The point of a cell is the mean of its zeros:
//
//        + | + | -              a section: lattice points with their signs, the zero between + and - and the cells at
//       ---+---*---             that edge, of which two can be seen
//        + | + | -
#pragma once

#include <utility>
#include <vector>

#include "Field.h"
#include "HoleRegion.h"
#include "kel.h"

namespace TARN_KEL {

/// A lattice edge on which the field changes its sign: from its lower end, the source, one step along the axis.
struct Crossing {
    int source;  // address
    int axis;    // 0, 1, 2 for x, y, z
    float srcVal, trgVal;
    Point3 src, trg, zero;  // the ends, and where the value is 0 between them
};

/// The crossings that start at addresses in the field's list, at most three cells beyond the range of the chain's cells; in
/// the order of the list, then by axis. Crossings between two reliable seeds are left out, since they belong to the old
/// surface. Throws (assertion) for an address with a value of 0.
std::vector<Crossing> crossingsNear(const HoleRegion& region, const Field& field, const Calc& calc);
/// Returns the cells on the grid around a crossing, in the order of Box::getCbsAroundEdge().
VRCD cellsAround(const Crossing& crossing, const Box& box, const Calc& calc);
/// For each cell the mean of its points, moved into the cell; ascending by code. Cost: O(n log n).
std::vector<std::pair<CCD, Point3>> pointsOfCells(std::vector<std::pair<RCD, Point3>> vNotes, const Calc& calc);

}  // namespace TARN_KEL
