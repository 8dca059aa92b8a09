#pragma once

#include <vector>

#include "FreePlaces.h"
#include "NeighbourLists.h"

namespace TARN_KEL {

class RMesh;

/// Chooses, round by round, moves of vertices that make no pair of triangles cross that doesn't cross before.
///
/// Between the rounds the moves that were chosen must be done, and nothing else may change the mesh.
class FreeMoves {
public:
    /// The mesh must outlive this object. Cost: that of countCrossings().
    explicit FreeMoves(const RMesh& mesh);

    /// Drops moves until the rest can be done: those to a place that isn't finite, or that a vertex has or another one moves
    /// to; then, as long as there are new pairs, those of their corners.
    /// vMoves: no vertex twice; the rest keeps its order.
    /// Cost: O(n log n), times the number of times that new pairs are found; mostly once or twice.
    void choose(std::vector<VertexMove>& vMoves);

private:
    void dropTaken(std::vector<VertexMove>& vMoves) const;

    const RMesh& mesh;
    FreePlaces free;  // by number of the vertex
};

}  // namespace TARN_KEL
