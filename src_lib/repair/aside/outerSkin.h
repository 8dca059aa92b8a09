// The outer skin of a model, beside the repair: no public function of the library reaches it.
#pragma once

#include <set>
#include <utility>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CMesh;
class CPatch;
class CTriangle;
class Rotx;

/// A triangle at a vertex, and how many of its other corners have the same x as this vertex.
using CountT = std::pair<int, CTriangle*>;
/// Returns all triangles at the largest of the codes, so at the highest x. Throws (assertion) when there is none.
std::vector<CountT> countAtMaxX(const CMesh& mesh, const std::vector<VCD>& vVCD);
/// Returns the first one whose coarse normal has an x component; null when there is none.
CTriangle* firstFacingX(const std::vector<CountT>& vCountT);

struct OuterTriangle {
    CTriangle* pCT;  ///< null when nothing faces along x
    bool bFlip;      ///< it points inward
};
/// Returns a triangle of the outside. It is at the vertex with the largest code, so with the highest x. Of the triangles
/// there whose coarse normal has an x component, it is the one with fewest corners at this x, then the oldest. Warns when
/// there is none. Throws (assertion) when no triangle of the patches is alive.
OuterTriangle findOuterTriangle(const CMesh& mesh, const std::vector<CPatch*>& vPatches);

/// Grows a patch to the outer skin of the model. It starts with the patch of findOuterTriangle(), turned to face outward,
/// and at each edge of its boundary takes over the patch that comes first in a turn on that side. Kills the members of the
/// first patch that manifold edges don't connect with its start, or that lie behind the vertices of sBorder.
/// vPatches: has the patch of each triangle.
/// Returns the grown patch; the patches that it took over are dead, the others are unchanged. Null when no triangle faces
/// along x.
/// Cost: linear in all boundaries, up to a logarithm.
CPatch* growOuterSkin(CMesh& mesh, Rotx& rotx, std::vector<CPatch*>& vPatches, const std::set<VCD>& sBorder);

}  // namespace TARN_KEL
