#pragma once

namespace TARN_KEL {

class CMesh;

// Laplacian smoothing of a coarse mesh. The points of its bundles are overwritten in place, so they may leave their cells,
// and two of them may come to lie at one place. All means of a round are taken before a vertex moves. Edges of degree 0
// count as neighbours too; each vertex of an edge must have a bundle. O(n log n), a round O(n).

/// Moves every vertex to the mean of its neighbours, once.
void laplacianSmoothing(CMesh* pCMesh);
/// Moves every vertex that isn't at the end of a border edge, numIterations times (below 1: never), then treats degenerate
/// triangles.
void laplacianSmoothingKillDeg(CMesh* pCMesh, int numIterations);

}  // namespace TARN_KEL
