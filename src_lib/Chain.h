#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "CEdge.h"
#include "CTriangle.h"
#include "Calc.h"

namespace TARN_KEL {

class CMesh;

/// Edges of a coarse mesh, each under both its ends.
using EdgesByEnd = std::multimap<VCD, CEdge*>;

void enterBothEnds(EdgesByEnd& mm, const std::vector<CEdge*>& vCE);
/// Removes the entry when there is one. O(log n), and linear in the number of edges under the key.
void eraseCertainEntry(EdgesByEnd& mm, VCD key, const CEdge* pCE);
void eraseBothEntries(EdgesByEnd& mm, const CEdge* pCE);

/// A directed sequence of edges of the coarse mesh: a border that was walked from one end to the other.
///
/// Invariants: each member has a direction (CEdge::edgeDir), the target of a member is the source of the next one, the first
/// one starts at left, the last one ends at right. Equal ends make a closed chain. The direction is the edge's own, so an
/// edge is in one chain at a time. After reset() the ends stay as they were.
///
/// A closed chain of border edges may be a hole. For that there is a judgement whether it is an opening of the surface and
/// not the rim of a thin part (isGoodHole), and a test and a cure for a strip along it that has one side only (hasMoebius,
/// fixMoebius).
///
/// Only refers to the mesh and its edges, which must outlive it. Lists are appended to. Operations take O(n log n) for n
/// members, those on triangles also the triangles on the members' edges.
class Chain {
public:
    /// Takes the edge under the lowest code out of the map, from v0 to v1, then grows at both ends. A map without entries is
    /// an assertion.
    Chain(CMesh* pCMesh, EdgesByEnd& mmVCD2CE);

    // ---- Growing

    /// Takes edges out of the map as long as there is one at the left end, then at the right end. More than one at an end is
    /// an assertion.
    void takeEdgesFromMap(EdgesByEnd& mmVCD2CE);
    /// Grows by these edges, in any order, which must continue the chain at its ends (assertion).
    void assimilate(const std::vector<CEdge*>& vCE);
    /// Drops the members; their directions stay.
    void reset() { lMemberCE.clear(); }

    // ---- Reading

    bool isClosed() const { return left == right; }
    bool empty() const { return lMemberCE.empty(); }
    std::size_t getSize() const { return lMemberCE.size(); }
    void getEndpoints(VCD& endVCD0, VCD& endVCD1) const;
    /// From left to right.
    void getEdges(std::vector<CEdge*>& vCE) const;
    /// v0 and v1 of each member: inner vertices come twice.
    void getVCD(std::vector<VCD>& vVCD) const;
    /// Finds what would close an open chain: the edge between its ends, else two edges over a third vertex, those with the
    /// smallest sum of degrees; of equal sums the oldest edge at the left end. Edges count that have a triangle, aren't
    /// members and pass mayUse. bOffChain: the third vertex isn't one of the chain. False when there is nothing. Equal ends
    /// are an assertion.
    bool findClosingEdges(const std::function<bool(const CEdge*)>& mayUse, bool bOffChain,
                          std::vector<CEdge*>& vSolution) const;
    /// The label, members and ends on standard output.
    void print() const;
    /// For debugging: draws the members into a file, those of vMoebiusCE in light blue on top, and prints their numbers.
    void show(const std::string& filename, VisType visType, const std::string& color) const;

    // ---- Triangles along a closed chain

    /// Turns the triangles on the chain's border edges over where they run along the chain, so that all run against it, each
    /// as its first member has it, and inserts them. Members with two and more triangles turn nothing. An open chain is an
    /// assertion.
    void getOriented(std::set<CTriangle*>& sOriented);
    /// Orients the chain as above and appends the edges to vMoebiusCE over which two of these triangles disagree all the
    /// same. An open chain is an assertion. True when there are such edges, earlier ones included: the strip has one side
    /// only.
    bool hasMoebius();
    /// Exchanges the ends of the first edge of vMoebiusCE in the triangles on one side of it: those at its ends that can be
    /// reached without crossing it. This takes the twist out. Kills and makes triangles, so that the members may lose
    /// theirs; the chain is to be made anew. Without a Moebius edge it is an assertion.
    void fixMoebius();
    /// True for an opening of the surface. Lines along the normals of the flattest triangles on the chain, at most 50, are
    /// shot: in the plane of an opening they miss the ring. False for a tie, and where no triangle has a neighbour and
    /// normals. A member without a triangle is an assertion.
    bool isGoodHole() const;

    static std::atomic<int> seqNum;  ///< the next label; over all meshes of the process

    int label;
    CMesh* pCMesh;                ///< not owned
    std::list<CEdge*> lMemberCE;  ///< not owned
    VCD left;
    VCD right;
    std::vector<CEdge*> vMoebiusCE;  ///< edges found by hasMoebius, not owned
};

}  // namespace TARN_KEL
