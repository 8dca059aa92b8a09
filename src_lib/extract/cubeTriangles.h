#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "CMesh.h"
#include "Calc.h"
#include "Casx.h"
#include "KeyBlocks.h"

namespace TARN_KEL {

class ProgressStep;

// The triangles of dual cubes, for every extraction. All take time linear in the number of cubes, apart from look-ups in the
// mesh.

/// Whether a dual cube with that many occupied cells can have triangles: fewer than three span none, a full cube lies
/// inside.
constexpr bool makesTriangles(std::ptrdiff_t numCells) {
    return numCells >= 3 && numCells <= 7;
}

/// Returns the configuration of the dual cube with that key: the sum of the masks of its cells, 0 for none.
/// vCells: cells of the cube in any order, each once. Throws (assertion) for any other cell.
int configOfCube(VCD key, const VCCD& vCells);

/// Finds the triangles of all cubes on all workers: by ascending keys, those of flat cubes (four cells on one face) last.
/// Cubes that share a face may propose the same one.
/// step: counts the cubes.
NewTriangles findTrianglesOfCubes(const KeyBlocks& cubes, const Casx& casx, const ProgressStep& step);

/// Creates the triangles of the cubes of a short list, in its order, unless they exist. Those of a flat cube are left to
/// the second pass.
/// vKeyCell: sorted pairs of key and cell, each once; a cube is a run of one key.
/// vAmbiguousT: a record of eight entries is appended for each flat cube: the six cells of its two triangles, its key, its
/// configuration.
void createTrianglesOfCubes(CMesh* pCMesh, const Casx& casx, const std::vector<std::pair<VCD, CCD>>& vKeyCell,
                            std::vector<CCD>& vAmbiguousT);

/// The second pass, when all other triangles exist: a flat cube gets the diagonal that its surroundings have. Goes in the
/// order of the records: a later one sees the edges of earlier ones.
void createTrianglesOfFlatCubes(CMesh* pCMesh, const std::vector<CCD>& vAmbiguousT);

}  // namespace TARN_KEL
