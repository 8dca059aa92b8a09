#pragma once

namespace TARN_KEL {

class CMesh;

/// Unifies the diagonals of squares of four cells in a grid plane. Where one diagonal has two triangles while the other one
/// is, or was, an edge of the mesh, the two triangles are killed, and the other diagonal has a triangle on either side
/// afterwards. New triangles that are flat are treated at once. Looks only at the edges that exist at the start.
/// Cost: O(n log n).
void unifyDiagonals(CMesh& mesh);

}  // namespace TARN_KEL
