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

/// A triangle at a vertex, and how many of its other corners lie at the x of that one.
using CountT = std::pair<int, CTriangle*>;
/// Returns all triangles at the largest of the codes, so at the highest x of them. Throws (assertion) when there is none.
std::vector<CountT> countAtMaxX(const CMesh& mesh, const std::vector<VCD>& vVCD);
/// Returns the first one whose coarse normal has an x component; null when there is none.
CTriangle* firstFacingX(const std::vector<CountT>& vCountT);

struct OuterTriangle {
    CTriangle* pCT;  ///< null when nothing faces along x
    bool bFlip;      ///< it points inward
};
/// Returns a triangle of the outside: at the vertex of the largest code, so of the highest x; of those there the one with
/// fewest corners at this x, then the oldest, whose coarse normal has an x component. Warns when there is none. Throws
/// (assertion) when no triangle of the patches is alive.
OuterTriangle findOuterTriangle(const CMesh& mesh, const std::vector<CPatch*>& vPatches);

/// Grows a patch to the outer skin of the model: from the sheet of findOuterTriangle(), facing outward, over its boundary to
/// the sheet met next in a turn on that side. Returns that one of the patches, with what it took over, which is dead then;
/// null when nothing faces along x. The other patches stay. Kills those members of the first sheet that manifold edges don't
/// connect with its start, and what lies behind the vertices of sBorder. Each triangle must have its patch in vPatches.
/// Cost: linear in all boundaries, up to a logarithm.
CPatch* growOuterSkin(CMesh& mesh, Rotx& rotx, std::vector<CPatch*>& vPatches, const std::set<VCD>& sBorder);

}  // namespace TARN_KEL
