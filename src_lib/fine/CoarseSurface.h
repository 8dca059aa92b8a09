#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// What a fine mesh is made of, without the coarse mesh that it comes from: a tenth of that one's memory, so that the two
/// meshes needn't exist at once.
struct CoarseSurface {
    CoarseSurface() = default;
    /// The points of all bundles in the order of their codes, and the alive triangles in their order and orientation. Each
    /// corner must have a bundle with a point that is a number (KelBugException). pCMesh: not null, isn't changed. Cost:
    /// O(n).
    explicit CoarseSurface(CMesh* pCMesh);

    double sideLen = 0.0;  ///< of a grid cell
    std::vector<Point3> vVertex;
    std::vector<std::array<std::uint32_t, 3>> vTriangle;  ///< positions in vVertex
};

}  // namespace TARN_KEL
