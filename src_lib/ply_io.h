// Points and meshes to and from PLY files: what the library does with the generic layer of tinyply.h.
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

/// Reads a PLY file in any of its three encodings. bPointsOnly true appends the vertices; false appends the faces as a soup
/// of three corners a triangle, polygons cut into triangles from their first corner. Coordinates may be float, double or
/// int. False for anything that doesn't fit: no such file, no such properties, a body shorter than its header says, an index
/// out of range, a face of fewer than three corners; vOut is then as it was. Memory is bound by the length of the file,
/// whatever its header claims.
bool readPly(const std::string& filename, bool bPointsOnly, std::vector<TARN_KEL::Point3>& vOut);

/// As writeMeshPly(). The mesh isn't changed.
bool writePly(TARN_KEL::RMesh* pRMesh, const std::string& filename, bool bAscii);
/// Points, in their order.
bool writePly(std::vector<TARN_KEL::Point3*>& vPoints, const std::string& filename, bool bAscii);
/// The alive triangles of a coarse mesh with the points of the given bundles; for debugging. Every corner must have a
/// bundle.
bool writePly(TARN_KEL::CMesh* pCMesh, std::map<TARN_KEL::CCD, TARN_KEL::Bundle*> mCCDBundle, const std::string& filename,
              bool bAscii);

}  // namespace PLY
