// The pieces of a fine mesh: its triangles, connected through vertices.
#pragma once

#include <cstddef>

#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// What dropSmallPieces() removed.
struct DroppedPieces {
    std::size_t numPieces = 0;
    std::size_t numTriangles = 0;
};

/// Removes the pieces whose area is below minArea, except for the largest one. Cost: O(n log n), 20 bytes for each vertex.
DroppedPieces dropSmallPieces(RMesh& mesh, double minArea);

/// Closes holes as RTop::fillHoles does, but leaves open those that may be the outer border of their piece: the end of a
/// sheet, of a bowl, or of a short tube.
/// maxEdges: largest number of edges of the border of a hole.
/// bKeepManifold: as for RTop::fillHoles.
/// Returns the number of closed holes. Cost: O(n log n).
int closePinholes(RMesh& mesh, int maxEdges, bool bKeepManifold);

}  // namespace TARN_KEL
