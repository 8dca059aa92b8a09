#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "AngleEntry.h"
#include "CTriangle.h"
#include "Chain.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class Visualizer3;

/// Which triangles a Loop turns to agree with those on its border. LR_COMPONENT: all that are connected with them through
/// edges of any degree. LR_RING: those with a corner on the border, as far as edges of two triangles connect them.
enum LoopReach { LR_COMPONENT, LR_RING };

/// Closes the hole inside one border loop by cutting ears: the corner with the smallest interior angle is cut off by one
/// triangle, until nothing is left or no corner is convex.
///
/// The loop walks along the border, and the triangles on it are turned over until they run against the walk. Then the hole
/// is on the left of each border edge as seen from their normals, and a triangle (previous, corner, next) agrees with its
/// neighbours. No test is made whether other corners of the border lie inside an ear, so a border that winds a lot may be
/// filled with overlapping triangles.
///
/// Used once: construct, fill(), read. The mesh isn't owned and must outlive the loop; carryOver() changes to another mesh.
/// Corners in use must have bundles. Lists are appended to. Cost for n edges: O(n log n), and the triangles at their ends.
class Loop {
public:
    /// Walks along one border: from the lowest code of the map, at each vertex over the first edge that is there. Where it
    /// comes back to its start, the triangles within reach are turned to agree with those on the border.
    /// mmVCD2CE: edges, each under both its ends; those of the border are removed.
    /// pCalc: may be null.
    /// Throws (assertion) for an empty map and for an edge without a triangle.
    Loop(EdgesByEnd& mmVCD2CE, Calc* pCalc, CMesh* pCMesh, LoopReach reach = LR_COMPONENT);
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Turns the triangles again, as another loop may have turned some meanwhile, and cuts ears as long as there are some.
    /// Returns false, with no new triangle left, when the border turns away from the hole. True doesn't mean that the hole
    /// is closed: see isFilled().
    bool fill();
    /// Creates the new triangles in another mesh as well, and refers to that mesh from now on. The border is then walked in
    /// the direction that its edges have in that mesh. What fill() worked with is dropped.
    /// pTarget: has the edges of the border, with the directions of a chain. Throws (assertion) when one is missing.
    void carryOver(CMesh* pTarget);

    /// The walk came back to its start.
    bool isClosed() const { return bClosed; }
    /// Two corners are left: the hole is closed. Only to be asked when fill() has returned true.
    bool isFilled() const { return numAE == 2; }
    std::size_t getSize() const { return vCE.size(); }
    CMesh* getCMesh() const { return pCMesh; }
    bool hasBorderVCD(VCD vcd) const;
    void getVecCE(std::vector<CEdge*>& vOut) const;
    void getFillT(std::vector<CTriangle*>& vOut) const;
    /// Edges of the border that have one triangle.
    void getRemainingBorders(std::vector<CEdge*>& vOut) const;
    /// Edges of fill triangles that have one triangle; with the remaining borders they close what is still open.
    void getOpenFillCE(std::vector<CEdge*>& vOut) const;
    /// For debugging: the border in that colour, the new triangles in light blue.
    void show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const;

    // ---- Steps of fill()

    /// Makes the corners of the border, in the order of the walk, and enters the convex ones in the queue. Throws
    /// (assertion) for a border of one edge.
    void initPrioq();
    /// Takes the corner with the smallest key out of the queue. The key is its angle in degrees, and 100 more where the
    /// normals at its neighbours differ by more than 45 degrees, so that it waits.
    /// Returns null when no corner is convex.
    AngleEntry* getMinAngleEntry();
    /// Cuts off that corner. Returns false when there is none.
    bool triangulate();

    // ---- Steps of the constructor

    /// Walks along the border and turns the triangles on edges with one triangle. Returns true when the walk came back to
    /// its start.
    bool orientChainAndAjacentT(EdgesByEnd& mmVCD2CE);
    /// Turns the triangles within reach of sOrientedT to agree with it, and adds them to it.
    void orientIncidentT();

    /// The running number of loops, over all meshes; from 0. Safe on any thread.
    static int getSeqNum();

    double signedArea =
        0.0;        ///< of the new triangles: ears below 175 degrees count as positive, those above 185 as negative
    int numAE = 0;  ///< corners that are left
    std::vector<CEdge*> vCE;  ///< the border in the order of the walk, each edge with its direction; not owned
    bool bClosed = true;
    Calc* pCalc;    ///< not owned, may be null
    CMesh* pCMesh;  ///< not owned
    /// Corners by key in degrees; equal keys in order of insertion. An entry may be stale, and a corner may have several.
    std::multimap<double, AngleEntry*> mmPrioq;
    /// For debugging, only written: the corner at a vertex, the last one where the border passes it twice.
    std::map<Point3*, AngleEntry*> mVtxAE;
    std::vector<CTriangle*> vFillT;  ///< in order of creation, not owned
    int label;
    std::set<CEdge*> sThickCE;        ///< edges of the border that had more than one triangle
    std::set<CTriangle*> sOrientedT;  ///< triangles that agree with the border
    std::set<CTriangle*> sChainT;     ///< those on the border
    std::vector<AngleEntry*> vAllAE;  ///< owned

private:
    void walk(EdgesByEnd& mmVCD2CE);
    /// Turns the triangles on the border, from that edge of vCE on.
    void turnChainT(std::size_t begin);
    void enqueueIfConvex(AngleEntry* pAE);
    void dropEntries();

    LoopReach reach;
};

}  // namespace TARN_KEL
