// Edges of degree three, at which a sheet ends in the middle of another one. Triangles are killed, none is created.
#pragma once

#include <vector>

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;

/// Removes triangles of flaps where the flap's border runs into an end of the edge and so tells which sheet is the flap.
/// Other edges keep their three triangles. Cost: O(n log n) for n edges of degree 3 and their surroundings.
void thinFlaps(CMesh& mesh);

/// Kills one triangle on the edge that is no part of a sheet: the first with fewer than two neighbours across other manifold
/// edges, or else the first with fewer than two such neighbours that aren't ears (an ear has two border edges). In the
/// second case an ear beside it is killed as well.
/// vT: the triangles on the edge, smallest first.
/// Returns true when it killed one.
bool killFlapTriangle(CMesh& mesh, const CEdge* pCE, const std::vector<CTriangle*>& vT);

/// At each end of the edge where exactly one border edge ends, kills the triangle on that border edge; stops when the edge
/// no longer has degree 3.
/// vNext: the edges of the killed triangles that have degree 3 then are appended.
/// Returns the killed triangles, two at most.
std::vector<CTriangle*> eatAtEnds(CMesh& mesh, const CEdge* pCE, std::vector<CEdge*>& vNext);

}  // namespace TARN_KEL
