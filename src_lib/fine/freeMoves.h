#pragma once

#include <vector>

#include "NeighbourLists.h"

namespace TARN_KEL {

class RMesh;

/// Drops moves until the rest, done at once, make no pair of triangles cross that doesn't cross now.
///
/// It drops moves to a place that isn't finite, and to one that a vertex has or another one moves to. Then, as long as there
/// are new pairs, it drops the moves of their corners, and those of the others that stand in the way then.
/// vMoves: no vertex twice; the rest keeps its order.
/// Cost: O(n log n), times the number of times that pairs are found; mostly two or three.
void dropCrossingMoves(const RMesh& mesh, std::vector<VertexMove>& vMoves);

}  // namespace TARN_KEL
