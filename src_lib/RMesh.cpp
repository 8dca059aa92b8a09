// The fine mesh consists of three pools, and of tables with dense 32-bit indices into them.
//
//   vertex by coordinates   mVtx     hash table of positions in poolVtx
//   edge by its vertices    mRE      a short list of edges at the lower vertex
//   triangles of a vertex   mmVtxT   a linked list of the corners of the triangles, in the order in which they were appended
//
// Ordered maps would do the same with a node of 64 bytes and a dozen cache misses for each entry; a mesh of two million
// triangles has ten million entries. The tables keep no keys but compare with the elements themselves, so whoever changes
// an element's key takes it out before and enters it afterwards.
//
// The conversion from the coarse mesh goes through the bundles in the order of their codes. So vertices that are near in
// space are near in memory, and their indices ascend with the codes.
#include "RMesh.h"

#include <algorithm>
#include <new>
#include <utility>

#include "CoarseSurface.h"
#include "RPatch.h"
#include "StepWatch.h"
#include "bulkMesh.h"
#include "geometryFunctions.h"
#include "handOver.h"
#include "lookUp.h"
#include "meshCore.h"
#include "processMemory.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_VERTICES = Incidence::VERTEX;
constexpr std::size_t MAX_TRIANGLES = Incidence::VERTEX / 3;  // their corners are numbered below that mark

std::uint32_t toIndex(std::size_t position) {
    return static_cast<std::uint32_t>(position);
}

}  // namespace

// ---- Lists at the vertices ----------------------------------------------------------------------------------------------

VertexTriangles::VertexTriangles() {
    poolVtxLink.init(3, -1);
    poolCornerLinks.init(3, -1);
}

void VertexTriangles::addVertex() {
    IncidenceLink* pLink = poolVtxLink.nextElement();
    *pLink = Incidence::emptyList(toIndex(poolVtxLink.indexOf(pLink)));
}

void VertexTriangles::appendTriangle(std::uint32_t vertex0, std::uint32_t vertex1, std::uint32_t vertex2) {
    const std::uint32_t firstCorner = 3 * toIndex(poolCornerLinks.indexOf(poolCornerLinks.nextElement()));
    Incidence::append(*this, vertex0, firstCorner);
    Incidence::append(*this, vertex1, firstCorner + 1);
    Incidence::append(*this, vertex2, firstCorner + 2);
}

void VertexTriangles::addTriangles(std::size_t num) {
    poolCornerLinks.nextElements(num);
}

/// Two vertices in ascending order, for EdgeIndex.
struct RMesh::EdgePair {
    const RMesh& mesh;
    const Point3* pLower;
    const Point3* pHigher;

    EdgeStar& star() const { return *mesh.poolStar.at(mesh.vtxNumber(pLower)); }
    std::uint32_t& next(std::uint32_t edge) const { return mesh.poolLinkRE.at(edge)->next; }
    /// The links of a list mostly lie together in memory, the edges don't: so most of the others are skipped by the link
    /// alone.
    bool matches(std::uint32_t edge) const {
        return mesh.poolLinkRE.at(edge)->higher == mesh.vtxNumber(pHigher) && mesh.poolRE.at(edge)->pVtx0 == pLower;
    }
    std::uint64_t hash() const { return mixHash(std::uint64_t{mesh.vtxNumber(pLower)} << 32 | mesh.vtxNumber(pHigher)); }
};

// ---- Life ---------------------------------------------------------------------------------------------------------------

RMesh::RMesh(double sideLen_) : sideLen(sideLen_) {
    poolVtx.init(3, -1);
    poolRT.init(3, -1);
    poolRE.init(3, -1);
    poolStar.init(3, -1);
    poolLinkRE.init(3, -1);
}

RMesh::RMesh(CMesh* pCMesh) : RMesh(CoarseSurface(pCMesh)) {}

// When the delegated constructor has finished, the destructor runs if an assertion fails in here: nothing leaks.
RMesh::RMesh(const CoarseSurface& surface) : RMesh(surface.sideLen) {
    constexpr std::size_t AHEAD = 16;  // the table is looked up in random places
    const std::size_t numVertices = surface.vVertex.size();
    std::vector<std::uint64_t> vHash;
    transform_MT(surface.vVertex, vHash, placeHash, WORTH_A_TASK);
    mVtx.reserve(numVertices);
    LookingUp looking(50000);
    for (std::size_t i = 0; i < numVertices; ++i) {
        if (i + AHEAD < numVertices) mVtx.prefetch(vHash[i + AHEAD]);
        createVertexApart(surface.vVertex[i], vHash[i]);
        looking.step();
    }
    freeMemory(vHash);
    fill(surface.vTriangle);
}

// The same as createT() for each of them, but nothing is looked up: the edges are found all at once.
void RMesh::fill(const std::vector<NumberTriple>& vCorner) {
    ASSEX(vCorner.size()<MAX_TRIANGLES);
    const std::size_t numVertices = poolVtx.size();
    const TriangleEdges edges(VertexShares(numVertices, vCorner), vCorner);
    poolRE.nextElements(edges.vEdge.size());
    poolLinkRE.nextElements(edges.vEdge.size());
    std::vector<REdge*> vNewRE(edges.vEdge.size());  // the mesh's own lists never have what isn't constructed
    forNumbers_MT(vNewRE.size(), [&](std::size_t i) {
        const auto [low, high] = edges.vEdge[i];
        vNewRE[i] = new (poolRE.at(i)) REdge(poolVtx.at(low), poolVtx.at(high));
        poolLinkRE.at(i)->higher = high;
    });
    vRE = std::move(vNewRE);
    poolRT.nextElements(vCorner.size());
    std::vector<RTriangle*> vNewRT(vCorner.size());
    forNumbers_MT(vNewRT.size(), [&](std::size_t t) {
        const auto& [a, b, c] = vCorner[t];
        RTriangle* pRT = new (poolRT.at(t)) RTriangle(poolVtx.at(a), poolVtx.at(b), poolVtx.at(c));
        pRT->pRE01 = vRE[edges.vOfTriangle[t][0]];
        pRT->pRE12 = vRE[edges.vOfTriangle[t][1]];
        pRT->pRE02 = vRE[edges.vOfTriangle[t][2]];
        vNewRT[t] = pRT;
    });
    vRT = std::move(vNewRT);
    mmVtxT.addTriangles(vCorner.size());
    linkTriangles_MT(
        numVertices, vCorner, VertexTriangles::Links{mmVtxT},
        [&](std::size_t t, std::size_t k) -> auto& { return vRE[edges.vOfTriangle[t][k]]->vRT; },
        [this](std::size_t t) { return vRT[t]; });
    enterEdges_MT(edges, mRE, [&](std::uint32_t edge) { return EdgePair{*this, vRE[edge]->pVtx0, vRE[edge]->pVtx1}; });
}

RMesh::~RMesh() {
    deletePatches();
    for (REdge* pRE : vRE)
        pRE->~REdge();
    for (RTriangle* pRT : vRT)
        pRT->~RTriangle();
}

void RMesh::deletePatches() {
    deleteAll(vPatches);
}

// ---- Vertices -----------------------------------------------------------------------------------------------------------

Point3* RMesh::addVertex(const Point3& p) {
    ASSEX(poolVtx.size()<MAX_VERTICES);
    Point3* pVtx = new (poolVtx.nextElement()) Point3(p);
    mmVtxT.addVertex();
    *poolStar.nextElement() = EdgeStar();
    return pVtx;
}

Point3* RMesh::findVertex(const Point3& p, std::uint64_t hash) const {
    const std::uint32_t found = mVtx.find(hash, [&](std::uint32_t i) { return *poolVtx.at(i) == p; });
    return found == HashIndex::NONE ? nullptr : poolVtx.at(found);
}

Point3* RMesh::createVertex(const Point3& p, bool bFailIfExists) {
    return createVertex(p, placeHash(p), bFailIfExists);
}

/// hash: of the place.
Point3* RMesh::createVertex(const Point3& p, std::uint64_t hash, bool bFailIfExists) {
    if (Point3* pFound = findVertex(p, hash)) return bFailIfExists ? nullptr : pFound;
    Point3* pVtx = addVertex(p);
    // What isn't a number equals nothing, itself not either: its entry would never be found, only be in the way.
    if (!hasNaN(p)) mVtx.insert(hash, vtxNumber(pVtx));
    return pVtx;
}

Point3* RMesh::createVertex(double x, double y, double z, bool bFailIfExists) {
    return createVertex(Point3(x, y, z), bFailIfExists);
}

Point3* RMesh::createVertexApart(const Point3& p) {
    return createVertexApart(p, placeHash(p));
}

Point3* RMesh::createVertexApart(const Point3& p, std::uint64_t hash) {
    Point3* pVtx = createVertex(p, hash, true);
    return pVtx != nullptr ? pVtx : addVertex(p);
}

bool RMesh::hasVertex(const Point3& p) const {
    return findVertex(p, placeHash(p)) != nullptr;
}

void RMesh::updateVertex(Point3* pVtx, const Point3& newPoint) {
    ASSEX(*pVtx!=newPoint);
    ASSEX_AS("numErased==1", poolVtx.owns(pVtx));
    const std::uint64_t hash = placeHash(newPoint);
    const bool bOK = !hasNaN(newPoint) && findVertex(newPoint, hash) == nullptr;
    ASSEX(bOK);
    // Another vertex at the same place may be the one that is found there; then this one has no entry.
    mVtx.erase(placeHash(*pVtx), vtxNumber(pVtx));
    *pVtx = newPoint;
    mVtx.insert(hash, vtxNumber(pVtx));
    forEachIncident(pVtx, [this](RTriangle* pRT) {
        pRT->resetNNV();
        if (pWatch != nullptr) pWatch->noteChanged(*pRT);
    });
}

// ---- Triangles and edges ------------------------------------------------------------------------------------------------

RTriangle* RMesh::createT(Point3* p0, Point3* p1, Point3* p2) {
    const std::pair<Point3*, Point3*> pair0 = std::minmax(p0, p1);
    const std::pair<Point3*, Point3*> pair1 = std::minmax(p1, p2);
    const std::pair<Point3*, Point3*> pair2 = std::minmax(p2, p0);
    ASSEX(pair0.first<pair0.second);
    ASSEX(pair1.first<pair1.second);
    ASSEX(pair2.first<pair2.second);
    ASSEX(poolVtx.owns(p0) && poolVtx.owns(p1) && poolVtx.owns(p2));
    ASSEX(poolRT.size()<MAX_TRIANGLES);

    RTriangle* pRT = new (poolRT.nextElement()) RTriangle(p0, p1, p2);
    mmVtxT.appendTriangle(vtxNumber(p0), vtxNumber(p1), vtxNumber(p2));
    vRT.push_back(pRT);

    pRT->pRE01 = findOrMakeEdge(pair0.first, pair0.second);
    pRT->pRE12 = findOrMakeEdge(pair1.first, pair1.second);
    pRT->pRE02 = findOrMakeEdge(pair2.first, pair2.second);
    for (REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02})
        pRE->vRT.push_back(pRT);
    if (pWatch != nullptr) pWatch->noteCreated(*pRT);
    return pRT;
}

REdge* RMesh::findOrMakeEdge(Point3* pLower, Point3* pHigher) {
    const EdgePair pair{*this, pLower, pHigher};
    const std::uint32_t found = mRE.find(pair);
    if (found != EdgeIndex::NONE) return poolRE.at(found);
    REdge* pRE = new (poolRE.nextElement()) REdge(pLower, pHigher);
    vRE.push_back(pRE);
    poolLinkRE.nextElement();
    enter(pRE);
    return pRE;
}

void RMesh::takeOut(const REdge* pRE) {
    mRE.erase(EdgePair{*this, pRE->pVtx0, pRE->pVtx1});
}

void RMesh::enter(REdge* pRE) {
    const std::uint32_t number = toIndex(poolRE.indexOf(pRE));
    poolLinkRE.at(number)->higher = vtxNumber(pRE->pVtx1);
    mRE.insert(EdgePair{*this, pRE->pVtx0, pRE->pVtx1}, number);
}

/// Enters an edge under other ends, pTrg in place of pSrc. When there is an edge with these ends: returns that one, and pRE
/// keeps its ends but isn't found by them any more; else null.
REdge* RMesh::rekey(REdge* pRE, const Point3* pSrc, Point3* pTrg) {
    const std::pair<Point3*, Point3*> key(pRE->pVtx0, pRE->pVtx1);
    ASSEX(key.first<key.second);
    Point3* pRingVtx = pRE->getOtherPoint(pSrc);
    ASSEX(pRingVtx!=pTrg);
    takeOut(pRE);

    const auto [pLower, pHigher] = std::minmax(pRingVtx, pTrg);
    const EdgePair newPair{*this, pLower, pHigher};
    const std::uint32_t existing = mRE.find(newPair);
    if (existing != EdgeIndex::NONE) return poolRE.at(existing);
    pRE->pVtx0 = pLower;
    pRE->pVtx1 = pHigher;
    enter(pRE);
    return nullptr;
}

void RMesh::unregisterTriangle(RTriangle* pRT) {
    int numDelete = 0;
    if (poolRT.owns(pRT)) {
        const std::uint32_t firstCorner = 3 * toIndex(poolRT.indexOf(pRT));
        for (std::uint32_t corner = firstCorner; corner < firstCorner + 3; ++corner)
            if (Incidence::unlink(mmVtxT, corner)) ++numDelete;
    }
    ASSEX(numDelete==3);
    if (pWatch != nullptr) pWatch->noteKilled(*pRT);
}

// ---- Queries at an element ----------------------------------------------------------------------------------------------

REdge* RMesh::getEdge(const Point3* p, const Point3* q) const {
    if (!poolVtx.owns(p) || !poolVtx.owns(q)) return nullptr;
    const auto [pLower, pHigher] = std::minmax(p, q);
    const std::uint32_t found = mRE.find(EdgePair{*this, pLower, pHigher});
    return found == EdgeIndex::NONE ? nullptr : poolRE.at(found);
}

bool RMesh::hasAliveEdge(const Point3* p, const Point3* q) const {
    const REdge* pRE = getEdge(p, q);
    return pRE != nullptr && pRE->isAlive();
}

void RMesh::getIncidentT(const Point3* p, std::vector<RTriangle*>& vIncT) const {
    forEachIncident(p, [&](RTriangle* pRT) { vIncT.push_back(pRT); });
}

void RMesh::getIncidentRE(const Point3* p, std::vector<REdge*>& vIncRE) const {
    forEachIncident(p,
                    [&](const RTriangle* pRT) { forEachEdgeAt(*pRT, p, [&vIncRE](REdge* pRE) { vIncRE.push_back(pRE); }); });
    oneInstance(vIncRE);
}

void RMesh::getRingRE(const Point3* p, std::vector<REdge*>& vRing) const {
    forEachIncident(p, [&](const RTriangle* pRT) { vRing.push_back(pRT->getRE(pRT->getICI(p))); });
}

void RMesh::getRingVtx(const Point3* p, std::vector<Point3*>& vRing) const {
    forEachIncident(p, [&](const RTriangle* pRT) {
        const int ici = pRT->getICI(p);
        vRing.push_back(pRT->aCorners[(ici + 1) % 3]);
        vRing.push_back(pRT->aCorners[(ici + 2) % 3]);
    });
    oneInstance(vRing);
}

void RMesh::getAdjacentT(const Point3* p0, const Point3* p1, std::vector<RTriangle*>& vAdjT) const {
    const std::pair<const Point3*, const Point3*> q = std::minmax(p0, p1);
    ASSEX(q.first<q.second);
    if (const REdge* pRE = getEdge(q.first, q.second)) pRE->getAliveTriangles(vAdjT);
}

}  // namespace TARN_KEL
