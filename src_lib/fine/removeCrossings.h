#pragma once

#include <cstddef>

namespace TARN_KEL {

class RMesh;

/// What removeCrossings() found and left.
struct CrossingsRemoved {
    std::size_t numBefore = 0;  ///< pairs of triangles that crossed
    std::size_t numAfter = 0;   ///< pairs that cross still
};

/// Lowers the number of pairs of triangles that cross, by flips, moves and collapses near them, as far as that succeeds;
/// where none of these helps, by moves of all vertices around.
///
/// Each step makes the number smaller; of those at a triangle the one that gains most is done. No step makes a manifold mesh
/// non-manifold, changes the border, or makes a flat triangle. A mesh without crossings isn't changed.
/// The mesh must have no watch. Cost: as countCrossings(); where there are pairs, O(n) and for each of them some twenty
/// questions to a CrossingWatch, so O(k^2 + k m) with k triangles around a vertex there and m others near; where none helps,
/// up to three about all triangles at up to 200 vertices.
CrossingsRemoved removeCrossings(RMesh& mesh);

}  // namespace TARN_KEL
