// What the readers of meshes as text share.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "kel.h"
#include "pointReading.h"

namespace TARN_KEL {

/// A mesh whose vertices have numbers.
struct NumberedMesh {
    std::vector<Point3>& vVertices;
    std::vector<int>& vIndices;  ///< three a triangle, counted from the first vertex of the file
    std::size_t numOlder;        ///< so many vertices were there before the file

    std::size_t numVertices() const { return vVertices.size() - numOlder; }
};

/// Opens a text and has its mesh appended.
///
/// @param filename         the name of the file
/// @param[out] vVertices   unchanged on failure
/// @param[out] vIndices    unchanged on failure
/// @param read             appends the mesh; may call refuse(), or run out of memory
/// @return false, after a line with the name and the reason, when the file can't be read
bool readMeshText(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                  const std::function<void(NumberedLines&, NumberedMesh&)>& read);

/// Cuts a polygon into triangles round its first corner, while its corners are added.
class TriangleFan {
public:
    /// vIndices: the triangles are appended; must outlive this object.
    explicit TriangleFan(std::vector<int>& vIndices_) : vIndices(vIndices_) {}

    void add(int corner) {
        if (numCorners == 0) first = corner;
        if (numCorners >= 2) vIndices.insert(vIndices.end(), {first, last, corner});
        last = corner;
        ++numCorners;
    }
    /// How many corners were added.
    std::size_t size() const { return numCorners; }

private:
    std::vector<int>& vIndices;
    std::size_t numCorners = 0;
    int first = 0, last = 0;
};

}  // namespace TARN_KEL
