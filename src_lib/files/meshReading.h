// What the readers of meshes as text share.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "kel.h"
#include "pointReading.h"
#include "polygons.h"

namespace TARN_KEL {

/// A mesh whose vertices have numbers.
struct NumberedMesh {
    std::vector<Point3>& vVertices;
    std::vector<int>& vIndices;  ///< three a triangle, counted from the first vertex of the file
    std::size_t numOlder;        ///< so many vertices were there before the file
    PolygonCutter polygons{vIndices};

    std::size_t numVertices() const { return vVertices.size() - numOlder; }
};

/// Opens a text and has its mesh appended; polygons are cut where vertices are, and lines printed for what is wrong with
/// them.
///
/// @param filename         the name of the file
/// @param[out] vVertices   unchanged on failure
/// @param[out] vIndices    unchanged on failure
/// @param read             appends the mesh; may call refuse(), or run out of memory
/// @return false, after a line with the name and the reason, when the file can't be read
bool readMeshText(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                  const std::function<void(NumberedLines&, NumberedMesh&)>& read);

}  // namespace TARN_KEL
