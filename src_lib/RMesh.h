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
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class RPatch;
class Visualizer3;

/// Where RMesh keeps the links of its lists "vertex to alive triangles", in step with its pools of vertices and triangles.
class VertexTriangles {
public:
    VertexTriangles();
    /// Starts the list of the next vertex of the mesh.
    void addVertex();
    /// Enters the next triangle of the mesh at its three vertices.
    void appendTriangle(std::uint32_t vertex0, std::uint32_t vertex1, std::uint32_t vertex2);

    IncidenceLink& vertexLink(std::uint32_t vertex) const { return *poolVtxLink.at(vertex); }
    IncidenceLink& cornerLink(std::uint32_t corner) const { return poolCornerLinks.at(corner / 3)->aCorner[corner % 3]; }

private:
    struct CornerLinks {
        IncidenceLink aCorner[3];
    };
    TARN_TOOLS::SimplePool<IncidenceLink> poolVtxLink;
    TARN_TOOLS::SimplePool<CornerLinks> poolCornerLinks;
};

/// What RMesh keeps with each edge for EdgeIndex.
struct EdgeLink {
    std::uint32_t next;    ///< the next edge of the same lower end
    std::uint32_t higher;  ///< the number of the higher end
};

/// A collapse that reduce may make: of one end of an edge onto the other. A plain value.
struct RECandidate {
    REdge* pRE = nullptr;  ///< the mesh's; null: no collapse
    int iDir = 0;          ///< 0: pVtx0 goes to pVtx1, 1: the reverse
    double penalty = 0.0;  ///< of RMesh::getPenalty
};

/// The fine mesh: triangles in real coordinates, on which all post-processing runs. Mesh wraps it for the caller.
///
/// A vertex is a Point3* into the pool of the mesh, and everything hangs on that pointer. Vertices, triangles and edges are
/// compared by address, and the pools hand out ascending addresses: so order by address is order of creation, the same in
/// every run, and a vertex has a dense index (getVtxIndex) for plain arrays of whatever is kept per vertex.
///
/// Nothing is freed before the mesh dies: dead triangles, edges of degree 0 and vertices without triangles (orphans) stay
/// readable where they are. The mesh may be non-manifold, and may hold duplicate and degenerate triangles.
///
/// Invariants (checkDataStructures walks them):
/// 1. An edge has pVtx0 < pVtx1; one edge at most per pair of vertices; every edge is found by its pair, except one of
///    degree 0 that a collapse left over.
/// 2. The three edges of an alive triangle have the end points that their names say, and the triangle stands on each.
/// 3. No dead triangle stands on an edge.
/// 4. An alive triangle stands at each of its three vertices once, a dead one at none.
/// 5. A vertex that is found by its coordinates has these coordinates. Of several vertices at one place one at most is
/// found:
///    the first that came, none any more once that one has moved.
///
/// A vertex that isn't of this mesh, or null, is an assertion in createT; queries find nothing at it.
/// At most 2^31 vertices and a third of that of triangles; one more is an assertion.
/// Queries are const and safe from several threads while nobody changes the mesh; changes belong to one thread.
class RMesh {
public:
    /// An empty mesh to be filled by createVertex and createT. sideLen: edge of a grid cell, the unit for small moves.
    explicit RMesh(double sideLen);
    /// The coarse mesh in real coordinates: a vertex for each of its bundles in order of their codes, a triangle for each
    /// alive one in the same order and orientation. pCMesh isn't changed and isn't needed afterwards. O(n).
    explicit RMesh(CMesh* pCMesh);
    ~RMesh();
    RMesh(const RMesh&) = delete;
    RMesh& operator=(const RMesh&) = delete;

    // ---- Building ----

    /// A vertex at p that can be found by its coordinates. If there is one at p already: that one, or null with
    /// bFailIfExists.
    Point3* createVertex(const Point3& p, bool bFailIfExists);
    Point3* createVertex(double x, double y, double z, bool bFailIfExists);
    /// A vertex of its own at p, whatever there is at p already. It can be found by its coordinates where it is the first.
    Point3* createVertexApart(const Point3& p);
    /// A triangle on three different vertices of this mesh, with edges made where there are none. Duplicates aren't looked
    /// for. When an assertion stops it the mesh is as before.
    RTriangle* createT(Point3* p0, Point3* p1, Point3* p2);
    /// Takes the triangle off its three vertices, at which it must stand. For RTriangle::kill only.
    void unregisterTriangle(RTriangle* pRT);

    // ---- Queries at an element; all but the getters append to the vector ----

    /// The edge of the pair, in either order, dead or alive; null when the pair never had a triangle, or a
    /// collapse took the edge away.
    REdge* getEdge(const Point3* p, const Point3* q) const;
    bool hasAliveEdge(const Point3* p, const Point3* q) const;
    /// The vertex is the end of an edge of one triangle.
    bool isAtBorder(const Point3* p) const;
    bool hasVertex(const Point3& p) const;
    /// The alive triangles at p, in the order in which they came to p.
    void getIncidentT(const Point3* p, std::vector<RTriangle*>& vIncT) const;
    /// The edges of these triangles that end at p, each once. The whole vector is put in order of creation: O(n log n).
    void getIncidentRE(const Point3* p, std::vector<REdge*>& vIncRE) const;
    /// The edges of these triangles opposite p, in the order of the triangles, with repeats.
    void getRingRE(const Point3* p, std::vector<REdge*>& vRing) const;
    /// The other corners of these triangles, each once. The whole vector is put in order of creation: O(n log n).
    void getRingVtx(const Point3* p, std::vector<Point3*>& vRing) const;
    /// The alive triangles on the edge of two different vertices.
    void getAdjacentT(const Point3* p0, const Point3* p1, std::vector<RTriangle*>& vAdjT) const;

    // ---- Queries on the whole mesh, O(n); vectors are appended to ----

    /// Edges of degree deg, -1: 3 and more, -99: 1 and more; ordered by lower, then by higher vertex. O(n log n) when a
    /// vertex has a large part of the edges.
    void getDegN(int deg, std::vector<REdge*>& vDegN) const;
    std::size_t getNumT() const;
    /// Edges ever made.
    std::size_t getNumRE_all() const { return vRE.size(); }
    /// Vertices ever made.
    std::size_t getNumVtx_all() const { return poolVtx.size(); }
    /// 0 to getNumVtx_all() - 1, ascending with the address; p must be of this mesh. Constant time.
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
    /// As getPoints into vVertices, which must be empty, and appended to vIndices for each corner of getTriangleCorners its
    /// position in that list.
    void getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) const;
    /// The patches stay the mesh's.
    void getPatches(std::vector<RPatch*>& vOut) const { vOut = vPatches; }
    void resetVisited();

    // ---- Operators: each keeps the invariants; none makes a vertex ----

    /// Collapses pSrc onto pTrg: the triangles on both die, the others at pSrc stay the objects they are with pTrg as their
    /// corner, behind those that are at pTrg already. An edge at pSrc moves along, or hands its triangles to the edge that
    /// is there; then it stays behind empty, with its old ends, and isn't found any more. pSrc becomes an orphan. The two
    /// need no common edge, but they must not have a dead one. Geometry isn't looked at. Duplicates aren't either: ask
    /// canCollapseWithoutDups before or call removeDups afterwards. O(k log k) for k triangles at pSrc.
    void exchangeCorner(Point3* pSrc, Point3* pTrg);
    /// True when no triangle at pSrc has its opposite edge in common with one at pTrg, so that a collapse of one onto the
    /// other makes no duplicates. O(k log k) for k triangles at both.
    bool canCollapseWithoutDups(const Point3* pSrc, const Point3* pTrg) const;
    /// True when the two have an edge whose collapse, in a mesh of manifold surfaces, leaves these as they are but for the
    /// place of the vertex: they have no neighbours in common but the corners opposite their edge, no ring edge, and an
    /// inner edge isn't a bridge between borders. A triangle alone may vanish. O(k log k) for k triangles at both.
    bool canCollapseManifold(const Point3* pSrc, const Point3* pTrg) const;
    /// Moves a vertex to a place that is another one, a number, and not that of any vertex found by its coordinates; else an
    /// assertion with nothing changed. The triangles around forget their normals.
    void updateVertex(Point3* pVtx, const Point3& newPoint);
    /// Moves a vertex to the mean of its neighbours, or towards it by a tenth of the side length, and prints what normals
    /// would turn by. False, with nothing moved: no neighbours; a normal would turn by more than 170 degrees; no free place;
    /// a side length that isn't positive.
    bool laplacianForOne(Point3* pVtx);
    /// Leaves one of the triangles with the same three corners, however they run round. Returns how often a triangle stood
    /// behind its like in the list of an edge: a plain pair counts for each of its three edges. O(n), O(d log d) for an edge
    /// of d triangles, and at worst O(d^2) for d of them killed there.
    std::size_t removeDups();
    /// Collapses away the triangles whose angle at corner 0 is below 0.01 or above 179.99 degrees, or whose corner 0
    /// coincides with another one, along the edge that turns the normals around it least; then removes duplicates. A thin
    /// triangle with a fair angle at corner 0 stays. Counts under the step "RM_kdeg", so a run must be open. O(n), and
    /// for each collapse with k triangles at the corners of the degenerate one mostly O(k log k), at worst O(k^2).
    /// bKeepManifold: only collapses that canCollapseManifold allows; a triangle without one stays.
    void killDegenerate(bool bKeepManifold = false);
    /// One step of killDegenerate: of the edges at the corners of the triangle, collapses the one that turns the normals
    /// around the corner least. Returns the vertex that is left; null, with nothing changed, when none may be collapsed,
    /// which can't be without bKeepManifold.
    Point3* collapseCheapest(const RTriangle& rt, bool bKeepManifold);
    /// Makes the patches anew: what hangs together over edges of degree 2, each piece turned to agree with its oldest
    /// triangle. On a piece that can't be oriented conflicts stay along some edges. Returns the number of patches. Counts
    /// under the step "RM_cpo", so a run must be open. O(n).
    std::size_t createPatchesOrient();
    /// Makes the patches anew from the alive triangles that aren't marked as visited, and marks them: connected over edges
    /// of degree 2, each of one triangle, or of fewer than maxSize. Call resetVisited() before. O(n).
    void createPatches(unsigned long maxSize);
    /// Appends the closed fans of triangles around a vertex. When one of them isn't closed: a warning, and all triangles at
    /// the vertex as the only list. O(k log k).
    void getUmbrellas(const Point3* pCenter, std::vector<std::vector<RTriangle*>>& vUmbrellas) const;

    // ---- Reduction: collapses onto end points. Where vertices are stays, and which are used ----

    /// Collapses edges of at most maxSqLen squared length, cheapest first, that turn no normal around them by more than
    /// maxDevDeg degrees, until next to none is left (what changed last isn't asked again); both limits hold for each
    /// collapse, against the triangles as it finds them. A border vertex goes only along a border that is straight there
    /// within 10 degrees, and no collapse closes a tunnel of three edges, which would pinch the surface. A limit that isn't
    /// a number: nothing happens. Returns the number of triangles that went with the collapsed edges.
    ///
    /// Closed and manifold meshes stay so. Thin triangles that no collapse looked at may stay: call killDegenerate. Patches
    /// keep the dead triangles. Counts under the steps "RM_redborder", "RM_redprioq" and "RM_redprocprioq", so a run must be
    /// open. When the listener throws, the collapses so far stand and the mesh is in order. Uses the pool; the result
    /// doesn't depend on the number of workers. O(n log n) for vertices of bounded degree; a vertex of k triangles costs
    /// O(k^2).
    int reduce(double maxSqLen, double maxDevDeg);
    /// What the collapse of the edge by iDir costs: the mean turn of the normals in units of 0.01 radians plus the square
    /// root of the edge's length in side lengths. The largest double when it isn't allowed: the edge is dead or too long, a
    /// normal would turn by more than maxDevRad radians or be lost (a triangle of less than 5e-11 in area, whatever the
    /// scale), two triangles would have the same corners, or the sum isn't finite.
    /// vIncT: overwritten by the triangles at the vertex that goes; empty for an edge that is too long or dead. A triangle
    /// without area among them has no say, and a line on standard output tells of it. O(k) for k triangles at that vertex
    /// and on the edges opposite it. Safe on several threads.
    double getPenalty(const REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const;
    /// The candidate of that edge and direction; one without an edge when the collapse isn't allowed. vIncT: as above.
    RECandidate getRECand(REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const;
    /// The candidates of the edges [from, to) of vInRE into the slots [2 * from, 2 * to) of vEntries: a task of the pool.
    void createREC_MT(std::size_t from, std::size_t to, double maxSqLen, double maxDevRad, const std::vector<REdge*>& vInRE,
                      std::vector<RECandidate>& vEntries, int threadId) const;
    /// The allowed candidates of the edges in their order, direction 0 before 1; vEntries is overwritten. On the pool.
    void getPrioqEntries(double maxDevRad, double maxSqLen, const std::vector<REdge*>& vInRE,
                         std::vector<RECandidate>& vEntries) const;

    // ---- Flips: the energy and what a flip gains are those of REdgeEnergy ----

    /// What the flip of an edge gains, and the edge.
    using FlipCandidate = std::pair<double, REdge*>;
    /// The flips of the edges of vInRE that gain at least minImprovement or at least 0.0, the smallest gain first, equal
    /// ones in the order of vInRE. With a temperature other than 0.0 also each of the others with probability
    /// exp(gain / temperature); the draw depends on the position in vInRE and the temperature alone. vImpRE must be empty.
    /// Uses the pool; the calling thread then moves opposite corners that are at the same place apart. Counts under the step
    /// "RM_gEfCandMT", with the temperature behind it when that is above 0.0, so a run must be open. O(n), sorting included.
    void getEdgeFlipCandidates_MT(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                  std::vector<FlipCandidate>& vImpRE);
    /// One task of it: vImpRE[i] for the edges at positions from to to - 1, left alone where the flip is out. An edge whose
    /// opposite corners are at the same place gets REdgeEnergy::IMPOSSIBLE and the edge: it waits for a thread that may move
    /// them. Changes nothing else. threadId isn't used.
    void getEdgeFlipCandidates_MT_priv(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                       std::size_t from, std::size_t to, std::vector<FlipCandidate>& vImpRE, int threadId);

    // ---- Reports on standard output ----

    /// The angles between the normals on the edges with two good triangles, in degrees: their histogram and their mean,
    /// which is returned; DBL_MAX when there is no such edge.
    double printEnergy(const std::string& name) const;

    /// Triangles, and edges by degree.
    void printStatistics(const std::string& name) const;
    /// Whether two alive triangles have the same three corners; true when there are none. O(n log n).
    bool checkNoDups(const std::string& name) const;
    /// The number of alive triangles without area; true when there are none.
    bool checkNoDegenerate(const std::string& name) const;
    /// Walks the invariants; a violated one is an assertion, and its report is followed by the name. O(n log n).
    void checkDataStructures(const std::string& name) const;

    // ---- Drawing ----

    /// The alive triangles in the colour, with bNormals their normals too, and over them the alive edges by degree
    /// (Visualizer3::writeDegrees). So a closed manifold mesh is a plain surface, and each border or non-manifold edge
    /// stands out. bBackfaces: see Visualizer3::setBackfaces, which stays set. O(n).
    void show(Visualizer3* pVisualizer, const std::string& color, bool bNormals, bool bBackfaces) const;

    // ---- Data, for the operators of the library ----

    HashIndex mVtx;                 ///< coordinates (placeHash) to index in poolVtx
    EdgeIndex mRE;                  ///< pair of vertices to index in poolRE
    std::vector<RTriangle*> vRT;    ///< every triangle ever made, in order of creation
    std::vector<REdge*> vRE;        ///< every edge ever made, in order of creation
    std::vector<RPatch*> vPatches;  ///< owned
    VertexTriangles mmVtxT;         ///< vertex to alive triangles
    TARN_TOOLS::SimplePool<Point3> poolVtx;
    TARN_TOOLS::SimplePool<RTriangle> poolRT;
    TARN_TOOLS::SimplePool<REdge> poolRE;
    TARN_TOOLS::SimplePool<EdgeStar> poolStar;    ///< of mRE, in step with poolVtx
    TARN_TOOLS::SimplePool<EdgeLink> poolLinkRE;  ///< of mRE, in step with poolRE
    double sideLen;

private:
    struct EdgePair;

    std::uint32_t vtxNumber(const Point3* p) const { return static_cast<std::uint32_t>(poolVtx.indexOf(p)); }
    Point3* addVertex(const Point3& p);
    Point3* findVertex(const Point3& p, std::uint64_t hash) const;
    REdge* findOrMakeEdge(Point3* pLower, Point3* pHigher);
    void enter(REdge* pRE);
    void takeOut(const REdge* pRE);
    REdge* rekey(REdge* pRE, const Point3* pSrc, Point3* pTrg);
    void killBetween(const Point3* pSrc, const Point3* pTrg);
    bool findFreePlace(Point3& p, double maxStep);
    void deletePatches();
    template <typename Expand>
    void growPatch(RTriangle* pSeed, Expand&& expand);
    void enterInPatches();
    bool isKeyed(const REdge* pRE) const;
    void judgeFolded(double minImprovement, double temperature, std::vector<FlipCandidate>& vImpRE);
    void reserve(std::size_t numT);
    template <typename Visit>
    void forEachIncident(const Point3* p, Visit&& visit) const;
    void appendInKeyOrder(const std::vector<REdge*>& vSelected, std::vector<REdge*>& vOut) const;
    void checkEdges() const;
    void checkTriangles() const;
    void checkIncidence() const;
    void checkVertexTable() const;

    Random random;                      // what there is of chance in the operators
    std::vector<RTriangle*> vScratchT;  // of exchangeCorner, which is called too often to ask for memory each time
    std::vector<REdge*> vScratchRE;
};

}  // namespace TARN_KEL
