// The raster cleaning: one point per cell, and of the occupied cells a sheet one cell thick.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class RemoveDecider_RCD;

/// Cells with the points that stand for them: sorted by packed code, one pair per cell unless stated.
using CellPoints = std::vector<std::pair<RCD, Point3>>;

/// The codes of the cells, in their order. O(n).
VRCD codesOf(const CellPoints& cells);

/// The whole cleaning: one point per cell, thinned to a sheet, sorted. With numGrowSteps (above 0) the cells follow, sorted
/// as well, that the volume labelling proposes for the gaps of the sheet and acceptProposed() accepts. vPoints: on the grid,
/// some cells off its sides. Cost: O(n log n), and the field of the labelling for each step.
CellPoints cleanCells(const std::vector<Point3>& vPoints, const Calc& grid, std::optional<int> numGrowSteps);

// ---- Its steps

/// The first point in each cell. O(n log n); uses the pool.
CellPoints onePointPerCell(const std::vector<Point3>& vPoints, const Calc& grid);
/// Thins the cells vCells to a sheet. cells: the points of all of them. Returns what stays, sorted. O(n log n).
VRCD thinToSheet(const VRCD& vCells, const CellPoints& cells, const Calc& grid);
/// Dooms the rim cells that lie in a flat face, no cell of a corner around them, unless that creates a gap. Neighbours count
/// as long as cells has them, doomed or not. cells: all of the decider's.
void doomFlatRims(RemoveDecider_RCD& decider, const CellPoints& cells);
/// The pairs whose codes are in vCells, which is sorted. O(n).
CellPoints selectCells(const CellPoints& cells, const VRCD& vCells);

/// The cells of a sheet, both lists sorted.
struct SheetCells {
    VRCD vArea;    ///< the inner ones
    VRCD vBorder;  ///< those on its rim
};
/// Thins proposed cells within the whole sheet. proposed: sorted pairs, none in the sheet (KelBugException), of a cell
/// perhaps several. Returns those that are accepted, sorted. O(n log n).
CellPoints acceptProposed(const SheetCells& sheet, const CellPoints& proposed, const Calc& grid);

/// A connected piece of proposed cells, sorted.
struct ProposedPiece {
    double score;  ///< the part of its rim cells that touch the rim of the sheet; 1.0 for at most 9 rim cells
    VRCD vCells;
};
/// The pieces in the order of their lowest cells, connected over corners. vProposed: sorted. O(n log n).
std::vector<ProposedPiece> scorePieces(const VRCD& vProposed, const VRCD& vSheetBorder, const Calc& grid);

/// How far the surface opens around the first point, as the other points, its neighbours, show it: of the neighbour in the
/// middle of the list (the last one aside) the largest angle to another one, in degrees.
/// Returns 0.0 for fewer than two neighbours. Throws KelBugException for no points. O(n).
double medianWedge(const std::vector<Point3>& vAxPlusNeigs);

}  // namespace TARN_KEL
