// The cells that the triangles of a soup pass through, none of them missed.
#pragma once

#include <vector>

#include "Calc.h"
#include "cleanCells.h"

namespace TARN_KEL {

class Tri;

/// How deep a triangle must come into a cell to touch it, in edges of the cell. Without such a depth, rounding would decide
/// about a triangle in the plane between two layers of cells.
constexpr double TOUCH_SLIVER = 1e-4;

/// Finds the cells through which a triangle passes, by cutting it along the planes of the grid.
///
/// A cell counts when the triangle comes into the cube that has its centre and an edge shorter by twice TOUCH_SLIVER. The
/// place in a cell lies on the first such triangle's plane: nearest to the cell's midpoint if that lies in the cell, else
/// in the middle of what the triangle has in the cell.
/// vTri: on the grid, some cells away from its sides.
/// Returns the cells sorted, each once. Uses the pool. Cost: O(n log n) for n cells and triangles.
CellPoints touchedCells(const std::vector<Tri*>& vTri, const Calc& grid);

}  // namespace TARN_KEL
