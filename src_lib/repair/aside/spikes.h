// Spikes of a melted mesh, beside the repair: no public function of the library reaches this. Every corner must have a
// bundle, and neighbours should agree in orientation. New triangles may have corners more than a step apart.
#pragma once

#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// Removes the vertices at which two or more edges are folded by more than minAngle degrees, where removeVertex() can; the
/// edges are listed once, before the first removal. Cost: O(n log n).
void removeSpikes(CMesh& mesh, double minAngle);

/// Hangs the triangles at a vertex on that one of its neighbours that leaves the smallest angles to the triangles around
/// them. vE: the suspicious edges there; two of them must be folded by more than minAngle degrees. Returns true when it did:
/// the largest angle is below 140 degrees then, or falls by more than 15. Returns false, and changes nothing, otherwise, and
/// where an edge of vE hasn't just two triangles, a triangle hasn't just one behind its side opposite the vertex, or one of
/// these has no normal. Cost: O(d^2) for d triangles there, at worst.
bool removeVertex(CMesh& mesh, CCD killCCD, const std::vector<CEdge*>& vE, double minAngle);

}  // namespace TARN_KEL
