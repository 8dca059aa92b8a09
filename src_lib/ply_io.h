// Meshes to PLY files beside what kel.h declares: what the library does with the generic layer of tinyply.h.
//
// Written coordinates have single precision, so a reader gets rounded values. All functions report a failure by false and
// lines on standard output; none throws for a bad file or a full disk, and a failed write leaves an older file as it was.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {
class CMesh;
class RMesh;
struct Bundle;

/// The alive triangles of a fine mesh. Vertices are numbered in the order in which the corners use them first. O(n).
bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii);
}  // namespace TARN_KEL

namespace PLY {

/// The alive triangles of a coarse mesh with the points of the given bundles; for debugging. Every corner must have a
/// bundle.
bool writePly(TARN_KEL::CMesh* pCMesh, std::map<TARN_KEL::CCD, TARN_KEL::Bundle*> mCCDBundle, const std::string& filename,
              bool bAscii);

}  // namespace PLY
