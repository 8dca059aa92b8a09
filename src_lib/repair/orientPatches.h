#pragma once

#include <vector>

namespace TARN_KEL {

class CMesh;
class CPatch;
class CTriangle;

/// Cuts the triangles of vT into patches at borders and MEs and turns the members of each to agree with its first one in vT.
/// Those that touch a border or an ME come last; a patch with one side only keeps edges of disagreement. Appends the
/// patches, which are the caller's. Goes on to triangles outside vT unless they are marked; leaves marks.
void orientPatches(CMesh& mesh, const std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches);
/// The same for all triangles; no patch is left. Cost: O(n).
void orientPatches(CMesh& mesh);

void clearMarks(const std::vector<CTriangle*>& vT);

}  // namespace TARN_KEL
