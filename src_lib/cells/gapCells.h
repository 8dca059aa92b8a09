#pragma once

#include "Calc.h"

namespace TARN_KEL {

/// Finds the free cells that look like holes of the sheet of cells: at least six of the eight lattice corners of such a cell
/// touch an occupied cell.
/// vSortedCells: the occupied cells, sorted, repeats allowed, none within four cells of a side of the grid.
/// vOut: the free cells are appended in ascending order.
/// Cost: a few operations on bits for each occupied cell.
void getGapCells(const VCCD& vSortedCells, const Calc& calc, VCCD& vOut);

}  // namespace TARN_KEL
