#pragma once

#include <atomic>
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
#include "OnDemand.h"
#include "Random.h"
#include "SimplePool.h"
#include "TriangleEdges.h"
#include "kel.h"

namespace TARN_KEL {

class CPatch;
class Visualizer3;
class Voro;

/// Selects the constructor of a mesh with a vertex table of its own.
struct USE_LOCAL_CCD2BUNDLEMAP {};

/// Selects the constructor of a mesh that refers to nothing outside itself.
struct SELF_CONTAINED {};

/// Many triangles between the cells of a list.
struct NewTriangles {
    std::vector<NumberTriple> vCorner;  ///< positions of cells in the list, three different ones
    std::vector<VCD> vKey;              ///< the dual cubes that they come from
    std::vector<std::uint8_t> vConfig;  ///< and the configurations of these

    void add(const NumberTriple& corners, VCD key, int config) {
        vCorner.push_back(corners);
        vKey.push_back(key);
        vConfig.push_back(static_cast<std::uint8_t>(config));
    }
    void append(const NewTriangles& others) {
        vCorner.insert(vCorner.end(), others.vCorner.begin(), others.vCorner.end());
        vKey.insert(vKey.end(), others.vKey.begin(), others.vKey.end());
        vConfig.insert(vConfig.end(), others.vConfig.begin(), others.vConfig.end());
    }
};

/// The coarse mesh: triangles between occupied cells, filled by the extractor and changed by the passes of the repair.
///
/// A vertex is a cell, named by its code; its place is that of the cell's Bundle. So the topology is arithmetic on
/// integers, and triangles that share a cell share a vertex. The mesh is permissive: it may have edges with many triangles,
/// triangles flipped against each other, borders, several components and duplicates.
///
/// Triangles are created by createT and removed by CTriangle::kill. Their corners never change, except that flipNNV swaps
/// two. Nothing is freed before reset() or the end of the mesh, so pointers to dead triangles stay valid. Addresses ascend
/// with creation: order by address is order of creation.
///
/// Invariants:
/// 1. An alive triangle has three different corners.
/// 2. An alive triangle is once in vCT of each of its three edges and once in the list of each of its three vertices; a dead
///    one is in none.
/// 3. There is at most one edge for a pair of cells, with v0<v1; only reset() removes edges, those of degree 0 stay.
/// 4. The triangles of a vertex are in order of creation.
///
/// Const operations are safe on several threads while no thread changes the mesh or its vertex table. Changes belong to one
/// thread. createT, kill, getEdge and the vertex look-ups take constant time, however many triangles a vertex has; queries
/// that fill a list take time in proportion to its length. Lists are appended to unless an operation says otherwise.
class CMesh {
public:
    /// An empty mesh. pVoro (may be null), pCalc and the table stay the caller's and must outlive the mesh. Entries of the
    /// table may be added and replaced at any time; one that the mesh uses as a vertex must not be erased before reset().
    CMesh(Voro* pVoro, Calc* pCalc, std::map<CCD, Bundle*>& mCCDBundle);
    /// The same on mLocalCCDBundle.
    CMesh(Voro* pVoro, Calc* pCalc, USE_LOCAL_CCD2BUNDLEMAP);
    /// A copy of the alive triangles, in the order of vAllCT, and of the whole table, with bundles, points and a grid of its
    /// own. It outlives whatever the other mesh refers to. The copy has no dead triangles, no edges of degree 0 and no
    /// patches; triangles are unmarked, and edges start without a cachedValue and a direction. pVoro is null.
    /// Cost: O(n log n).
    CMesh(const CMesh& other, SELF_CONTAINED);
    ~CMesh();
    CMesh(const CMesh&) = delete;
    CMesh& operator=(const CMesh&) = delete;

    // ---- Building

    /// A new triangle on three different cells. Duplicates aren't looked for (CEdge::hasAdjT does that).
    /// vcdCube, cfg: the dual cube that it comes from, and the configuration of that cube.
    CTriangle* createT(VCD v0, VCD v1, VCD v2, VCD vcdCube, int cfg);
    /// The same as createT() for each triangle that doesn't exist yet, in their order, but on all workers.
    /// The mesh must be empty (assertion). vCell: ascending, each once.
    /// Cost: O(n).
    void fill(const VCCD& vCell, NewTriangles triangles);
    /// Removes the triangle from the lists of its three vertices. For CTriangle::kill only.
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
    /// Those of them that were created after pCT, which needn't be one of them; null: all. Cost: O(number of them).
    void getIncidentTSince(VCD vcd, const CTriangle* pCT, std::vector<CTriangle*>& vIncT) const;
    /// The triangles at a that have the corner b, in order of creation; all at a when b is a. Cost: O(n log n) for the n
    /// triangles on the edge, however many there are at a.
    void getAdjacentT(VCD a, VCD b, std::vector<CTriangle*>& vAdjT) const;
    /// The edges at a vertex. The whole vector is sorted by pointer, each edge once.
    void getIncidentCE(VCD vcd, std::vector<CEdge*>& vIncCE) const;

    // ---- Changing the mesh. Triangles are killed and created in the order of the lists above; a new one has no patch.

    /// Collapses the edge onto its higher end v1, which moves to the middle of the edge. The vertex may leave its cell, and
    /// duplicates may arise (see killDups). Both ends must have bundles.
    /// Returns v1; all ones, with nothing changed, for an edge of degree 0.
    CCD collapseEdgeToMidpoint(CEdge* pCE);
    /// Collapses the edge onto one of its ends: the triangles at src get the corner trg instead, those on the edge die.
    /// src, trg: the two ends of the edge (assertion).
    /// Returns false, with nothing changed, for an edge of degree 0 and when canCollapseWithoutDups(src, trg) is false.
    bool collapseEdgeToEndpoint(CEdge* pCE, VCD src, VCD trg);
    /// Whether both cells have triangles and a collapse of src onto trg creates no duplicate. Cost: O(k) for k triangles at
    /// src and on the edges opposite it.
    bool canCollapseWithoutDups(VCD src, VCD trg) const;
    /// Of alive triangles with the same corners kills all but the oldest. Sorts vAllCT by corners, then by creation, dead
    /// triangles included. Returns the number of killed triangles.
    /// Cost: O(n log n).
    int killDups();
    /// Removes degenerate triangles by splitting their neighbours over the longest edge (CEdge::trySplitNeigsKillT), from
    /// the back of vAllCT. Where that fails it prints a line and moves one of the corners (laplacianForOne). Some may stay.
    /// Every corner must have a bundle.
    void treatDegenerateT();
    /// Moves a vertex towards the mean of its neighbours, by at most a tenth of a cell edge. Prints a line per triangle.
    /// Returns false, with nothing moved, without triangles or when one of them would turn by more than 90 degrees.
    bool laplacianForOne(VCD vcd);

    // ---- Vertices of cells that had no points

    /// Gives the cell a bundle owned by the mesh, in place of what the table has there, and averages it (averageBundle).
    /// x, y, z: its point, which must be in the cell; DBL_MAX for all three: the midpoint of the cell.
    void addBundle(CCD ccd, double x, double y, double z);
    /// Moves the vertex slightly beyond the mean of its neighbours, those of sExtraVtx left out if there are three others.
    /// If that isn't in the cell, or no neighbour has a bundle, it moves to the midpoint of the cell. With fewer than two
    /// edges it isn't moved.
    void averageBundle(Bundle* pBundle);
    /// The same for all vExtraBundles in order; later ones see earlier ones moved.
    void averageBundles();
    /// Collapses the oldest edge at the bundle's cell that can be collapsed onto its other end. Returns false when none can.
    bool integrateBundle(Bundle* pBundle);
    /// The same for all vExtraBundles. Those that collapse are removed from vExtraBundles and sExtraVtx, but not from the
    /// table; the others are in order of creation afterwards.
    void integrateAdditionalBundles();

    // ---- Vertices. A code without a bundle, or whose bundle has no point, is an assertion.

    /// The bundle's point, owned by whoever made the bundle.
    Point3* getVtx(VCD vcd) const;
    Point3* getBundleVtx(VCD vcd) const { return getVtx(vcd); }
    Point3 getAvgPoint(VCD vcd) const { return *getVtx(vcd); }
    /// The midpoint of the cell.
    Point3 getMidPoint(VCD vcd) const { return pCalc->getMidPoint(vcd); }
    bool hasBundle(VCD vcd) const;

    // ---- Queries on the whole mesh, O(n)

    /// All edges in key order, by v0, then v1, degree 0 included. The first such query after new edges sorts them.
    void getCEdges(std::vector<CEdge*>& vOut) const;
    /// The edges of that degree in key order.
    /// deg: above 0; or -1: 3 and more, -5: 1, or 3 and more, -99: 1 and more. Any other number is an assertion.
    void getDegN(int deg, std::vector<CEdge*>& vOut) const;
    /// The edges of degree 3 and more.
    void getME(std::vector<CEdge*>& vOut) const { getDegN(-1, vOut); }
    /// In the order of vAllCT.
    void getAllTriangles(std::vector<CTriangle*>& vOut) const;
    void getAliveTriangles(std::vector<CTriangle*>& vOut) const;
    /// Three corners per alive triangle.
    void getTriangleCorners(std::vector<VCD>& vOut) const;
    void getTriangleCorners(std::vector<Point3*>& vOut) const;
    /// The same for the alive ones of the given triangles.
    void extractAliveVCD(const std::vector<CTriangle*>& vCT, std::vector<VCD>& vOut) const;
    /// The corners of the alive triangles; the whole vector is sorted, each corner once. Points are sorted by pointer. Cost:
    /// O(n log n).
    void getUsedCCD(std::vector<CCD>& vOut) const;
    void getPoints(std::vector<Point3*>& vOut) const;
    double getArea() const;

    // ---- Patches, in the order of their first triangles in vAllCT. createCCPatches and createPatches delete the patches
    // ---- that they made before. All three leave the alive triangles marked visited. Cost: O(n).

    /// One patch per piece: crosses edges of any degree.
    void createCCPatches();
    /// Patches bounded by borders, MEs and fences.
    /// pFences: edges that no patch crosses; null means none.
    /// vOutPatches: the patches are appended; the mesh owns them.
    /// mVCD2Patch: gets, for each triangle on an ME, its corner off the ME and its patch; the last patch of a corner wins.
    /// vMECE: the MEs are appended, then the whole vector is sorted and made unique.
    void createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOutPatches, std::map<VCD, CPatch*>& mVCD2Patch,
                       std::vector<CEdge*>& vMECE);
    /// The same for the triangles that aren't marked visited, leaving the mesh's own patches alone.
    /// vOwnerPatches: the patches are appended; they belong to the owner of the list, who deletes them before the mesh is
    /// reset or destroyed.
    void cutUnvisited(const std::set<CEdge*>* pFences, std::vector<CPatch*>& vOwnerPatches,
                      std::map<VCD, CPatch*>& mVCD2Patch, std::vector<CEdge*>& vMECE);
    /// Replaces the vector; the patches stay the mesh's.
    void getPatches(std::vector<CPatch*>& vOut) const { vOut = vPatches; }
    double getSideLen() const { return pCalc->getSideLen(); }
    Calc* getCalc() const { return pCalc; }
    std::map<CCD, Bundle*>& getRefToBundleMap() { return mCCDBundle; }
    /// Every triangle ever created. Its order may be changed, its content not.
    std::vector<CTriangle*>& getTriRef() { return vAllCT; }
    /// Vertices have numbers, so that a sweep over all triangles needs no look-up by code: those of the corners of a
    /// triangle of the mesh, and the code for each below getNumVertexNumbers().
    const NumberTriple& getVertexNumbers(const CTriangle& ct) const { return ct.aVertex; }
    std::size_t getNumVertexNumbers() const { return poolVertex->size(); }
    VCD getVertexOfNumber(std::uint32_t number) const { return poolVertex->at(number)->vcd; }
    /// Every triangle ever created by number, in order of creation.
    const TARN_TOOLS::SimplePool<CTriangle>& getTrianglePool() const { return *poolCT; }

    // ---- Drawings for debugging. VT_COARSE needs a grid in the visualizer, VT_REAL corners with bundles. The visualizer
    // ---- stays set to what was drawn (Visualizer3::setMesh). Cost: O(n), edges O(n log n).

    /// The alive triangles.
    void show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const;
    /// The edges by degree (Visualizer3::writeDegrees).
    void showDeg(Visualizer3* pVisualizer, VisType visType) const;
    /// Both into a file of their own; an assertion unless drawings for debugging are enabled.
    void debugShow(const std::string& filename, VisType visType, const std::string& color) const;

    // ---- Reports on standard output

    /// Used vertices and alive triangles. O(n log n).
    void getStatistics(std::size_t& numVertices, std::size_t& numTriangles) const;
    /// These, and the number of edges of each degree.
    void printStatistics(const std::string& name) const;
    // Checks for debugging, which print what they find. The first four return true when nothing is found, hasNaN returns
    // false then. Cost: O(n log n).
    bool checkNoDegenerate(const std::string& name) const;
    /// No two alive triangles on the same corners.
    bool checkNoDups(const std::string& name) const;
    /// No edge with a triangle has both ends at one point.
    bool checkNoAdjCoordDups(const std::string& name) const;
    /// Every used corner has a bundle, and every entry of the table has a bundle with that code and a point in that cell.
    bool checkCCD(const std::string& name) const;
    /// Some vertex in the table has a coordinate that isn't a number.
    bool hasNaN(const std::string& name) const;

    Voro* pVoro;  ///< not owned; null for a mesh of an Extractor, as that of a run is
    Calc* pCalc;  ///< not owned, unless the mesh is self-contained
    std::map<CCD, Bundle*>& mCCDBundle;
    std::map<CCD, Bundle*> mLocalCCDBundle;
    std::vector<CTriangle*> vAllCT;  ///< every triangle ever created, dead ones too; in order of creation unless reordered
    // Bundles created by addBundle or a copy live as long as the mesh, listed here or not: the table may refer to them.
    std::set<Point3*> sExtraVtx;         ///< vertices of vExtraBundles
    std::vector<Bundle*> vExtraBundles;  ///< bundles of addBundle that weren't collapsed
    std::vector<CPatch*> vPatches;       ///< owned

private:
    friend class CTriangle;

    /// What is kept for a cell that is or was a corner.
    struct Vertex {
        VCD vcd;
        std::atomic<Bundle* const*> pEntry;  ///< the cell's place in mCCDBundle; null: not looked up yet
        IncidenceLink link;                  ///< ends of the list of its triangles
        EdgeStar star;                       ///< edges of which it is the lower end
    };
    /// What addBundle makes, and a bundle of a self-contained mesh.
    struct ExtraBundle {
        Bundle bundle;
        Point3 vtx;
    };
    /// Where the links of the lists of triangles are, for Incidence.
    struct LinkAccess {
        const CMesh& mesh;
        IncidenceLink& cornerLink(std::uint32_t corner) { return mesh.poolCT->at(corner / 3)->aLink[corner % 3]; }
        IncidenceLink& vertexLink(std::uint32_t vertex) { return mesh.poolVertex->at(vertex)->link; }
    };

    struct EdgePair;
    class Bulk;

    static constexpr int FIRST_BLOCK = 256;                              // of a pool, in elements
    static constexpr std::size_t MAX_TRIANGLES = Incidence::VERTEX / 3;  // the corners are numbered below that mark

    static std::uint64_t hashOfVertex(VCD vcd) { return localHash(vcd >> 3, vcd); }

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
    void sortNewEdges() const;
    template <typename Visit>
    void forEachEdge(Visit&& visit) const;
    void moveTriangles(VCD src, VCD trg);
    void startPools(int numVertices = FIRST_BLOCK, int numEdges = FIRST_BLOCK, int numTriangles = FIRST_BLOCK);
    void destroyEdges();
    void deletePatches();
    CPatch* startPatch(std::vector<CPatch*>& vOwnerPatches);

    std::unique_ptr<Calc> pOwnCalc;  // of a self-contained mesh
    // Optional only so that reset() can create them again; never empty otherwise.
    std::optional<TARN_TOOLS::SimplePool<CTriangle>> poolCT;
    std::optional<TARN_TOOLS::SimplePool<CEdge>> poolCE;
    std::optional<TARN_TOOLS::SimplePool<Vertex>> poolVertex;
    TARN_TOOLS::SimplePool<ExtraBundle> poolExtraBundle;
    Random random;                          // of averageBundle
    HashIndex vertexIndex;                  // cell to position in poolVertex
    EdgeIndex edgeIndex;                    // pair of cells to position in poolCE
    OnDemand keyOrder;                      // of vSortedCE
    mutable std::vector<CEdge*> vSortedCE;  // all edges of poolCE in key order, when keyOrder is up to date
};

/// Two cells with v0<v1, for EdgeIndex.
struct CMesh::EdgePair {
    const CMesh& mesh;
    Vertex& lower;
    VCD higher;

    EdgeStar& star() const { return lower.star; }
    std::uint32_t& next(std::uint32_t edge) const { return mesh.poolCE->at(edge)->nextCE; }
    bool matches(std::uint32_t edge) const {
        const CEdge* pCE = mesh.poolCE->at(edge);
        return pCE->v1 == higher && pCE->v0 == lower.vcd;
    }
    std::uint64_t hash() const { return mixHash(lower.vcd ^ mixHash(higher)); }
};

/// Calls visit(edge) for every edge, in order of creation.
template <typename Visit>
void CMesh::forEachEdge(Visit&& visit) const {
    for (std::size_t i = 0; i < poolCE->size(); ++i)
        visit(*poolCE->at(i));
}

/// Calls visit(triangle) for the triangles at a vertex, in order of creation.
template <typename Visit>
void CMesh::forEachTriangleAt(VCD vcd, Visit&& visit) const {
    const std::uint32_t vertex = findVertex(vcd);
    if (vertex == HashIndex::NONE) return;
    LinkAccess access{*this};
    Incidence::forEachTriangle(access, vertex, [&](std::uint32_t number) { visit(poolCT->at(number)); });
}

}  // namespace TARN_KEL
