// Spikes of a melted mesh, beside the repair: no public function of the library reaches this. Every corner must have a
// bundle, and neighbours should agree in orientation. New triangles may have corners more than a step apart.
#pragma once

#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// Calls removeVertex() for the vertices at which two or more edges are folded by more than minAngle degrees. The edges are
/// listed once, before the first removal. Cost: O(n log n).
void removeSpikes(CMesh& mesh, double minAngle);

/// Removes a vertex: its triangles get a neighbour in its place, the one that leaves the smallest angles to the triangles
/// around them. Does so only if two edges of vE are folded by more than minAngle degrees, and if the largest angle is then
/// below 140 degrees or more than 15 degrees smaller than the largest fold at vE.
/// vE: the suspicious edges at the vertex.
/// Returns true when it removed the vertex. Returns false, with nothing changed, otherwise, and also when an edge of vE
/// doesn't have two triangles, when the side of a triangle opposite the vertex doesn't have exactly one other triangle, and
/// when one of these triangles has no normal.
/// Cost: O(d^2) at worst for d triangles at the vertex.
bool removeVertex(CMesh& mesh, CCD killCCD, const std::vector<CEdge*>& vE, double minAngle);

}  // namespace TARN_KEL
