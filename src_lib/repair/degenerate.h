#pragma once

namespace TARN_KEL {

class CMesh;
class CTriangle;

/// Removes degenerate triangles: splits their neighbours over the longest edge, or else moves one of their corners. A
/// triangle whose longest edge is a border edge is killed. Where none of this is possible it warns and leaves the triangle.
/// Looks only at the triangles that exist at the start.
void killDegenerate(CMesh& mesh);

/// Removes one degenerate triangle: splits the triangles over its edge opposite corner ici and kills it; or else moves one
/// of its corners, ici first. Returns false, with nothing changed, when neither is possible.
bool splitOrMove(CMesh& mesh, CTriangle* pCT, int ici);

}  // namespace TARN_KEL
