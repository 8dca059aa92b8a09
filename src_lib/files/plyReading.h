// Readers of points and meshes from PLY files, with the generic layer of tinyply.h.
//
// When something fails, they print lines and return false; none throws for a bad file.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {
class AttributeColumns;

/// Appends the vertices of a file, as readPly() does, but with coordinates of any type of number, also "nan" and "inf" in a
/// text. pAttributes: gets their other properties; null where nobody wants them.
bool readPointsPly(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes);
/// Reads a mesh; vertices as above. Polygons are cut by PolygonCutter. pAttributes: gets the other properties of the
/// vertices; null where nobody wants them.
bool readMeshPly(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                 AttributeColumns* pAttributes);
}  // namespace TARN_KEL
