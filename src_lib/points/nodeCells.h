// From smoothed nodes to one point per cell.
#pragma once

#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

struct SNode;

/// Pairs of a cell and the node whose smoothed place is in it, by ascending code; one node per cell, the oldest. Uses the
/// pool. Cost: O(n log n).
std::vector<std::pair<CCD, SNode*>> oneNodePerCell(const std::vector<SNode*>& vNodes, const Calc& grid);

/// The point of each node that has a plane, in their order. For a node in flat surroundings with links all around, that is
/// the foot of its cell's midpoint on its plane, so that it doesn't depend on where in the cell the samples lie. On rims and
/// folds, where the plane is less certain, it is the node's own place. A foot may lie in the next cell.
std::vector<Point3> deliveredPoints(const std::vector<std::pair<CCD, SNode*>>& vCellNode, const Calc& grid);

}  // namespace TARN_KEL
