#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "CEdge.h"
#include "CTriangle.h"
#include "Calc.h"
#include "EdgeIndex.h"
#include "HashIndex.h"
#include "Incidence.h"
#include "Random.h"
#include "SimplePool.h"
#include "kel.h"

namespace TARN_KEL {

class CPatch;
class Visualizer3;
class Voro;

/// Chooses the constructor of a mesh with a vertex table of its own.
struct USE_LOCAL_CCD2BUNDLEMAP {};

/// Chooses the constructor of a mesh that refers to nothing outside itself.
struct SELF_CONTAINED {};

/// The coarse mesh: triangles between occupied cells, filled by the extractor and repaired by Top.
///
/// A vertex is a cell, named by its code; where it lies is the business of the cell's Bundle. So the topology is arithmetic
/// on integers, and triangles that share a cell share a vertex. Anything goes here: edges with many triangles, triangles
/// flipped against each other, borders, several components, duplicates.
///
/// Triangles are made by createT and taken out by CTriangle::kill, never edited and never freed before reset() or the end of
/// the mesh: pointers to dead ones stay good. The pools hand out ascending addresses, so order by address is order of
/// creation.
///
/// Invariants:
/// 1. An alive triangle has three different corners.
/// 2. An alive triangle stands once in vCT of each of its three edges and once in the list of each of its three vertices; a
///    dead one in none.
/// 3. There is one edge for a pair of cells at most, with v0<v1; edges get lost by reset() only, those of degree 0 stay.
/// 4. The triangles of a vertex are in order of creation.
///
/// One thread at a time, const operations included: they keep what they found out for the next call.
/// createT, kill, getEdge and the vertex look-ups take constant time, whatever stands at a vertex; the lists come at the
/// cost of their length. All lists are appended to.
class CMesh {
public:
    /// An empty mesh. pVoro (may be null), pCalc and the table stay the caller's and must outlive the mesh. The table may
    /// get and replace entries at any time; one that the mesh uses as a vertex must not be erased before reset().
    CMesh(Voro* pVoro, Calc* pCalc, std::map<CCD, Bundle*>& mCCDBundle);
    /// The same on mLocalCCDBundle.
    CMesh(Voro* pVoro, Calc* pCalc, USE_LOCAL_CCD2BUNDLEMAP);
    /// A copy of the alive triangles, in the order of vAllCT, and of all entries of the table with its own bundles, points
    /// and grid: it outlives whatever the other mesh refers to. Patches and pVoro aren't taken along. O(n log n).
    CMesh(const CMesh& other, SELF_CONTAINED);
    ~CMesh();
    CMesh(const CMesh&) = delete;
    CMesh& operator=(const CMesh&) = delete;

    // ---- Building

    /// A new triangle on three different cells. Doesn't look for one that is there already (CEdge::hasAdjT does). vcdCube,
    /// cfg: the dual cube that it came from and its configuration.
    CTriangle* createT(VCD v0, VCD v1, VCD v2, VCD vcdCube, int cfg);
    /// Takes the triangle off its three vertices. For CTriangle::kill only.
    void unregisterTriangle(CTriangle* pCT);
    /// Frees all triangles, edges and patches; bundles, their table and sExtraVtx stay.
    void reset();
    /// Clears the mark on every triangle.
    void resetVisited();

    // ---- Queries at an element

    /// The edge of the pair in either order, of any degree; null when the pair never had a triangle.
    CEdge* getEdge(VCD a, VCD b) const;
    /// The edge has a triangle.
    bool hasEdge(VCD a, VCD b) const;
    /// The triangles at a vertex, in order of creation.
    void getIncidentT(VCD vcd, std::vector<CTriangle*>& vIncT) const;
    /// Those of them that were made after that triangle, which needn't be one of them; null: all. Costs as much as they are.
    void getIncidentTSince(VCD vcd, const CTriangle* pCT, std::vector<CTriangle*>& vIncT) const;
    /// Those of them that hold b, in the same order; all of them when b is a. O(n log n) for the triangles on the edge,
    /// however many there are at a.
    void getAdjacentT(VCD a, VCD b, std::vector<CTriangle*>& vAdjT) const;
    /// The edges of these triangles that end at the vertex. The whole vector is sorted by pointer, each edge once.
    void getIncidentCE(VCD vcd, std::vector<CEdge*>& vIncCE) const;

    // ---- Changing the mesh. Triangles are killed and others made, in the order of the lists above; a new one has no patch.

    /// Moves the higher end v1 to the middle of the edge and hangs all triangles at v0 on it; those on the edge go. Returns
    /// v1, or all ones for an edge of degree 0. The vertex may leave its cell, and triangles may come out twice (killDups).
    /// Both ends must have bundles.
    CCD collapseEdgeToMidpoint(CEdge* pCE);
    /// Hangs all triangles at src on trg, the other end of the edge; those on the edge go. False, and nothing changes, for
    /// an edge of degree 0 and where canCollapseWithoutDups(src, trg) is false. Other ends are an assertion.
    bool collapseEdgeToEndpoint(CEdge* pCE, VCD src, VCD trg);
    /// Both cells have triangles, and none would be there twice if those at src were hung on trg. Looks at every triangle on
    /// the ring of src.
    bool canCollapseWithoutDups(VCD src, VCD trg) const;
    /// Kills all triangles but the oldest of those on the same corners and returns how many. Sorts vAllCT by ascending
    /// sorted corners, then creation, dead triangles included. O(n log n).
    int killDups();
    /// Takes each degenerate triangle out by splitting its neighbours at the corner opposite its longest edge
    /// (CEdge::trySplitNeigsKillT), the last one of vAllCT first. Where that can't be done it prints a line and moves one of
    /// the corners (laplacianForOne). What can't be helped stays. Every corner must have a bundle.
    void treatDegenerateT();
    /// Moves a vertex towards the mean of its neighbours, each counted once, by a tenth of a cell edge at most. False, and
    /// it stays, when it has no triangle or one of them would turn by more than 90 degrees. Prints a line a triangle.
    bool laplacianForOne(VCD vcd);

    // ---- Vertices of cells that had no points

    /// Enters a bundle of the mesh's own for the cell, in place of what the table has there, at a point of the cell
    /// (assertion), then averages it. Three times the largest double stands for the midpoint.
    void addBundle(CCD ccd, double x, double y, double z);
    /// Places the vertex a little beyond the mean of its neighbours, those of sExtraVtx left out when there are three
    /// others. Where that isn't in the cell, and without neighbours that have bundles, it becomes the midpoint. It stays
    /// with fewer than two edges.
    void averageBundle(Bundle* pBundle);
    /// The same for vExtraBundles in order; each sees the earlier ones moved.
    void averageBundles();
    /// Collapses the bundle's cell into a neighbour: the oldest edge that can be collapsed. False when none can.
    bool integrateBundle(Bundle* pBundle);
    /// The same for vExtraBundles; those that succeed leave vExtraBundles and sExtraVtx, the rest is in order of creation.
    /// The table keeps them.
    void integrateAdditionalBundles();

    // ---- Vertices. A code without a bundle, or whose bundle has no point, is an assertion.

    /// The vertex itself, owned by its maker: the bundle's point.
    Point3* getVtx(VCD vcd) const;
    Point3* getBundleVtx(VCD vcd) const { return getVtx(vcd); }
    Point3 getAvgPoint(VCD vcd) const { return *getVtx(vcd); }
    /// The midpoint of the cell.
    Point3 getMidPoint(VCD vcd) const { return pCalc->getMidPoint(vcd); }
    bool hasBundle(VCD vcd) const;

    // ---- Queries on the whole mesh, O(n)

    /// Every edge in key order, by v0, then v1; degree 0 included. New edges since the last such query cost a sort.
    void getCEdges(std::vector<CEdge*>& vOut) const;
    /// Of these the edges of degree deg (above 0); -1: 3 and more, -5: 1 or 3 and more, -99: 1 and more. Any other number is
    /// an assertion.
    void getDegN(int deg, std::vector<CEdge*>& vOut) const;
    /// The edges of degree 3 and more.
    void getME(std::vector<CEdge*>& vOut) const { getDegN(-1, vOut); }
    /// In the order of vAllCT.
    void getAllTriangles(std::vector<CTriangle*>& vOut) const;
    void getAliveTriangles(std::vector<CTriangle*>& vOut) const;
    /// Three corners per alive triangle.
    void getTriangleCorners(std::vector<VCD>& vOut) const;
    void getTriangleCorners(std::vector<Point3*>& vOut) const;
    /// Three corners for each alive one of the given triangles.
    void extractAliveVCD(const std::vector<CTriangle*>& vCT, std::vector<VCD>& vOut) const;
    /// The corners of alive triangles; the whole vector is sorted, each once. O(n log n). The points are sorted by pointer.
    void getUsedCCD(std::vector<CCD>& vOut) const;
    void getPoints(std::vector<Point3*>& vOut) const;
    double getArea() const;

    // ---- Patches. createCCPatches and createPatches delete all patches that they made before, so that older pointers to
    // ---- patches are void. All makers leave the alive triangles marked visited. O(n).

    /// One patch per connected component, over edges of any degree, in the order of their first triangles in vAllCT.
    void createCCPatches();
    /// Patches between borders, MEs and fences (null: no fences), in that order. Appends the patches to vOutPatches; they
    /// stay the mesh's. Enters for each triangle on an ME its corner off the ME with its patch into mVCD2Patch, where the
    /// last patch stays. Appends the MEs to vMECE and makes the whole of it sorted and unique.
    void createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOutPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                       std::vector<CEdge*>& vMECE);
    /// The same for the triangles that aren't marked visited. The patches are appended to vOwnerPatches and belong to
    /// whoever owns that list; they must be deleted before the mesh is reset or dies. The mesh's own patches stay.
    void cutUnvisited(const std::set<CEdge*>* pFences, std::vector<CPatch*>& vOwnerPatches,
                      std::map<VCD, CPatch*>& mVCD2Patch, std::vector<CEdge*>& vMECE);
    /// Replaces the vector; the patches stay the mesh's.
    void getPatches(std::vector<CPatch*>& vOut) const { vOut = vPatches; }
    double getSideLen() const { return pCalc->getSideLen(); }
    Calc* getCalc() const { return pCalc; }
    std::map<CCD, Bundle*>& getRefToBundleMap() { return mCCDBundle; }
    /// Every triangle ever made. Its order may be changed, its content not.
    std::vector<CTriangle*>& getTriRef() { return vAllCT; }

    // ---- Drawings for debugging. VT_COARSE needs a grid in the visualizer, VT_REAL bundles with points for the corners.
    // ---- The visualizer stays set to what was drawn (Visualizer3::setMesh). O(n), edges O(n log n).

    /// The alive triangles.
    void show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const;
    /// The edges by degree (Visualizer3::writeDegrees).
    void showDeg(Visualizer3* pVisualizer, VisType visType) const;
    /// Both into a file of their own; an assertion when drawings for debugging aren't let through.
    void debugShow(const std::string& filename, VisType visType, const std::string& color) const;

    // ---- Reports on standard output

    /// Used vertices and alive triangles. O(n log n).
    void getStatistics(std::size_t& numVertices, std::size_t& numTriangles) const;
    /// These, and the number of edges of each degree.
    void printStatistics(const std::string& name) const;
    // Checks for debugging: they print what they found. The first four are true when nothing was found, hasNaN is the
    // opposite. O(n log n).
    bool checkNoDegenerate(const std::string& name) const;
    /// No two alive triangles on the same corners.
    bool checkNoDups(const std::string& name) const;
    /// No edge with a triangle has both ends at one point.
    bool checkNoAdjCoordDups(const std::string& name) const;
    /// Every corner in use has a bundle, every entry of the table a bundle with the code of its key and a point in that
    /// cell.
    bool checkCCD(const std::string& name) const;
    /// Some vertex in the table has a coordinate that isn't a number. Bundles without a vertex are checkCCD's business.
    bool hasNaN(const std::string& name) const;

    Voro* pVoro;  ///< not owned, may be null
    Calc* pCalc;  ///< not owned, unless the mesh is self-contained
    std::map<CCD, Bundle*>& mCCDBundle;
    std::map<CCD, Bundle*> mLocalCCDBundle;
    std::vector<CTriangle*> vAllCT;  ///< every triangle ever made, dead ones too; in order of creation unless reordered
    // What addBundle or a copy makes lives as long as the mesh, listed here or not: the table may refer to it.
    std::set<Point3*> sExtraVtx;         ///< vertices of vExtraBundles
    std::vector<Bundle*> vExtraBundles;  ///< bundles of addBundle that stand for a vertex
    std::vector<CPatch*> vPatches;       ///< owned

private:
    friend class CTriangle;

    /// What is kept for a cell that is or was a corner.
    struct Vertex {
        VCD vcd;
        Bundle* const* pEntry;  ///< the cell's place in mCCDBundle; null: not looked up yet
        IncidenceLink link;     ///< ends of the list of its triangles
        EdgeStar star;          ///< edges of which it is the lower end
    };
    /// What addBundle makes, and a bundle of a self-contained mesh.
    struct ExtraBundle {
        Bundle bundle;
        Point3 vtx;
    };
    struct LinkAccess {
        const CMesh& mesh;
        IncidenceLink& cornerLink(std::uint32_t corner) { return mesh.poolCT->at(corner / 3)->aLink[corner % 3]; }
        IncidenceLink& vertexLink(std::uint32_t vertex) { return mesh.poolVertex->at(vertex)->link; }
    };

    struct EdgePair;

    template <typename Visit>
    void forEachTriangleAt(VCD vcd, Visit&& visit) const;
    bool hasIncidentT(VCD vcd) const;
    static Point3* vtxOf(const Bundle* pBundle);
    Bundle* copyBundle(const Bundle& bundle);
    Point3* getVtxAt(std::uint32_t number) const;
    std::uint32_t findVertex(VCD vcd) const;
    std::uint32_t findOrMakeVertex(VCD vcd);
    Bundle* const* findEntry(VCD vcd) const;
    CEdge* findOrMakeEdge(Vertex& a, Vertex& b);
    const std::vector<CEdge*>& edgesInKeyOrder() const;
    void hangTriangles(VCD src, VCD trg);
    void startPools();
    void destroyEdges();
    void deletePatches();
    void startPatches();
    CPatch* startPatch(std::vector<CPatch*>& vOwnerPatches);

    std::unique_ptr<Calc> pOwnCalc;  // of a self-contained mesh
    // Optional only to be started anew by reset(); never empty otherwise.
    std::optional<TARN_TOOLS::SimplePool<CTriangle>> poolCT;
    std::optional<TARN_TOOLS::SimplePool<CEdge>> poolCE;
    std::optional<TARN_TOOLS::SimplePool<Vertex>> poolVertex;
    TARN_TOOLS::SimplePool<ExtraBundle> poolExtraBundle;
    Random random;                          // what there is of chance in the operations
    HashIndex vertexIndex;                  // cell to position in poolVertex
    EdgeIndex edgeIndex;                    // pair of cells to position in poolCE
    mutable std::vector<CEdge*> vSortedCE;  // the first edges of poolCE in key order; queries bring it up to date
};

}  // namespace TARN_KEL
