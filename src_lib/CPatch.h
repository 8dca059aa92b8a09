#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "CEdge.h"
#include "CTriangle.h"
#include "Calc.h"
#include "FlatSet.h"
#include "Random.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class CPatch;
class Visualizer3;

/// Patches in order of creation, in place of an order by address.
struct CPatchOrder {
    bool operator()(const CPatch* pPatch0, const CPatch* pPatch1) const;
};

/// A patch of the coarse mesh: triangles connected through edges of degree 2, bounded by borders, non-manifold edges (MEs)
/// and fences. The repair decides patch by patch which one of a double layer is killed and which way a surface faces. Only
/// the patches of createCCPatches() are whole pieces of the mesh, connected through edges of any degree.
///
/// CMesh::createPatches and createCCPatches cut the mesh into patches and own them until the next of these calls; other
/// patches belong to whoever created them. A patch owns no triangle. Members may die without notice and stay in the list;
/// "members" below means the alive ones, unless it says "every member". A triangle knows one patch, the last one that took
/// it, and should be a member of only one patch, once.
///
/// Operations cost O(n) or O(n log n) for n members, unless they say otherwise. Lists are appended to. Lists of edges are
/// sorted by pointer, which is the order of creation.
class CPatch {
public:
    /// An empty patch, alive. Both arguments stay the caller's; the mesh must outlive the patch.
    CPatch(CMesh* pCMesh, Calc* pCalc);
    /// Members that have this as their patch have none afterwards.
    ~CPatch();
    CPatch(const CPatch&) = delete;
    CPatch& operator=(const CPatch&) = delete;

    // ---- Members

    /// Appends a triangle to the members and makes this its patch.
    void add(CTriangle* pCT);
    /// Kills the members, which have no patch afterwards. The patch is dead and empty afterwards.
    void killPatchAndMembers();
    /// Takes over all members of another patch, which is dead and empty afterwards.
    /// pOtherPatch: not this one; both must be alive (assertion).
    /// bBoundary: compute the boundary of the union from those of the two, which must be set; else it is empty until it is
    /// set again.
    /// Cost: linear in the boundaries and in the members of the other patch.
    void assimilate(CPatch* pOtherPatch, bool bBoundary);
    bool isAlive() const { return bAlive; }
    /// A running number over all patches of the process, from 0.
    int getLabel() const { return label; }
    /// The number of members, dead ones included.
    std::size_t getSize() const { return vMemberCT.size(); }
    std::vector<CTriangle*>& getTriangleRef() { return vMemberCT; }

    // ---- Boundary

    /// Collects the edges with exactly one member into vPatchBoundaryCE. So two patches on the same boundary have equal
    /// lists, a closed patch has an empty one, and an ME with several members isn't in it. The patch must be alive.
    void setOuterBoundary();
    /// What setOuterBoundary found. The patch must be alive.
    std::size_t getPatchBoundarySize() const;
    void getPatchBoundaryCE(std::set<CEdge*>& sBoundaryCE) const;
    void getPatchBoundaryCE(std::vector<CEdge*>& vBoundaryCE) const;
    /// Whether each edge of a member has at least two members. False for 3 members or fewer, dead ones counted.
    bool isClosed() const;

    // ---- Lists

    /// Each edge of the members once.
    void getAllCE(std::vector<CEdge*>& vCE) const;
    /// Three corners of every member, in member order, repeats included.
    void getAllVCD(std::vector<VCD>& vVCD) const;
    /// The edges of the members that have degree deg in the mesh; -1: 3 and more.
    void getDegNCE(int deg, std::list<CEdge*>& lCE) const;
    void getGlobalDegNEdges(int deg, std::vector<CEdge*>& vCE) const;
    /// The MEs, as getDegNCE(-1).
    void getME(std::list<CEdge*>& lCE) const;
    /// The edges with exactly deg members; -99: with 3 members and more.
    void getDegNWithRespectToOwn(int deg, std::vector<CEdge*>& vCE) const;
    /// Collects the edges without exactly two triangles into vDegNot2CE.
    void setDegNot2CE();

    // ---- Figures

    /// At the vertices of the mesh.
    double getArea() const;
    /// The signed volume, positive when a closed patch faces outward.
    double computeOrientedVolume() const;
    /// Of the corners of every member the one with the largest z, of equal ones the first; all ones when no z is above 0.
    VCD getMaxZCCD() const;
    /// Sets numInnerVtx: the number of different corners of every member minus that of the ends of vPatchBoundaryCE.
    void setNumInnerVtx();
    int getNumInnerVtx() const { return numInnerVtx; }
    /// How many different corners of every member are in the set.
    int countFeatureCCD(const std::set<VCD>& sFeatureCCD) const;
    /// Estimates how closely other patches follow this one. At each ME in vDegNot2CE the cell of this patch off the ME is
    /// compared with those of other patches. Sets partnerCertainty to the number of pairs that share a face, per ME. Adds
    /// all these other patches to sPartnerPatches.
    ///
    /// Of more than 500 edges the first 500 MEs count, after a shuffle of vDegNot2CE; a further call then keeps a
    /// partnerCertainty above 0 and at most 0.1, and does nothing.
    /// mVCD2Patch: as filled by createPatches.
    void setPartnerCertainty(const std::map<VCD, CPatch*>& mVCD2Patch);
    double getPartnerCertainty() const { return partnerCertainty; }

    // ---- Orientation

    /// Turns every member over.
    void flipPatch();
    /// Turns the patch over when the triangles at its highest vertex, those of other patches included, face down on average.
    /// Warns, and turns nothing, when there is no triangle there.
    void orientPatch();
    /// Turns members over until they agree across edges of degree 2: in each connected part with its first member. Then
    /// calls orientPatch(). Triangles outside the patch that such edges lead to are turned too, if they aren't marked
    /// visited. Clears the marks.
    void intraOrientation();

    // ---- Repair

    /// Splits a closed patch that touches itself along MEs into two sides and kills one of them. A patch of 20 members or
    /// more is split only if it is thin. Turns members over, even when it fails, and leaves marks.
    /// bCareful: kill nothing when both sides are connected to other patches.
    /// Returns whether it killed a side.
    bool splitClosedPatchKill(bool bCareful);
    /// Not implemented: warns and returns false.
    bool canKillLeaveDeg2() const;
    /// Edges shared with other patches form chains. This finds paths through the patch, along folds, that join the open ends
    /// of these chains: each end with its nearest partner. The patch must be alive.
    /// vPath: the paths are appended, each from its far end back.
    /// mPoints: must have all corners.
    /// Cost: O(n log n) per pair at worst; usually only what lies nearer than the partner is visited.
    void findPartitioningPath(std::vector<CEdge*>& vPath, const std::map<VCD, Point3>& mPoints) const;

    // ---- Drawings for debugging, as those of CMesh

    /// The members.
    void show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const;
    /// The same, and in red what is in vPatchBoundaryCE, into a file of their own.
    void show(const std::string& filename, VisType visType, const std::string& color) const;

    std::vector<CEdge*> vDegNot2CE;
    int label;
    std::vector<CTriangle*> vMemberCT;  ///< not owned
    double partnerCertainty = 0.0;
    std::set<CPatch*, CPatchOrder> sPartnerPatches;  ///< not owned, in order of creation
    std::vector<CEdge*> vPatchBoundaryCE;            ///< sorted, each once
    bool bAlive = true;
    CMesh* pCMesh;  ///< not owned
    Calc* pCalc;    ///< not owned
    int numInnerVtx = -1;

private:
    friend struct CPatchOrder;
    CPatch(CMesh* pCMesh, Calc* pCalc, std::uint64_t number);
    void joinBoundary(const CPatch& other);

    std::uint64_t number;  ///< a running number over all patches of the process
    Random random;
};

inline bool CPatchOrder::operator()(const CPatch* pPatch0, const CPatch* pPatch1) const {
    return pPatch0->number < pPatch1->number;
}

/// An edge to be crossed by CPatch::splitClosedPatchKill. Ordered by priority alone.
struct ConEdge {
    /// pCE: has at least two triangles; above degree 2, at least two of the patch (assertions).
    /// sPatchT: the triangles of the patch.
    ConEdge(CMesh* pCMesh, CEdge* pCE, const FlatSet<CTriangle*>& sPatchT);
    bool operator<(const ConEdge& other) const { return priority < other.priority; }

    CEdge* pCE;
    int degree;               ///< of the edge at construction
    double priority = 181.0;  ///< degrees of the turn between the two triangles, lowest first; 181.0 for more than two
    bool bSameSide = true;    ///< crossing the edge doesn't change sides
    std::vector<CTriangle*> vMemT;
};

class Dijkstra;
using DijkstraMap = std::unordered_map<VCD, Dijkstra>;
using InnerEdgeMap = std::unordered_map<VCD, std::vector<CEdge*>>;

/// A vertex in the search for a shortest path along inner edges, where folds are short and flat edges long.
///
/// The nodes of a search live in one map. Nothing depends on the order of the maps.
class Dijkstra {
public:
    static constexpr double UNREACHED = 2147483647.0;

    /// Both maps stay the caller's. mVCD2InnerCEVec: the edges at each vertex.
    Dijkstra(VCD vcd_, DijkstraMap* mNodes, const InnerEdgeMap* mEdges)
        : vcd(vcd_), mVCD2Dijkstra(mNodes), mVCD2InnerCEVec(mEdges) {}

    /// Reaches this node over pCE at that distance. If that is nearer than before, updates all nodes beyond it and creates
    /// missing ones.
    /// mPoints: must have all corners.
    /// Cost: O(n log n).
    void update(CEdge* pCE, double dist, const std::map<VCD, Point3>& mPoints);
    /// The same, but stops at the nearest node of sGoal. Nodes farther away may be missing or have too large distances.
    /// Returns that node, of equally near ones the one with the lowest code; null when none can be reached.
    const Dijkstra* updateToNearest(const std::set<VCD>& sGoal, CEdge* pCE, double dist,
                                    const std::map<VCD, Point3>& mPoints);
    /// Appends the edges from here back to the node at distance 0.
    void getBackPath(std::vector<CEdge*>& vPath) const;

    CEdge* pIncomingCE = nullptr;
    VCD vcd;
    double dist = UNREACHED;
    DijkstraMap* mVCD2Dijkstra;
    const InnerEdgeMap* mVCD2InnerCEVec;
};

/// Selects edges of the alive triangles of vT by the number m of these triangles on them.
/// deg: >= 0: m == deg; -1: m odd; -2: m even; -3: m > 2; -4: m even and >= 4; any other: none.
/// vOut: replaced; each edge once, in pointer order.
/// Cost: O(n log n).
void getEdgesWithDegree(int deg, const std::vector<CTriangle*>& vT, std::vector<CEdge*>& vOut);

/// Cuts the alive triangles of vT into groups that are connected through edges of degree 2 within vT.
/// vT: may have repeats.
/// vvOut: the groups are appended, in the order of their first triangles by address.
/// Cost: O(n log n).
void getConnectedComponents_HE(const std::vector<CTriangle*>& vT, std::vector<std::vector<CTriangle*>>& vvOut);

}  // namespace TARN_KEL
