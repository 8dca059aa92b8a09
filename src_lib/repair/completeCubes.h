#pragma once

#include <functional>

#include "Calc.h"

namespace TARN_KEL {

class CMesh;

/// Extracts the mesh again with the dual cubes of these keys completed. Returns the mesh to go on with.
using ExtractAgain = std::function<CMesh&(VCCD& vKeys)>;

/// Extracts again with the dual cubes at borders and at edges of degree 4 completed, then averages the added vertices and
/// unifies the diagonals. All pointers to triangles and edges are void afterwards. Reports under the step "TP_cbcpl".
/// Returns the mesh that extractAgain returned, which need not be the one that came in. Cost: O(n log n).
CMesh& completeCubes(CMesh& mesh, const ExtractAgain& extractAgain);

}  // namespace TARN_KEL
