#pragma once

namespace TARN_KEL {

class CMesh;

/// Unifies the diagonals of squares: where four cells of a grid plane have two triangles on one diagonal while the crossing
/// one is, or was, an edge of the mesh, the crossing one stays, with a triangle on either side. New triangles that are flat
/// are treated at once. Looks at the edges that are there at the start. Cost: O(n log n).
void unifyDiagonals(CMesh& mesh);

}  // namespace TARN_KEL
