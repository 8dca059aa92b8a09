#pragma once

#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// Counts what is wrong with a mesh, and its border edges. Cost: O(n); 12 bytes for each triangle. Progress: step
/// "SC_flaws".
MeshFlaws countFlaws(const RMesh& mesh);

}  // namespace TARN_KEL
