// Reader of OBJ files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Appends the vertices and triangles of an OBJ file.
///
/// @param filename        the name of the file
/// @param[out] vVertices  all vertices of the file, used or not; unchanged on failure
/// @param[out] vIndices   three a triangle, counted from the first vertex of the file; unchanged on failure
/// @param pAttributes     gets the colours of the vertices; null where nobody wants them
/// @return false, after a message, when the file can't be read
bool readObj(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
             AttributeColumns* pAttributes = nullptr);

}  // namespace TARN_KEL
