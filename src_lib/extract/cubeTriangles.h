#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Casx.h"

namespace TARN_KEL {

class CMesh;
class ProgressStep;

// The triangles of dual cubes, for every extraction: a cube is the run of the cells under one key in a sorted list of
// (key, cell), each cell once. All in time linear in the length of the lists, up to what the mesh needs for a look-up.

/// Whether a dual cube with so many occupied cells can make triangles: fewer than three span none, a full one lies inside.
constexpr bool makesTriangles(std::ptrdiff_t numCells) {
    return numCells >= 3 && numCells <= 7;
}

/// Returns the configuration of the dual cube with that key: the sum of the masks of its cells, 0 for none. vCells: cells of
/// the cube in any order, each once. Throws (assertion) for any other cell.
int configOfCube(VCD key, const VCCD& vCells);

/// Creates the triangles of all cubes, in the order of the list, unless they are there. Those of a flat cube (four cells on
/// one face) wait: its record is appended to vAmbiguousT. A record is eight entries: the six cells of its two triangles, its
/// key, its configuration. step counts the cubes.
void createTrianglesOfCubes(CMesh* pCMesh, const Casx& casx, const std::vector<std::pair<VCD, CCD>>& vKeyCell,
                            ProgressStep step, std::vector<CCD>& vAmbiguousT);

/// The second pass, when all other triangles stand: a flat cube takes the diagonal that its surroundings hold. In the order
/// of the records: a later one sees the edges of the earlier ones.
void createTrianglesOfFlatCubes(CMesh* pCMesh, const std::vector<CCD>& vAmbiguousT);

}  // namespace TARN_KEL
