#pragma once

#include "completeCubes.h"

namespace TARN_KEL {

class CMesh;

// The repair of a coarse mesh after extraction, before the fine mesh is built from it. It aims at a mesh without degenerate
// triangles, with one diagonal per square, without thin double sheets, bubbles and ragged patches at borders, with few
// non-manifold edges (MEs), and with each patch oriented. MEs that no rule resolves are left.
//
// Each repair is a fixed sequence of passes, and each pass is a simple local rule. A pass walks a list taken at its start
// and tests each element again when its turn comes; elements that it creates itself aren't visited. What can't be repaired
// is left; only broken invariants throw (assertions). The marks on triangles are scratch: a pass may leave any.
//
// In between the mesh is extracted again, with cells added; pointers to its elements are void afterwards, and the repair
// goes on with the mesh that extractAgain returns. Cost: O(n log n).

/// The whole repair for a point cloud.
void repairReconstructedMesh(CMesh& mesh, const ExtractAgain& extractAgain);
/// The same for the mesh of a hole.
void repairHoleMesh(CMesh& mesh, const ExtractAgain& extractAgain);
/// The repair for melted input.
void repairMeltedMesh(CMesh& mesh, const ExtractAgain& extractAgain);

}  // namespace TARN_KEL
