// The cleaning of cells: keeps one point per cell, and thins the occupied cells to a sheet one cell thick.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

class RemoveDecider_RCD;

/// Cells with their points: sorted by packed code, one pair per cell unless stated otherwise.
using CellPoints = std::vector<std::pair<RCD, Point3>>;

/// The codes of the cells, in their order. O(n).
VRCD codesOf(const CellPoints& cells);

/// How gaps are closed.
struct GapClosing {
    int numSteps = 0;  ///< above 0
    /// Only what closes something stays: a component of accepted cells must make the rim of the sheet much shorter. And a
    /// sheet is oriented by those neighbours that are oriented already, if there is one.
    bool bCareful = false;
};

/// The whole cleaning.
/// vPoints: on the grid, some cells away from its sides.
/// gapClosing: how gaps of the sheet are closed. Without it they stay open.
/// Returns the cells of the sheet, sorted; after them, also sorted, the cells that Filler proposes for the gaps and that
/// acceptProposed() accepts.
/// Cost: O(n log n), and that of the field of the gap closing for each step.
CellPoints cleanCells(const std::vector<Point3>& vPoints, const Calc& grid, const std::optional<GapClosing>& gapClosing);

// ---- Its steps

/// The first point in each cell. Uses the pool. Cost: O(n log n).
CellPoints onePointPerCell(const std::vector<Point3>& vPoints, const Calc& grid);
/// Thins vCells to a sheet. cells: has the points of all of them. Returns the cells that are kept, sorted. Cost: O(n log n).
VRCD thinToSheet(const VRCD& vCells, const CellPoints& cells, const Calc& grid);
/// Dooms the rim cells that lie in a flat face, without a cell at a corner around them, unless that creates a gap.
/// cells: all cells of the decider; they count as neighbours whether doomed or not.
void doomFlatRims(RemoveDecider_RCD& decider, const CellPoints& cells);
/// The pairs whose codes are in vCells, which is sorted. O(n).
CellPoints selectCells(const CellPoints& cells, const VRCD& vCells);

/// The cells of a sheet, both lists sorted.
struct SheetCells {
    VRCD vArea;    ///< the inner ones
    VRCD vBorder;  ///< those on its rim
};
/// Thins proposed cells together with the sheet.
/// proposed: sorted pairs; may have several for one cell, but none for a cell of the sheet (KelBugException).
/// bCareful: see GapClosing.
/// Returns the accepted cells, sorted. Cost: O(n log n).
CellPoints acceptProposed(const SheetCells& sheet, const CellPoints& proposed, const Calc& grid, bool bCareful = false);

/// A component of proposed cells, sorted.
struct ProposedComponent {
    double score;  ///< the share of its rim cells that touch the rim of the sheet; 1.0 for at most 9 rim cells
    VRCD vCells;
};
/// The components of the proposed cells, in the order of their lowest cells. vProposed: sorted. Cost: O(n log n).
std::vector<ProposedComponent> scoreComponents(const VRCD& vProposed, const VRCD& vSheetBorder, const Calc& grid);

/// Tells how far the surface opens around the first point. The other points are its neighbours; seen from the first point,
/// it is the largest angle between the neighbour in the middle of the list (the last one left out) and another one.
/// Returns degrees; 0.0 for fewer than two neighbours. Throws KelBugException for no points. Cost: O(n).
double medianWedge(const std::vector<Point3>& vAxPlusNeigs);

}  // namespace TARN_KEL
