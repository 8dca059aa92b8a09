// Writers of the coarse mesh, for debugging.
#pragma once

#include <map>
#include <string>

#include "Bundle.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// Writes the alive triangles of a coarse mesh as ASCII STL, each vertex at its bundle's point. Every vertex must have a
/// bundle in the map. Warns and returns false when the file can't be written.
bool writeSTL(CMesh* pCMesh, std::map<CCD, Bundle*> mCCDBundle, const std::string& filename);

/// Writes the alive triangles of a coarse mesh as a Geomview list, like writeList() of a fine mesh. Every vertex must have a
/// bundle with a point.
bool writeList(CMesh* pCMesh, const std::string& filename, bool bAuthorized);

}  // namespace TARN_KEL
