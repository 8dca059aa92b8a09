// Writers of the coarse mesh, which callers of the library never see.
#pragma once

#include <map>
#include <string>

#include "Bundle.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// ASCII STL of the alive triangles of a coarse mesh, each vertex at its bundle's point; for debugging. Every vertex must
/// have a bundle in the map. False after a warning when the file can't be written.
bool writeSTL(CMesh* pCMesh, std::map<CCD, Bundle*> mCCDBundle, const std::string& filename);

/// Geomview list of the alive triangles of a coarse mesh, as writeList() of a fine mesh; for debugging. Every vertex must
/// have a bundle with a point.
bool writeList(CMesh* pCMesh, const std::string& filename, bool bAuthorized);

}  // namespace TARN_KEL
