// The tables behind the mesh.
//
// Triangles, edges and vertices lie in pools: an element has a fixed address and a dense position, and both ascend with
// creation. These tables refer to elements by position:
//
//   - the vertex table, HashIndex from a cell to a vertex record,
//   - the triangles of a vertex, a doubly linked list through the corners of the triangles (Incidence),
//   - the edges of a vertex, a list of those of which it is the lower end, with a hash table for those of a hub (EdgeIndex).
//
// The codes are Morton codes, in which the cells of a 2x2x2 block follow each other, and triangles are created cube by cube.
// So the vertex table hashes the block, not the cell, and elements created together lie together in memory: what the next
// triangle needs is mostly in the cache lines of the last one. Once its three vertices are known, a triangle finds its edges
// without hashing; in a sheet of two million triangles that takes half the time of an edge table, and no memory.
//
// A triangle is appended to the lists of its vertices when it is created, so these lists are in order of creation, as are
// the addresses. That lets getAdjacentT look at the edge instead of all triangles at the vertex: a hub with a million
// triangles costs no more than another vertex.
#include "CMesh.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "freeFunctions.h"
#include "meshCore.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

// ---- Life

CMesh::CMesh(Voro* voro, Calc* calc, std::map<CCD, Bundle*>& mBundles) : pVoro(voro), pCalc(calc), mCCDBundle(mBundles) {
    startPools();
}

CMesh::CMesh(Voro* voro, Calc* calc, USE_LOCAL_CCD2BUNDLEMAP) : pVoro(voro), pCalc(calc), mCCDBundle(mLocalCCDBundle) {
    startPools();
}

CMesh::CMesh(const CMesh& other, SELF_CONTAINED)
    : pVoro(nullptr), pCalc(new Calc(*other.pCalc)), mCCDBundle(mLocalCCDBundle), pOwnCalc(pCalc) {
    startPools();
    std::map<const Bundle*, Bundle*> mCopy;  // of the bundles of addBundle, some of which stand for a vertex
    for (const Bundle* pBundle : other.vExtraBundles) {
        vExtraBundles.push_back(copyBundle(*pBundle));
        sExtraVtx.insert(vExtraBundles.back()->pVtx);
        mCopy.emplace(pBundle, vExtraBundles.back());
    }
    for (const auto& [ccd, pBundle] : other.mCCDBundle) {
        const auto q_it = mCopy.find(pBundle);
        Bundle* pCopy = nullptr;
        if (q_it != mCopy.end())
            pCopy = q_it->second;
        else if (pBundle != nullptr)
            pCopy = copyBundle(*pBundle);
        mLocalCCDBundle.emplace_hint(mLocalCCDBundle.end(), ccd, pCopy);
    }
    for (const CTriangle* pCT : other.vAllCT)
        if (pCT->isAlive()) createT(pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, pCT->cfg);
}

Bundle* CMesh::copyBundle(const Bundle& bundle) {
    auto* pExtra = new (poolExtraBundle.nextElement()) ExtraBundle{bundle, Point3()};
    if (bundle.pVtx == nullptr) return &pExtra->bundle;
    pExtra->vtx = *bundle.pVtx;
    pExtra->bundle.pVtx = &pExtra->vtx;
    return &pExtra->bundle;
}

CMesh::~CMesh() {
    deletePatches();
    destroyEdges();
}

// The edges first: once they are destroyed no way out may pass them again.
void CMesh::startPools(int numVertices, int numEdges, int numTriangles) {
    poolCE.emplace().init(numEdges, -1);
    poolCT.emplace().init(numTriangles, -1);
    poolVertex.emplace().init(numVertices, -1);
}

void CMesh::destroyEdges() {
    forEachEdge([](CEdge& edge) { edge.~CEdge(); });
}

// Patches look at their triangles when they end.
void CMesh::reset() {
    deletePatches();
    edgeIndex.clear();
    vertexIndex.clear();
    vSortedCE.clear();
    keyOrder.invalidate();
    vAllCT.clear();
    destroyEdges();
    startPools();
}

// ---- Building

CTriangle* CMesh::createT(VCD v0, VCD v1, VCD v2, VCD vcdCube, int cfg) {
    ASSEX(v0!=v1 && v1!=v2 && v0!=v2);
    const auto number = static_cast<std::uint32_t>(poolCT->size());
    ASSEX(poolCT->size()<MAX_TRIANGLES);
    CTriangle* pCT = new (poolCT->nextElement()) CTriangle(v0, v1, v2);
    pCT->vcdCube = vcdCube;
    pCT->cfg = cfg;
    vAllCT.push_back(pCT);

    LinkAccess access{*this};
    std::array<Vertex*, 3> aVertex{};
    const std::array<VCD, 3> aCorner{v0, v1, v2};
    for (std::uint32_t k = 0; k < 3; ++k) {
        const std::uint32_t vertex = findOrMakeVertex(aCorner[k]);
        Incidence::append(access, vertex, 3 * number + k);
        pCT->aVertex[k] = vertex;
        aVertex[k] = poolVertex->at(vertex);
    }
    pCT->pCE01 = findOrMakeEdge(*aVertex[0], *aVertex[1]);
    pCT->pCE12 = findOrMakeEdge(*aVertex[1], *aVertex[2]);
    pCT->pCE02 = findOrMakeEdge(*aVertex[0], *aVertex[2]);
    for (CEdge* pCE : {pCT->pCE01, pCT->pCE12, pCT->pCE02})
        pCE->vCT.push_back(pCT);
    return pCT;
}

std::uint32_t CMesh::findVertex(VCD vcd) const {
    return vertexIndex.find(hashOfVertex(vcd), [&](std::uint32_t i) { return poolVertex->at(i)->vcd == vcd; });
}

std::uint32_t CMesh::findOrMakeVertex(VCD vcd) {
    const std::uint32_t found = findVertex(vcd);
    if (found != HashIndex::NONE) return found;
    const auto made = static_cast<std::uint32_t>(poolVertex->size());
    ASSEX(made<Incidence::VERTEX);
    new (poolVertex->nextElement()) Vertex{vcd, nullptr, Incidence::emptyList(made), EdgeStar()};
    vertexIndex.insert(hashOfVertex(vcd), made);
    return made;
}

CEdge* CMesh::findOrMakeEdge(Vertex& a, Vertex& b) {
    const EdgePair pair{*this, a.vcd < b.vcd ? a : b, std::max(a.vcd, b.vcd)};
    const std::uint32_t found = edgeIndex.find(pair);
    if (found != EdgeIndex::NONE) return poolCE->at(found);
    const auto made = static_cast<std::uint32_t>(poolCE->size());
    ASSEX(poolCE->size()<EdgeIndex::NONE);
    CEdge* pCE = new (poolCE->nextElement()) CEdge(pair.lower.vcd, pair.higher);
    edgeIndex.insert(pair, made);
    keyOrder.invalidate();
    return pCE;
}

void CMesh::unregisterTriangle(CTriangle* pCT) {
    int numDelete = 0;
    if (poolCT->owns(pCT)) {
        const auto firstCorner = static_cast<std::uint32_t>(3 * poolCT->indexOf(pCT));
        LinkAccess access{*this};
        for (std::uint32_t k = 0; k < 3; ++k)
            numDelete += Incidence::unlink(access, firstCorner + k) ? 1 : 0;
    }
    ASSEX(numDelete==3);
}

void CMesh::resetVisited() {
    clearVisited_MT(vAllCT);
}

// ---- Queries at an element

CEdge* CMesh::getEdge(VCD a, VCD b) const {
    const auto [lower, higher] = std::minmax(a, b);
    const std::uint32_t vertex = findVertex(lower);
    if (vertex == HashIndex::NONE) return nullptr;
    const std::uint32_t found = edgeIndex.find(EdgePair{*this, *poolVertex->at(vertex), higher});
    return found == EdgeIndex::NONE ? nullptr : poolCE->at(found);
}

bool CMesh::hasEdge(VCD a, VCD b) const {
    const CEdge* pCE = getEdge(a, b);
    return pCE != nullptr && pCE->getDegree() > 0;
}

bool CMesh::hasIncidentT(VCD vcd) const {
    const std::uint32_t vertex = findVertex(vcd);
    return vertex != HashIndex::NONE && !Incidence::isEmpty(poolVertex->at(vertex)->link);
}

void CMesh::getIncidentT(VCD vcd, std::vector<CTriangle*>& vIncT) const {
    forEachTriangleAt(vcd, [&vIncT](CTriangle* pCT) { vIncT.push_back(pCT); });
}

void CMesh::getIncidentTSince(VCD vcd, const CTriangle* pCT, std::vector<CTriangle*>& vIncT) const {
    const std::uint32_t vertex = findVertex(vcd);
    if (vertex == HashIndex::NONE) return;
    const auto numBefore = static_cast<std::ptrdiff_t>(vIncT.size());
    LinkAccess access{*this};
    Incidence::forEachTriangleFromLast(access, vertex, [&](std::uint32_t number) {
        CTriangle* pLaterT = poolCT->at(number);
        const bool bLater = pCT == nullptr || pCT < pLaterT;
        if (bLater) vIncT.push_back(pLaterT);
        return bLater;
    });
    std::reverse(vIncT.begin() + numBefore, vIncT.end());
}

void CMesh::getAdjacentT(VCD a, VCD b, std::vector<CTriangle*>& vAdjT) const {
    if (a == b) return getIncidentT(a, vAdjT);
    const CEdge* pCE = getEdge(a, b);
    if (pCE == nullptr) return;
    const auto numBefore = static_cast<std::ptrdiff_t>(vAdjT.size());
    pCE->getAliveTriangles(vAdjT);
    std::sort(vAdjT.begin() + numBefore, vAdjT.end());
}

void CMesh::getIncidentCE(VCD vcd, std::vector<CEdge*>& vIncCE) const {
    forEachTriangleAt(
        vcd, [&](const CTriangle* pCT) { forEachEdgeAt(*pCT, vcd, [&vIncCE](CEdge* pCE) { vIncCE.push_back(pCE); }); });
    oneInstance(vIncCE);
}

// ---- Vertices

Bundle* const* CMesh::findEntry(VCD vcd) const {
    const auto q_it = mCCDBundle.find(vcd);
    ASSEX(q_it!=mCCDBundle.end());
    return &q_it->second;
}

// The entry of the table is remembered, not the bundle: a map's entries stay where they are, and one that gets another
// bundle needn't tell anybody.
Point3* CMesh::vtxOf(const Bundle* pBundle) {
    ASSEX(pBundle!=NULL && pBundle->pVtx!=NULL);
    return pBundle->pVtx;
}

Point3* CMesh::getVtx(VCD vcd) const {
    const std::uint32_t found = findVertex(vcd);
    return found == HashIndex::NONE ? vtxOf(*findEntry(vcd)) : getVtxAt(found);
}

Point3* CMesh::getVtxAt(std::uint32_t number) const {
    Vertex& vertex = *poolVertex->at(number);
    Bundle* const* pEntry = vertex.pEntry.load(std::memory_order_relaxed);
    if (pEntry == nullptr) {
        pEntry = findEntry(vertex.vcd);
        vertex.pEntry.store(pEntry, std::memory_order_relaxed);  // other threads find the same place
    }
    return vtxOf(*pEntry);
}

bool CMesh::hasBundle(VCD vcd) const {
    return mCCDBundle.find(vcd) != mCCDBundle.end();
}

Vector3 getNormalVector(CMesh* pCMesh, VCD v0, VCD v1, VCD v2, bool& bOK) {
    const auto& mBundle = pCMesh->getRefToBundleMap();
    for (const VCD vcd : {v0, v1, v2}) {
        const auto it = mBundle.find(vcd);
        if (it != mBundle.end() && it->second != nullptr && it->second->pVtx != nullptr) continue;
        warning(KEL_PLACE, "pVtx is NULL");
        ASSEX(false);
    }
    return getNormalVector(*pCMesh->getBundleVtx(v0), *pCMesh->getBundleVtx(v1), *pCMesh->getBundleVtx(v2), bOK);
}

}  // namespace TARN_KEL
