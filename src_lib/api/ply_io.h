// Writes meshes to PLY files with the generic layer of tinyply.h; kel.h declares the other functions.
//
// Coordinates are written in single precision, which rounds them, or as doubles, which a reader gets back as they were. When
// something fails, all functions print lines and return false; none throws for a bad file or a full disk, and a failed write
// leaves an older file as it was.
#pragma once

#include <string>

#include "kel.h"

namespace TARN_KEL {
class RMesh;

/// Writes the alive triangles of a fine mesh. Vertices are numbered in the order in which the corners use them first.
/// precision: FLOAT or DOUBLE, also below. attributes: as for writeMesh_auto(), also below. Cost: O(n).
bool writeMeshPly(const RMesh& rMesh, const std::string& filename, bool bAscii, Precision precision = Precision::FLOAT,
                  const PointAttributes& attributes = {});
/// Writes points in their order.
bool writePointsPly(const std::vector<const Point3*>& vPoints, const std::string& filename, bool bAscii, Precision precision,
                    const PointAttributes& attributes = {});
}  // namespace TARN_KEL
