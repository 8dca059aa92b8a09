// Chains of edges of degree three, beside the repair: no public function of the library reaches this.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;
class Chain;

/// Another way to remove flaps, for those whose edges of degree 3 form chains: closes each chain over edges of the mesh and
/// kills the small piece that the ring cuts off.
void cutOffAtChains(CMesh& mesh);

/// Appends one or two edges that close the chain, of any degree above 0. Returns true also for a closed chain, false when
/// there are none, and for an open chain with an edge of degree 0 or 2.
bool closeChain(const Chain& chain, std::vector<CEdge*>& vSolution);

/// Kills the first piece within the ring of the chain and vSolution that has a triangle on every edge of the chain and no
/// more triangles than the chain has edges; for a chain of one edge, the one triangle that is the ring. Returns true when it
/// killed.
bool killWithinRing(CMesh& mesh, const Chain& chain, const std::vector<CEdge*>& vSolution);

/// Floods from the triangles on the stack over the edges that aren't in sFences. Empties the stack. Returns what was
/// reached, in pointer order; nothing when that is more than maxNumT triangles. Throws (assertion) for a dead triangle on
/// the stack.
std::vector<CTriangle*> floodWithin(std::size_t maxNumT, std::vector<CTriangle*>& vStack, const std::set<CEdge*>& sFences);

/// Sorts the list, each edge once, and enters the edges under both their ends.
void enterUnderEnds(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE);

}  // namespace TARN_KEL
