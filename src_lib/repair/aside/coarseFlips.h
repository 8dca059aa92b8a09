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

/// Flips edges folded by angleDeg degrees or more, the largest gain of EdgeEnergy first, as long as a flip gains more than
/// 0.01. Edges that flips create aren't looked at. Cost: O(n log n).
void flipByEnergy(CMesh& mesh, double angleDeg);

/// Appends the edges of degree 2 folded by angleDeg degrees or more, in key order. Edges with a degenerate triangle are left
/// out, with a warning. Cost: O(n).
void appendFoldedEdges(const CMesh& mesh, double angleDeg, std::vector<CEdge*>& vE);

/// Enters the edges of two triangles that are folded by more than minAngle degrees, with that angle as key: 0 is flat, 180
/// folded back. Equal angles are in order of creation.
void enterFolds(const CMesh& mesh, double minAngle, std::multimap<double, CEdge*>& q);

/// Flips edges folded by more than minAngle degrees, the sharpest first, where the fold falls by 5 degrees or more.
void flipFolds(CMesh& mesh, double minAngle);

/// Returns whether the edge ccd0-ccd1 can become alt0-alt1: alt0-alt1 is no edge yet, the four cells differ, alt0 and alt1
/// aren't in sFixedCCD, and the two new normals differ by less than 120 degrees. Warns and returns false when ccd0 is above
/// ccd1.
bool canFlip(const CMesh& mesh, const std::set<CCD>& sFixedCCD, VCD ccd0, VCD ccd1, VCD alt0, VCD alt1);

}  // namespace TARN_KEL
