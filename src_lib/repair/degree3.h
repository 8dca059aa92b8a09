// Edges of degree three, on which a sheet ends in the middle of another one. Triangles are killed, none is made.
#pragma once

#include <vector>

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;

/// Thins out the flaps that can be told by the border that runs into the edge at an end. Other edges keep their three
/// triangles. Cost: O(n log n) for n edges of degree 3 and their surroundings.
void thinFlaps(CMesh& mesh);

/// vT: the triangles on the edge, smallest first. Kills the first that is no part of a sheet: one with fewer than two
/// neighbours over manifold edges, or else with fewer than two that aren't ears, which have two border edges; the last such
/// ear is killed as well. Returns true when it killed.
bool killFlapTriangle(CMesh& mesh, const CEdge* pCE, const std::vector<CTriangle*>& vT);

/// At each end of the edge where exactly one border edge ends, kills its triangle, as long as the edge has degree 3. Appends
/// the edges of the killed triangles that have degree 3 then. Returns the killed triangles, two at most.
std::vector<CTriangle*> eatAtEnds(CMesh& mesh, const CEdge* pCE, std::vector<CEdge*>& vNext);

}  // namespace TARN_KEL
