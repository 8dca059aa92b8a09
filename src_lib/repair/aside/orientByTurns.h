// Orientation across non-manifold edges, beside the repair: no public function of the library reaches it.
#pragma once

#include <map>
#include <utility>
#include <vector>

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;
class Rotx;

/// Steps from a triangle with a patch to one beside it, by the degrees of turn between them.
using TurnQueue = std::multimap<float, std::pair<CTriangle*, CTriangle*>>;

/// Orients the triangles that are connected with the first alive one, over sharp turns last. At an ME a sheet may continue
/// in the next triangle on either side; there corners must be at most one step apart, as extraction makes them (assertion).
/// No triangle has a patch afterwards.
/// Returns the edges of two triangles that still disagree, in key order, wherever they are in the mesh.
/// Throws (assertion) when there is no alive triangle, and when a triangle with a neighbour that it reaches has no normal.
/// Cost: O(n log n).
std::vector<CEdge*> orientByTurns(CMesh& mesh, Rotx& rotx);

/// Enters the steps from a triangle over its edge opposite corner ici: to the next triangles on both sides that have no
/// patch.
/// Throws (assertion) when the triangle has no patch, and at an edge of several triangles when it has no normal.
void enqueueTurns(CMesh& mesh, Rotx& rotx, CTriangle* pCT, int ici, TurnQueue& mmQueue);

}  // namespace TARN_KEL
