#pragma once

namespace TARN_KEL {

class CMesh;
class Extractor;

// The repair of a coarse mesh as the extractor made it, until the fine mesh can be built from it: no degenerate triangles,
// one diagonal a square, no thin double sheets and bubbles, no ragged patches at borders, few non-manifold edges (MEs), the
// triangles of a patch oriented alike. MEs that no rule resolves stay.
//
// Each is a fixed sequence of passes, and each pass is a simple local rule. A pass walks a list taken at its start and tests
// each element again when its turn comes, so what it makes itself is not visited. What can't be repaired is left; only
// broken invariants throw (assertions). The marks on triangles are scratch: a pass may leave any.
//
// extractor: the one that made the mesh, which is extracted again in between, with cells added; pointers to its elements
// don't survive that. Cost: O(n log n).

/// The whole repair for a point cloud.
void repairReconstructedMesh(CMesh& mesh, Extractor& extractor);
/// The same for the mesh of a hole.
void repairHoleMesh(CMesh& mesh, Extractor& extractor);
/// The repair for melted input.
void repairMeltedMesh(CMesh& mesh, Extractor& extractor);

}  // namespace TARN_KEL
