#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "EdgeIndex.h"
#include "HashIndex.h"
#include "Incidence.h"
#include "REdge.h"
#include "RTriangle.h"
#include "Random.h"
#include "SimplePool.h"
#include "TriangleEdges.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
struct CoarseSurface;
class RPatch;
class StepWatch;
class Visualizer3;

/// Where RMesh keeps the links of its lists "vertex to alive triangles", in step with its pools of vertices and triangles.
class VertexTriangles {
public:
    VertexTriangles();
    /// Starts the list of the next vertex of the mesh.
    void addVertex();
    /// Enters the next triangle of the mesh at its three vertices.
    void appendTriangle(std::uint32_t vertex0, std::uint32_t vertex1, std::uint32_t vertex2);

    /// Makes room for the links of the next triangles of the mesh, which are in no list yet.
    void addTriangles(std::size_t num);
    IncidenceLink& vertexLink(std::uint32_t vertex) const { return *poolVtxLink.at(vertex); }
    IncidenceLink& cornerLink(std::uint32_t corner) const { return poolCornerLinks.at(corner / 3)->aCorner[corner % 3]; }

    /// The links, for Incidence; to be copied to each thread.
    struct Links {
        const VertexTriangles& lists;
        IncidenceLink& vertexLink(std::uint32_t vertex) const { return lists.vertexLink(vertex); }
        IncidenceLink& cornerLink(std::uint32_t corner) const { return lists.cornerLink(corner); }
    };

private:
    struct CornerLinks {
        IncidenceLink aCorner[3];
    };
    TARN_TOOLS::SimplePool<IncidenceLink> poolVtxLink;
    TARN_TOOLS::SimplePool<CornerLinks> poolCornerLinks;
};

/// What RMesh keeps with each edge, for EdgeIndex.
struct EdgeLink {
    std::uint32_t next;    ///< the next edge of the same lower end
    std::uint32_t higher;  ///< the number of the higher end
};

/// A collapse that reduce may perform: of one end of an edge onto the other.
struct RECandidate {
    REdge* pRE = nullptr;  ///< the mesh's; null: no collapse
    int iDir = 0;          ///< 0: pVtx0 onto pVtx1, 1: the reverse
    double penalty = 0.0;  ///< of RMesh::getPenalty
};

/// The fine mesh: triangles in real coordinates, on which all post-processing runs. Mesh wraps it for the caller.
///
/// A vertex is a Point3* into the pool of the mesh. Vertices, triangles and edges are compared by address, and addresses
/// ascend with creation: order by address is order of creation, the same in every run. Each vertex has a dense index
/// (getVtxIndex) for plain arrays of whatever is kept per vertex.
///
/// Nothing is freed before the mesh is destroyed: dead triangles, edges of degree 0 and vertices without triangles (orphans)
/// stay readable where they are. The mesh may be non-manifold, and may have duplicate and degenerate triangles.
///
/// Invariants (checkDataStructures walks them):
/// 1. An edge has pVtx0 < pVtx1. There is at most one edge per pair of vertices. Every edge is found by its pair, except
///    those of degree 0 that collapses left over.
/// 2. pRE01 of an alive triangle connects corners 0 and 1, pRE12 and pRE02 likewise, and each of them lists the triangle.
/// 3. No edge lists a dead triangle.
/// 4. An alive triangle is once in the list of each of its three vertices, a dead one in none.
/// 5. A vertex that is found by its coordinates has these coordinates. Of several vertices at one place only the first one
///    is found, and none any more once that one has moved.
///
/// A null vertex, or one of another mesh, is an assertion in createT; queries find nothing at it.
/// At most 2^31 vertices, and a third of that number of triangles; one more is an assertion.
/// Const operations are safe on several threads while no thread changes the mesh. Changes belong to one thread.
class RMesh {
public:
    /// An empty mesh, to be filled by createVertex and createT.
    /// sideLen: length of the side of a grid cell, the unit for small moves.
    explicit RMesh(double sideLen);
    /// The coarse mesh in real coordinates: a vertex per bundle in order of codes, a triangle per alive triangle in the same
    /// order and orientation. pCMesh isn't changed, and isn't needed afterwards. Cost: O(n).
    explicit RMesh(CMesh* pCMesh);
    /// The same of what was taken from a coarse mesh.
    explicit RMesh(const CoarseSurface& surface);
    ~RMesh();
    RMesh(const RMesh&) = delete;
    RMesh& operator=(const RMesh&) = delete;

    // ---- Building ----

    /// The vertex at p, created if there is none yet. It is found by its coordinates.
    /// bFailIfExists: return null if there is one already.
    Point3* createVertex(const Point3& p, bool bFailIfExists);
    Point3* createVertex(double x, double y, double z, bool bFailIfExists);
    /// A new vertex at p, even if there is one already. It is found by its coordinates only if it is the first there.
    Point3* createVertexApart(const Point3& p);
    /// A new triangle on three different vertices of this mesh; missing edges are created. Duplicates aren't looked for.
    /// When an assertion throws, the mesh is as before.
    RTriangle* createT(Point3* p0, Point3* p1, Point3* p2);
    /// Removes the triangle from the lists of its three vertices. For RTriangle::kill only.
    void unregisterTriangle(RTriangle* pRT);

    // ---- Queries at an element; vectors are appended to ----

    /// The edge of the pair, in either order, dead or alive; null when the pair never had a triangle, or a collapse has
    /// removed the edge.
    REdge* getEdge(const Point3* p, const Point3* q) const;
    bool hasAliveEdge(const Point3* p, const Point3* q) const;
    bool hasVertex(const Point3& p) const;
    /// The alive triangles at p, in the order in which p became their corner.
    void getIncidentT(const Point3* p, std::vector<RTriangle*>& vIncT) const;
    /// The edges at p. The whole vector is sorted by pointer, each edge once. Cost: O(n log n).
    void getIncidentRE(const Point3* p, std::vector<REdge*>& vIncRE) const;
    /// The edges opposite p of the triangles at p, in the order of the triangles, with repeats.
    void getRingRE(const Point3* p, std::vector<REdge*>& vRing) const;
    /// The neighbours of p. The whole vector is sorted by pointer, each vertex once. Cost: O(n log n).
    void getRingVtx(const Point3* p, std::vector<Point3*>& vRing) const;
    /// The alive triangles on the edge of two different vertices.
    void getAdjacentT(const Point3* p0, const Point3* p1, std::vector<RTriangle*>& vAdjT) const;

    // ---- Queries on the whole mesh, O(n); vectors are appended to ----

    /// The edges of that degree, ordered by lower, then by higher vertex.
    /// deg: 0 or more; or -1: 3 and more, -99: 1 and more. Any other number is an assertion.
    /// Cost: O(n), but O(n log n) when one vertex has a large part of the edges.
    void getDegN(int deg, std::vector<REdge*>& vDegN) const;
    std::size_t getNumT() const;
    /// Number of edges ever created.
    std::size_t getNumRE_all() const { return vRE.size(); }
    /// Number of vertices ever created.
    std::size_t getNumVtx_all() const { return poolVtx.size(); }
    /// From 0 to getNumVtx_all() - 1, ascending with the address. p must be of this mesh.
    std::size_t getVtxIndex(const Point3* p) const { return poolVtx.indexOf(p); }
    /// The vertex of that number.
    Point3* getVtx(std::size_t index) const { return poolVtx.at(index); }
    /// True for a vertex of this mesh.
    bool owns(const Point3* p) const { return poolVtx.owns(p); }
    double getSideLen() const { return sideLen; }
    /// Mean length of the alive edges; -1.0 when there is none.
    double getAvgLen() const;
    double getArea() const;
    void getREdges(std::vector<REdge*>& vOut) const;
    std::vector<REdge*>& getREdgesRef() { return vRE; }
    const std::vector<REdge*>& getREdgesRef() const { return vRE; }
    void getAllTriangles(std::vector<RTriangle*>& vOut) const;
    void getAliveTriangles(std::vector<RTriangle*>& vOut) const;
    /// Every used vertex once, in order of creation. The vector must be empty.
    void getPoints(std::vector<Point3*>& vPoints) const;
    /// Three corners per alive triangle.
    void getTriangleCorners(std::vector<Point3*>& vCorners) const;
    void getTriangleCorners(std::vector<Point3>& vCorners) const;
    /// vVertices: as getPoints; must be empty.
    /// vIndices: for each corner of getTriangleCorners its position in vVertices is appended.
    void getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) const;
    /// The patches stay the mesh's.
    void getPatches(std::vector<RPatch*>& vOut) const { vOut = vPatches; }
    void resetVisited();

    // ---- Operators: each keeps the invariants; none creates a vertex ----

    /// Collapses pSrc onto pTrg. Triangles at both are killed. The other triangles at pSrc get pTrg as their corner and come
    /// after those that were at pTrg before; they are the same objects. An edge at pSrc gets pTrg as its end. If pTrg has an
    /// edge to that neighbour already, that edge takes over the triangles; the one at pSrc is left empty, with its old ends,
    /// and isn't found any more. pSrc becomes an orphan. Neither geometry nor duplicates are checked: ask
    /// canCollapseWithoutDups before, or call removeDups afterwards.
    /// pSrc, pTrg: they need no common edge, but must not have a dead one.
    /// Cost: O(k log k) for k triangles at pSrc.
    void exchangeCorner(Point3* pSrc, Point3* pTrg);
    /// Whether a collapse of pSrc onto pTrg creates no duplicate. Cost: O(k) for the k triangles at pSrc and on the edges
    /// opposite it.
    bool canCollapseWithoutDups(const Point3* pSrc, const Point3* pTrg) const;
    /// Moves a vertex and drops the cached normals around it.
    /// newPoint: another place, without NaN, where no vertex is found; else an assertion, with nothing changed.
    void updateVertex(Point3* pVtx, const Point3& newPoint);
    /// Moves a vertex towards the mean of its neighbours, by at most a tenth of the side length. Prints a line per triangle.
    /// Returns false, with nothing moved, when there is no neighbour or no free place, when a normal would turn by more than
    /// 170 degrees, and when the side length isn't positive.
    bool laplacianForOne(Point3* pVtx);
    /// Of the triangles with the same three corners, in either orientation, kills all but one.
    /// Returns how often a triangle followed its duplicate in the list of an edge: a plain pair counts three times, once for
    /// each edge.
    /// Cost: O(n); for an edge of d triangles O(d log d), and O(d^2) at worst when d of them are killed.
    std::size_t removeDups();
    /// Removes degenerate triangles by collapses (collapseCheapest), then duplicates. A triangle counts as degenerate when
    /// its angle at corner 0 is below 0.01 or above 179.99 degrees, or another corner is at the same place as corner 0; thin
    /// triangles with a fair angle at corner 0 stay. Counts under the step "RM_kdeg".
    /// bKeepManifold: only collapses that canCollapseManifold allows; a triangle without one stays.
    /// Cost: O(n); for each collapse with k triangles around mostly O(k log k), at worst O(k^2).
    void killDegenerate(bool bKeepManifold = false);
    /// Cuts the mesh into patches, connected over edges of degree 2, in place of the former patches, and turns each patch to
    /// agree with its oldest triangle. In a patch that can't be oriented conflicts remain along some edges. Counts under the
    /// step "RM_cpo". Returns the number of patches. Cost: O(n).
    std::size_t createPatchesOrient();
    /// Cuts the alive triangles that aren't marked visited into patches, in place of the former patches, and marks them. A
    /// patch is connected over edges of degree 2. Call resetVisited() before.
    /// maxSize: a patch has fewer triangles than that, or one.
    /// Cost: O(n).
    void createPatches(unsigned long maxSize);
    /// Appends the closed fans of triangles around a vertex. When one of them isn't closed, it warns and appends all
    /// triangles at the vertex as the only fan. Cost: O(k log k).
    void getUmbrellas(const Point3* pCenter, std::vector<std::vector<RTriangle*>>& vUmbrellas) const;

    // ---- Reduction by collapses onto end points: no vertex moves ----

    /// Collapses vertices onto neighbours, cheapest first, until no queued collapse is within the limits. A border vertex
    /// moves only along the border, and only where that is straight within 10 degrees. No collapse closes a tunnel of three
    /// edges, which would pinch the surface: closed and manifold meshes stay so. Thin triangles may remain: call
    /// killDegenerate. Patches keep the dead triangles. Counts under the steps "RM_redborder", "RM_redprioq" and
    /// "RM_redprocprioq"; when the listener throws, the mesh is in order, with the collapses so far.
    /// maxSqLen: largest squared length of a collapsed edge.
    /// maxDevDeg: largest turn of a normal by one collapse, in degrees. With a limit that is NaN nothing happens.
    /// Returns the number of triangles that died with the collapsed edges. It doesn't depend on the number of workers.
    /// Cost: O(n log n) for vertices of bounded degree; a vertex of k triangles costs O(k^2).
    int reduce(double maxSqLen, double maxDevDeg);
    /// What the collapse of the edge in direction iDir costs: the mean turn of the normals in units of 0.01 radians, plus
    /// the square root of the edge's length in side lengths. Triangles without area don't count, and print a line.
    /// vIncT: overwritten by the triangles at the source; empty for an edge that is dead or too long.
    /// Returns the largest double for a collapse that isn't allowed: the edge is dead or too long, a normal would turn by
    /// more than maxDevRad radians, a triangle would have an area below 5e-11, a duplicate would arise, or the sum isn't
    /// finite.
    /// Cost: O(k) for k triangles at the source and on the edges opposite it.
    double getPenalty(const REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const;
    /// The candidate for that edge and direction; one without an edge when the collapse isn't allowed. vIncT: as above.
    RECandidate getRECand(REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const;
    /// Writes the candidates of the edges [from, to) of vInRE to the slots [2 * from, 2 * to) of vEntries: a task of the
    /// pool.
    void createREC_MT(std::size_t from, std::size_t to, double maxSqLen, double maxDevRad, const std::vector<REdge*>& vInRE,
                      std::vector<RECandidate>& vEntries, int threadId) const;
    /// The allowed candidates of the edges in their order, direction 0 before 1; vEntries is overwritten. Uses the pool.
    void getPrioqEntries(double maxDevRad, double maxSqLen, const std::vector<REdge*>& vInRE,
                         std::vector<RECandidate>& vEntries) const;

    // ---- Flips: energy and gain are those of REdgeEnergy ----

    /// The gain of the flip of an edge, and the edge.
    using FlipCandidate = std::pair<double, REdge*>;
    /// The flips that gain at least minImprovement or at least 0.0, smallest gain first, equal ones in the order of vInRE.
    /// Corners opposite an edge that are at the same place are moved apart. Counts under the step "RM_gEfCandMT", with the
    /// temperature appended when that is above 0.0.
    /// temperature: other than 0.0: losing flips are candidates too, with probability exp(gain / temperature). The draw
    /// depends on the position in vInRE and on the temperature alone.
    /// vImpRE: the result; must be empty.
    /// Cost: O(n), on the pool.
    void getEdgeFlipCandidates_MT(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                  std::vector<FlipCandidate>& vImpRE);
    /// One task of it: writes vImpRE[i] for the edges [from, to) of vInRE whose flip is a candidate. An edge whose opposite
    /// corners are at the same place gets the gain REdgeEnergy::IMPOSSIBLE: only the calling thread may move them.
    void getEdgeFlipCandidates_MT_priv(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                       std::size_t from, std::size_t to, std::vector<FlipCandidate>& vImpRE, int threadId);

    // ---- Reports on standard output ----

    /// Prints a histogram of the angles in degrees between the normals at edges with two non-degenerate triangles, and their
    /// mean. Returns the mean; DBL_MAX without such an edge.
    double printEnergy(const std::string& name) const;

    /// Triangles, and edges by degree.
    void printStatistics(const std::string& name) const;
    /// Whether no two alive triangles have the same three corners. Cost: O(n log n).
    bool checkNoDups(const std::string& name) const;
    /// Whether no alive triangle is without area; prints their number.
    bool checkNoDegenerate(const std::string& name) const;
    /// Checks the invariants; a violated one is an assertion, and its report is followed by the name. Cost: O(n log n).
    void checkDataStructures(const std::string& name) const;

    // ---- Drawing ----

    /// Draws the alive triangles in the colour, and over them the alive edges by degree (Visualizer3::writeDegrees).
    /// bNormals: draw the normals too.
    /// bBackfaces: see Visualizer3::setBackfaces, which stays set.
    void show(Visualizer3* pVisualizer, const std::string& color, bool bNormals, bool bBackfaces) const;

    // ---- Data, for the operators of the library ----

    HashIndex mVtx;                 ///< coordinates (placeHash) to index in poolVtx
    EdgeIndex mRE;                  ///< pair of vertices to index in poolRE
    std::vector<RTriangle*> vRT;    ///< every triangle ever created, in order of creation
    std::vector<REdge*> vRE;        ///< every edge ever created, in order of creation
    std::vector<RPatch*> vPatches;  ///< owned
    VertexTriangles mmVtxT;         ///< vertex to alive triangles
    TARN_TOOLS::SimplePool<Point3> poolVtx;
    TARN_TOOLS::SimplePool<RTriangle> poolRT;
    TARN_TOOLS::SimplePool<REdge> poolRE;
    TARN_TOOLS::SimplePool<EdgeStar> poolStar;    ///< of mRE, in step with poolVtx
    TARN_TOOLS::SimplePool<EdgeLink> poolLinkRE;  ///< of mRE, in step with poolRE
    double sideLen;
    StepWatch* pWatch = nullptr;  ///< not owned; told of all triangles, and asked by steps that must not make any cross

private:
    struct EdgePair;

    std::uint32_t vtxNumber(const Point3* p) const { return static_cast<std::uint32_t>(poolVtx.indexOf(p)); }
    Point3* addVertex(const Point3& p);
    Point3* createVertexApart(const Point3& p, std::uint64_t hash);
    Point3* createVertex(const Point3& p, std::uint64_t hash, bool bFailIfExists);
    Point3* findVertex(const Point3& p, std::uint64_t hash) const;
    REdge* findOrMakeEdge(Point3* pLower, Point3* pHigher);
    void enter(REdge* pRE);
    void takeOut(const REdge* pRE);
    REdge* rekey(REdge* pRE, const Point3* pSrc, Point3* pTrg);
    void killBetween(const Point3* pSrc, const Point3* pTrg);
    bool findFreePlace(Point3& p, double maxStep);
    void deletePatches();
    void enterInPatches();
    bool isKeyed(const REdge* pRE) const;
    void judgeFolded(double minImprovement, double temperature, std::vector<FlipCandidate>& vImpRE);
    void fill(const std::vector<NumberTriple>& vCorner);
    template <typename Visit>
    void forEachIncident(const Point3* p, Visit&& visit) const;
    void appendInKeyOrder(const std::vector<REdge*>& vSelected, std::vector<REdge*>& vOut) const;
    void checkEdges() const;
    void checkTriangles() const;
    void checkIncidence() const;
    void checkVertexTable() const;

    Random random;                      // of laplacianForOne
    std::vector<RTriangle*> vScratchT;  // of exchangeCorner, which is called too often to allocate each time
    std::vector<REdge*> vScratchRE;
};

/// Calls visit(triangle) for the alive triangles at p, in the order in which p became their corner.
template <typename Visit>
void RMesh::forEachIncident(const Point3* p, Visit&& visit) const {
    if (!poolVtx.owns(p)) return;
    Incidence::forEachTriangle(mmVtxT, vtxNumber(p), [&](std::uint32_t triangle) { visit(poolRT.at(triangle)); });
}

}  // namespace TARN_KEL
