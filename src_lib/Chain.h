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

/// Edges of a coarse mesh, each entered under both its ends.
using EdgesByEnd = std::multimap<VCD, CEdge*>;

void enterBothEnds(EdgesByEnd& mm, const std::vector<CEdge*>& vCE);
/// Removes the entry if there is one. Cost: O(log n), and linear in the number of edges under the key.
void eraseCertainEntry(EdgesByEnd& mm, VCD key, const CEdge* pCE);
void eraseBothEntries(EdgesByEnd& mm, const CEdge* pCE);

/// A chain: a directed sequence of edges of the coarse mesh, such as a border walked from one end to the other.
///
/// Invariants: each member has a direction (CEdge::edgeDir); the target of a member is the source of the next one; the first
/// member starts at left, the last one ends at right. Equal ends make a closed chain. The direction is stored in the edge,
/// so an edge is in one chain at a time. reset() leaves left and right as they were.
///
/// A closed chain of border edges may be a hole. isGoodHole() judges whether it is an opening of the surface, and not the
/// border around a thin part. hasMoebius() finds out whether the strip of triangles along it has one side only; fixMoebius()
/// repairs that.
///
/// The mesh and its edges aren't owned and must outlive the chain. Lists are appended to. Operations take O(n log n) for n
/// members; those on triangles count the triangles on the members too.
class Chain {
public:
    /// Starts with the first edge under the lowest code of the map, directed from v0 to v1; then takeEdgesFromMap(). The
    /// edges that it takes are removed from the map.
    /// Throws (assertion) when the map is empty.
    Chain(CMesh* pCMesh, EdgesByEnd& mmVCD2CE);

    // ---- Growing

    /// Moves edges from the map to the left end as long as there is one, then to the right end.
    /// Throws (assertion) when there is more than one at an end.
    void takeEdgesFromMap(EdgesByEnd& mmVCD2CE);
    /// Grows by these edges, given in any order.
    /// Throws (assertion) when not all of them continue the chain at its ends.
    void assimilate(const std::vector<CEdge*>& vCE);
    /// Drops the members. They keep their directions.
    void reset() { lMemberCE.clear(); }

    // ---- Reading

    bool isClosed() const { return left == right; }
    bool empty() const { return lMemberCE.empty(); }
    std::size_t getSize() const { return lMemberCE.size(); }
    void getEndpoints(VCD& endVCD0, VCD& endVCD1) const;
    /// From left to right.
    void getEdges(std::vector<CEdge*>& vCE) const;
    /// v0 and v1 of each member, so inner vertices are appended twice.
    void getVCD(std::vector<VCD>& vVCD) const;
    /// Finds edges that would close an open chain: the edge between its ends, else two edges over a third vertex. Of several
    /// pairs it takes the one with the smallest sum of degrees, then the one with the oldest edge at the left end. An edge
    /// may be used when it has a triangle and isn't a member.
    /// mayUse: an edge is used only if mayUse(edge) is true.
    /// bOffChain: the third vertex must not be a vertex of the chain.
    /// vSolution: the edges are appended.
    /// Returns false when there are none.
    /// Throws (assertion) for a closed chain.
    bool findClosingEdges(const std::function<bool(const CEdge*)>& mayUse, bool bOffChain,
                          std::vector<CEdge*>& vSolution) const;
    /// The label, members and ends on standard output.
    void print() const;
    /// For debugging: draws the members into a file, those of vMoebiusCE in light blue on top, and prints their numbers.
    void show(const std::string& filename, VisType visType, const std::string& color) const;

    // ---- Triangles along a closed chain

    /// Turns the triangles on the chain's border edges over until each runs against the chain. Where a triangle has several
    /// members, the first one decides. Members with two or more triangles are passed over.
    /// sOriented: the triangles are inserted; those that it holds already aren't turned.
    /// Throws (assertion) for an open chain.
    void getOriented(std::set<CTriangle*>& sOriented);
    /// Calls getOriented() and appends to vMoebiusCE the edges across which two of these triangles still disagree.
    /// Returns true when vMoebiusCE has edges then, those of former calls included: the strip has one side only.
    /// Throws (assertion) for an open chain.
    bool hasMoebius();
    /// Takes the twist out of a strip: in the triangles on one side of the first edge of vMoebiusCE the two ends of the edge
    /// are exchanged. These are the triangles at its ends that can be reached from one of its triangles without crossing it.
    /// They are killed and created again, so members may lose their triangles: make the chains again afterwards.
    /// Throws (assertion) when vMoebiusCE is empty.
    void fixMoebius();
    /// Judges whether a closed chain is an opening of the surface. The flattest triangles on the chain, at most 50, vote:
    /// for an opening the line along their normal misses the ring.
    /// Returns false for a tie, and when no triangle on the chain has a neighbour and normals.
    /// Throws (assertion) for a member without a triangle.
    bool isGoodHole() const;

    static std::atomic<int> seqNum;  ///< the next label; over all meshes of the process

    int label;
    CMesh* pCMesh;                ///< not owned
    std::list<CEdge*> lMemberCE;  ///< not owned
    VCD left;
    VCD right;
    std::vector<CEdge*> vMoebiusCE;  ///< edges found by hasMoebius(), not owned
};

}  // namespace TARN_KEL
