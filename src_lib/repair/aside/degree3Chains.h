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
/// kills the few triangles that the ring cuts off.
void cutOffAtChains(CMesh& mesh);

/// Finds one or two edges, of any degree above 0, that would close the chain, and appends them to vSolution.
/// Returns true also for a closed chain. Returns false when there are no such edges, and for an open chain with an edge of
/// degree 0 or 2.
bool closeChain(const Chain& chain, std::vector<CEdge*>& vSolution);

/// The chain and vSolution form a ring. Kills the first group of triangles cut off by it that has a triangle on every edge
/// of the chain and no more triangles than the chain has edges. For a chain of one edge that is the triangle whose edges are
/// the ring.
/// Returns true when it killed some.
bool killWithinRing(CMesh& mesh, const Chain& chain, const std::vector<CEdge*>& vSolution);

/// Floods from the triangles on the stack over the edges that aren't in sFences. Empties the stack.
/// Returns the triangles reached, in pointer order; none when there are more than maxNumT. Throws (assertion) for a dead
/// triangle on the stack.
std::vector<CTriangle*> floodWithin(std::size_t maxNumT, std::vector<CTriangle*>& vStack, const std::set<CEdge*>& sFences);

/// Sorts the list, removes repeats, and enters the edges under both their ends.
void enterUnderEnds(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE);

}  // namespace TARN_KEL
