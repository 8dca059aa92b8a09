// From smoothed nodes to the points that stand for their cells.
#pragma once

#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

struct SNode;

/// (cell of the smoothed position, node), by ascending code; one node per cell, the one made first. O(n log n); uses the
/// pool.
std::vector<std::pair<CCD, SNode*>> oneNodePerCell(const std::vector<SNode*>& vNodes, const Calc& grid);

/// The point of each node that has a plane, in their order. A node with a full ring of links on a flat piece delivers the
/// foot of its cell's midpoint on its plane, so that the point doesn't depend on where in the cell the samples fell. On rims
/// and folds, where the plane says less, it delivers its own position. A foot may lie in the next cell.
std::vector<Point3> deliveredPoints(const std::vector<std::pair<CCD, SNode*>>& vCellNode, const Calc& grid);

}  // namespace TARN_KEL
