#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "Casx.h"

namespace TARN_KEL {

class CMesh;
class ProgressStep;

// The triangles of dual cubes, for every extraction. A cube is the run of cells under one key in a sorted list of
// (key, cell), each cell once. All take time linear in the length of the lists, apart from look-ups in the mesh.

/// Whether a dual cube with that many occupied cells can have triangles: fewer than three span none, a full cube lies
/// inside.
constexpr bool makesTriangles(std::ptrdiff_t numCells) {
    return numCells >= 3 && numCells <= 7;
}

/// Returns the configuration of the dual cube with that key: the sum of the masks of its cells, 0 for none.
/// vCells: cells of the cube in any order, each once. Throws (assertion) for any other cell.
int configOfCube(VCD key, const VCCD& vCells);

/// Creates the triangles of all cubes, in the order of the list, unless they exist. Those of a flat cube (four cells on one
/// face) are left to the second pass.
/// step: counts the cubes.
/// vAmbiguousT: a record of eight entries is appended for each flat cube: the six cells of its two triangles, its key, its
/// configuration.
void createTrianglesOfCubes(CMesh* pCMesh, const Casx& casx, const std::vector<std::pair<VCD, CCD>>& vKeyCell,
                            ProgressStep step, std::vector<CCD>& vAmbiguousT);

/// The second pass, when all other triangles exist: a flat cube gets the diagonal that its surroundings have. Goes in the
/// order of the records: a later one sees the edges of earlier ones.
void createTrianglesOfFlatCubes(CMesh* pCMesh, const std::vector<CCD>& vAmbiguousT);

}  // namespace TARN_KEL
