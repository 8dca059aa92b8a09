// Edges of the coarse mesh flipped by the geometry at the vertices, beside the repair: no public function of the library
// reaches it. Every corner must have a bundle. The topology must be sound: no two triangles on the same corners.
#pragma once

#include <map>
#include <set>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// Flips edges whose triangles meet at angleDeg degrees or more, the largest gain of EdgeEnergy first, as long as it gains
/// more than 0.01. Edges that a flip makes wait for another call. Cost: O(n log n).
void flipByEnergy(CMesh& mesh, double angleDeg);

/// Appends the edges of degree 2 whose triangles meet at angleDeg degrees or more, in key order; after a warning those with
/// a degenerate triangle are left out. Cost: O(n).
void appendFoldedEdges(const CMesh& mesh, double angleDeg, std::vector<CEdge*>& vE);

/// Enters the edges with two triangles that meet at more than minAngle degrees under that angle: 0 is flat, 180 folded back.
/// Equal angles are in order of creation.
void enterFolds(const CMesh& mesh, double minAngle, std::multimap<double, CEdge*>& q);

/// Flips edges folded by more than minAngle degrees, the sharpest first, where the fold falls by 5 degrees or more.
void flipFolds(CMesh& mesh, double minAngle);

/// Returns whether the edge ccd0-ccd1 can become alt0-alt1: that is no edge, the four differ, alt0 and alt1 aren't in
/// sFixedCCD, and the two new normals differ by less than 120 degrees. ccd0 above ccd1 is a warning and false.
bool canFlip(const CMesh& mesh, const std::set<CCD>& sFixedCCD, VCD ccd0, VCD ccd1, VCD alt0, VCD alt1);

}  // namespace TARN_KEL
