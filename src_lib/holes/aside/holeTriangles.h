// From the new cells of a hole to triangles. No public function reaches them: they belong to Hole.
#pragma once

#include <vector>

#include "CTriangle.h"
#include "Calc.h"
#include "Casx.h"
#include "holeCells.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// Adds the cells of a sheet to the mesh and creates the triangles of the dual cubes over sheet and chain, as for a whole
/// model. The old triangles stay in the mesh, so that none is created twice and flat cubes follow the diagonals that are
/// there.
/// Returns the records of flat cubes for createTrianglesOfFlatCubes().
/// Throws (assertion), with the mesh unchanged, for a cell with the last coordinate of the grid, and for a cell that is in
/// the sheet and in the chain. Cost: O(n log n).
VCCD growSheet(CMesh& mesh, const Casx& casx, const ChainedSheet& sheet);

/// Whether a code is in both lists, which may hold repeats.
bool shareAnEntry(VCCD a, VCCD b);

/// The triangles within n steps over vertices from these, row by row. A triangle may be in two rows.
std::vector<CTriangle*> triangleRows(const CMesh& mesh, VVCD vFront, int n);

/// The points of the cells and those at the corners of the triangles, sorted, each once.
std::vector<Point3> pointsOfSheetAndRow(const HoleCells& cells, const std::vector<CTriangle*>& vRow, const CMesh& mesh);

}  // namespace TARN_KEL
