// Writes meshes to PLY files with the generic layer of tinyply.h; kel.h declares the other functions.
//
// Written coordinates have single precision, so a reader gets rounded values. When something fails, all functions print
// lines and return false; none throws for a bad file or a full disk, and a failed write leaves an older file as it was.
#pragma once

#include <string>

#include "kel.h"

namespace TARN_KEL {
class RMesh;

/// Writes the alive triangles of a fine mesh. Vertices are numbered in the order in which the corners use them first.
/// Cost: O(n).
bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii);
}  // namespace TARN_KEL
