#pragma once

namespace TARN_KEL {

class CMesh;
class Extractor;

/// Extracts again with the dual cubes at borders and at edges of degree 4 completed, then averages the added vertices and
/// unifies the diagonals. extractor: the one that made the mesh. All pointers to triangles and edges are void afterwards.
/// Reports under the step "TP_cbcpl". Cost: O(n log n).
void completeCubes(CMesh& mesh, Extractor& extractor);

}  // namespace TARN_KEL
