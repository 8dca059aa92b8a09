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

/// How far a Loop turns the triangles that hang together with its border: all of them, or those of its ring, which is the
/// triangles with a corner on the border, over edges of two triangles.
enum LoopReach { LR_COMPONENT, LR_RING };

/// Closes the hole inside one closed border by cutting ears: the corner with the smallest interior angle is cut off by one
/// triangle, until nothing is left or no corner is convex.
///
/// The border is walked, and the triangles at it are turned so that they run against the walk. Then the hole is on the left
/// of each border edge as seen from their normals, and a triangle (previous, corner, next) agrees with its neighbours. Ears
/// aren't tested for other corners of the border inside them, so that a border that winds a lot may be filled with
/// overlapping triangles.
///
/// Used once: construct, fill(), read. Refers to the mesh, which must outlive it; carryOver() hands it to another one.
/// Corners in use must have bundles. Lists are appended to. For n edges, O(n log n) and the triangles at their ends.
class Loop {
public:
    /// Takes the edges of one border out of the map, which has each of its edges under both ends and must not be empty
    /// (assertion): from the lowest code on, at each vertex the first edge that is there. An edge without a triangle is an
    /// assertion. When the border closes, the triangles within reach are turned to agree with those on it.
    Loop(EdgesByEnd& mmVCD2CE, Calc* pCalc, CMesh* pCMesh, LoopReach reach = LR_COMPONENT);
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Turns the triangles once more, which another loop may have turned meanwhile, and cuts ears as long as there are some.
    /// False, with no triangle left, where the border turns away from the hole. True doesn't mean that the hole is closed:
    /// see isFilled().
    bool fill();
    /// Makes the fill triangles in another mesh as well, and refers to that mesh from now on. It must have the edges of the
    /// border as links of a chain, and the border is then in the chain's direction. What fill() worked with is dropped.
    void carryOver(CMesh* pTarget);

    /// The border came back to its start.
    bool isClosed() const { return bClosed; }
    /// Two corners are left: the hole is closed.
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
    /// For debugging: the border in the colour, what was filled in it in light blue.
    void show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const;

    // ---- Steps of fill()

    /// The corners of the border in order of walking, and in the queue those that are convex. A border of one edge is an
    /// assertion.
    void initPrioq();
    /// The corner with the smallest key, taken out of the queue: its angle, and 100 on top where the normals at its
    /// neighbours differ by more than 45 degrees, so that it waits. Null when no corner is convex.
    AngleEntry* getMinAngleEntry();
    /// Cuts off that corner. False when there is none.
    bool triangulate();

    // ---- Steps of the constructor

    /// The walk; turns the triangles on edges with one. True when it came back.
    bool orientChainAndAjacentT(EdgesByEnd& mmVCD2CE);
    /// Turns what is within reach of sOrientedT, and enters it there.
    void orientIncidentT();

    /// The running number of loops, over all meshes; from 0. Safe on any thread.
    static int getSeqNum();

    double signedArea = 0.0;  ///< of the fill triangles
    int numAE = 0;            ///< corners that are left
    std::vector<CEdge*> vCE;  ///< the border in order of walking, each with its direction; not owned
    bool bClosed = true;
    Calc* pCalc;    ///< not owned, may be null
    CMesh* pCMesh;  ///< not owned
    /// Corners by key in degrees; of equal ones the first that came. An entry may be stale, and a corner may have several.
    std::multimap<double, AngleEntry*> mmPrioq;
    /// For debugging, only written: the corner at a vertex, the last one where the border passes it twice.
    std::map<Point3*, AngleEntry*> mVtxAE;
    std::vector<CTriangle*> vFillT;  ///< in order of creation, not owned
    int label;
    std::set<CEdge*> sThickCE;        ///< border edges that hadn't exactly one triangle
    std::set<CTriangle*> sOrientedT;  ///< triangles that agree with the border
    std::set<CTriangle*> sChainT;     ///< those on the border
    std::vector<AngleEntry*> vAllAE;  ///< owned

private:
    void walk(EdgesByEnd& mmVCD2CE);
    void turnChainT();
    void enqueueIfConvex(AngleEntry* pAE);
    void dropEntries();

    LoopReach reach;
};

}  // namespace TARN_KEL
