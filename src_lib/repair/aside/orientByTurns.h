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

/// Orients what hangs together with the first alive triangle, sharp turns last: at an ME a sheet continues in the next
/// triangle on either side. Corners must be within one step of each other, as extraction makes them. Returns the edges of
/// two triangles that still disagree, in key order, those of components that it doesn't reach included. No triangle has a
/// patch afterwards. Throws (assertion) when there is no alive triangle, or the first one has no normal. Cost: O(n log n).
std::vector<CEdge*> orientByTurns(CMesh& mesh, Rotx& rotx);

/// Enters the steps from a triangle over its edge opposite corner ici: to the next triangles on both sides that have no
/// patch. Throws (assertion) when the triangle has no patch or no normal.
void enqueueTurns(CMesh& mesh, Rotx& rotx, CTriangle* pCT, int ici, TurnQueue& mmQueue);

}  // namespace TARN_KEL
