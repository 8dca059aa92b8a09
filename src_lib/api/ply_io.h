// Meshes to PLY files beside what kel.h declares: what the library does with the generic layer of tinyply.h.
//
// Written coordinates have single precision, so a reader gets rounded values. All functions report a failure by false and
// lines on standard output; none throws for a bad file or a full disk, and a failed write leaves an older file as it was.
#pragma once

#include <string>

#include "kel.h"

namespace TARN_KEL {
class RMesh;

/// The alive triangles of a fine mesh. Vertices are numbered in the order in which the corners use them first. O(n).
bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii);
}  // namespace TARN_KEL
