#pragma once

namespace TARN_KEL {

class CMesh;
class CTriangle;

/// Removes the flat triangles: splits their neighbours, or else moves one of their corners; one whose longest edge is a
/// border edge is killed. Where none of these can be done it warns and leaves the triangle. Looks at the triangles that are
/// there at the start.
void killDegenerate(CMesh& mesh);

/// Takes one flat triangle out of the mesh by splitting what lies over its edge opposite corner ici, or else moves one of
/// its corners, that one first. Returns false, and changes nothing, where neither can be done.
bool splitOrMove(CMesh& mesh, CTriangle* pCT, int ici);

}  // namespace TARN_KEL
