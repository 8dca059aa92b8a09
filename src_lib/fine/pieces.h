// The pieces of a manifold fine mesh; of one that isn't manifold its components, which pinched vertices hold together.
#pragma once

#include <cstddef>
#include <functional>

#include "TriangleTree.h"
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

/// Removes the pieces of at most so many triangles that have a vertex at the place of one of a larger piece: crumbs, which
/// held to that by the vertex alone. The mesh must be manifold. Returns the number of triangles removed. Cost: O(n log n).
std::size_t dropCrumbs(RMesh& mesh, std::size_t maxTriangles);

/// Holes that are nowhere wider than twice a reach: no place of what closes them is farther from a surface than that.
struct NarrowHoles {
    std::function<TriangleTree()> makeSurface;  ///< called once, and only where there is a hole that may be narrow
    double reach = 0.0;
};

/// Which holes are to be closed, by the largest number of edges of their border; below 3 none.
struct HoleLimits {
    /// Holes that can't be the outer border of their piece: the end of a sheet, of a bowl, or of a short tube.
    int maxPinholeEdges = 0;
    int maxHoleEdges = 0;                  ///< all
    const NarrowHoles* pNarrow = nullptr;  ///< of any number of edges, outer borders of their pieces left out; null: none
};

/// Closes holes as RTop::fillHoles does; with bKeepManifold, pinholes with folded borders, too (CrumpledLoop). The pieces
/// are judged as they are before. A hole stays open when the mesh has a watch that forbids the new triangles. bKeepManifold:
/// as for RTop::fillHoles. Returns the number of closed holes. Cost: O(n log n).
int closeHoles(RMesh& mesh, const HoleLimits& limits, bool bKeepManifold);

/// Turns the pieces without a border that face inward, as those may whose last hole was closed.
/// The mesh must be manifold and oriented. Returns the number of triangles that were turned. Cost: O(n).
std::size_t turnOutward(RMesh& mesh);

}  // namespace TARN_KEL
