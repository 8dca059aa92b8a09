#pragma once

#include <vector>

namespace TARN_KEL {

class CMesh;
class CPatch;
class CTriangle;

/// Cuts the triangles of vT into patches at borders and MEs and turns the members of each to agree with its first one in vT.
/// Members at a border or an ME are turned last. In a patch with one side only some edges of disagreement are left. Patches
/// also take in triangles outside vT that aren't marked. Leaves marks.
/// vPatches: the patches are appended; they belong to the caller.
/// Cost: O(n) for all triangles of the mesh, however few are in vT.
void orientPatches(CMesh& mesh, const std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches);
/// The same for all triangles, which are in no patch afterwards. Cost: O(n).
void orientPatches(CMesh& mesh);

}  // namespace TARN_KEL
