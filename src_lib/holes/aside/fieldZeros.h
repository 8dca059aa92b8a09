// Where the field of a hole changes its sign. No public function reaches it: it belongs to Hole.
//
// The surface crosses the lattice edges between points of unlike signs. Each such edge lies between four cells, and each of
// them is noted with the zero on the edge; the mean of its zeros is the point of a cell:
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

/// The crossings at the field's addresses up to three cells round those of the chain, in the order of the list and by axis;
/// those between two seeds of smooth surface are left out, which the old surface makes. An address with a value of 0 is an
/// assertion.
std::vector<Crossing> crossingsNear(const HoleRegion& region, const Field& field, const Calc& calc);
/// Appends the cells on the grid round a crossing, as Box::getCbsAroundEdge() has them.
VRCD cellsAround(const Crossing& crossing, const Box& box, const Calc& calc);
/// For each cell the mean of its points, moved into the cell; ascending. O(n log n).
std::vector<std::pair<CCD, Point3>> pointsOfCells(std::vector<std::pair<RCD, Point3>> vNotes, const Calc& calc);

}  // namespace TARN_KEL
