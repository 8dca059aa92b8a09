// Rougher ways to tidy borders, beside the repair: no public function of the library reaches them.
#pragma once

#include <vector>

namespace TARN_KEL {

class CMesh;
class CPatch;

/// Kills patches that consist mostly of border, with their members. Returns and prints how many.
int killBorderlikePatches(const std::vector<CPatch*>& vPatches);
/// Kills the patches that have a border edge, each with a warning.
void killPatchesAtBorder(const std::vector<CPatch*>& vPatches);
/// Kills border triangles at each ME, the smallest first, as long as the edge is an ME. Cost: O(d^2) at an edge of degree d.
void killBorderTrianglesAtMEs(CMesh& mesh);
/// Kills triangles with a border edge that come from a flat corner (8 configurations of a dual cube). Cost: O(n).
void pruneFlatCorners(CMesh& mesh);

}  // namespace TARN_KEL
