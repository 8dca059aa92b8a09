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

/// The unit normal of three vertices of the coarse mesh. bOK as for points. Throws KelBugException, after a warning, when
/// the mesh has no such vertex.
Vector3 getNormalVector(CMesh* pCMesh, VCD v0, VCD v1, VCD v2, bool& bOK);

// ---- Cell lists ---------------------------------------------------------------------------------------------------------
//
// Lists of packed cell codes and lattice points. All steps are additions on the codes: they lean on the margin that keeps
// occupied cells off the sides of the grid. "Appends" leaves what vOut holds in front.

/// Appends the 8 corners of each cell, in the order: the cell, +z, +y, +yz, +x, +xz, +xy, +xyz. bUnique: then sorts the
/// whole of vOut and removes repeats.
void getRCC8(const VRCD& vCells, bool bUnique, VRCC& vOut);
/// Appends the 6 face neighbours of each code, in the order -x, +x, -y, +y, -z, +z. bUnique as above. Uses the pool.
void getRCC6(const VRCC& vIn, bool bUnique, VRCC& vOut);
/// Appends (corner, cell) for the 8 corners of every cell, then sorts the whole of vOut. O(n log n).
void getRCC2RCD(const VRCD& vCells, std::vector<std::pair<RCC, RCD>>& vOut);
/// Appends the connected components of cells that share at least a corner: each sorted and unique, in the order of their
/// first cells in vCells, which may be in any order and hold repeats. O(n log n); linear for a sorted list. Throws
/// KelBugException for 2^32 cells or more.
void createCC_RCD(const VRCD& vCells, std::vector<VRCD>& vCCs);
/// Appends the connected components of cells that share a face, the largest first, those of one size in the order of their
/// lowest cells. Components of fewer than minSize cells are dropped. The cells of a component come in the order of a depth
/// first walk from the lowest one. Prints the sizes. Returns the number of components appended. Time and the limit on cells
/// as above.
std::size_t grow6_RCD(const VRCD& vSortedCells, std::vector<VRCD>& vCCs, std::size_t minSize);
/// Appends the cells with offsets -radius to radius on each axis but the centre: z fastest, x slowest. (2*radius+1)^3 - 1
/// cells; none for a negative radius.
void getRCDPositionsAround(RCD rcd, int radius, VRCD& vOut);
/// Appends the 12 lattice edges of each cell, lower corner first, then sorts the whole of vOut and removes repeats.
void createRCCEdges(const VRCD& vCells, std::vector<std::pair<RCC, RCC>>& vOut);
/// Appends each edge with the cell it belongs to, once for each cell, then sorts the whole of vOut.
void createRCCEdgesToRCD(const VRCD& vCells, std::vector<std::pair<std::pair<RCC, RCC>, RCD>>& vOut);

}  // namespace TARN_KEL
