#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class CMesh;

/// What a fine mesh is made of, all at once. Made of a coarse mesh it takes a tenth of that one's memory, so that the two
/// needn't exist at the same time; others fill it themselves.
struct CoarseSurface {
    CoarseSurface() = default;
    /// The points of all bundles in the order of their codes, and the alive triangles in their order and orientation. Each
    /// corner must have a bundle with a point that is a number (KelBugException). pCMesh: not null, isn't changed. Cost:
    /// O(n), with log n for each vertex that was made out of order.
    explicit CoarseSurface(CMesh* pCMesh);

    double sideLen = 0.0;  ///< of a grid cell
    std::vector<Point3> vVertex;
    std::vector<std::array<std::uint32_t, 3>> vTriangle;  ///< positions in vVertex
};

}  // namespace TARN_KEL
