// Free functions on geometry and on lists of cells: those of geometryFunctions.h, and the ones on cells.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Plane.h"
#include "geometryFunctions.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// The unit normal of three vertices of the coarse mesh. bOK as for points.
/// Throws KelBugException, after a warning, when the mesh has no such vertex.
Vector3 getNormalVector(CMesh* pCMesh, VCD v0, VCD v1, VCD v2, bool& bOK);

// ---- Cell lists ---------------------------------------------------------------------------------------------------------
//
// Lists of packed cell codes and lattice points. All steps are additions on the codes and aren't checked: they depend on the
// margin that keeps occupied cells away from the sides of the grid.

/// Appends the 8 corners of each cell, in the order: the cell, +z, +y, +yz, +x, +xz, +xy, +xyz.
/// bUnique: then sort the whole of vOut and remove repeats.
void getRCC8(const VRCD& vCells, bool bUnique, VRCC& vOut);
/// Appends the 6 face neighbours of each code, in the order -x, +x, -y, +y, -z, +z. Uses the pool.
/// bUnique: as above.
void getRCC6(const VRCC& vIn, bool bUnique, VRCC& vOut);
/// Appends (corner, cell) for the 8 corners of every cell, then sorts the whole of vOut. Cost: O(n log n).
void getRCC2RCD(const VRCD& vCells, std::vector<std::pair<RCC, RCD>>& vOut);
/// Appends the components of the cells, connected through corners at least: each sorted and unique, in the order of their
/// first cells in vCells.
/// vCells: in any order, with or without repeats.
/// Throws KelBugException for 2^32 cells or more. Cost: O(n log n); linear for a sorted list.
void createCC_RCD(const VRCD& vCells, std::vector<VRCD>& vCCs);
/// Appends the components of the cells, connected through faces only: the largest first, those of equal size in the order of
/// their lowest cells. The cells of a component are in the order of a depth-first walk from the lowest one. Prints the
/// sizes.
/// minSize: components of fewer cells are dropped.
/// Returns the number of components appended. Cost, and limit on the number of cells, as above.
std::size_t grow6_RCD(const VRCD& vSortedCells, std::vector<VRCD>& vCCs, std::size_t minSize);
/// Appends the cells with offsets from -radius to radius on each axis, except the centre: z fastest, x slowest. These are
/// (2*radius+1)^3 - 1 cells; none for a negative radius.
void getRCDPositionsAround(RCD rcd, int radius, VRCD& vOut);
/// Appends the 12 lattice edges of each cell, lower corner first, then sorts the whole of vOut and removes repeats.
void createRCCEdges(const VRCD& vCells, std::vector<std::pair<RCC, RCC>>& vOut);
/// Appends each edge with the cell it belongs to, once for each cell, then sorts the whole of vOut.
void createRCCEdgesToRCD(const VRCD& vCells, std::vector<std::pair<std::pair<RCC, RCC>, RCD>>& vOut);

}  // namespace TARN_KEL
