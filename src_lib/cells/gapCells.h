#pragma once

#include "Calc.h"

namespace TARN_KEL {

/// The free cells that look like holes of the sheet of cells: six or more of the eight lattice corners of such a cell touch
/// an occupied one. vSortedCells: the occupied cells, sorted, repeats allowed, none within four cells of a side of the grid.
/// Appends the free cells in ascending order. A few operations on bits for each occupied cell.
void getGapCells(const VCCD& vSortedCells, const Calc& calc, VCCD& vOut);

}  // namespace TARN_KEL
