// The tables behind the mesh.
//
// Triangles, edges and vertices lie in pools: an element has a fixed address and a dense position, and both ascend with
// creation. On these positions stand
//
//   - the vertex table, HashIndex from a cell to a vertex record,
//   - the triangles of a vertex, a doubly linked list through the corners of the triangles (Incidence),
//   - the edges of a vertex, a list of those of which it is the lower end, with a hash table for those of a hub (EdgeIndex).
//
// The codes are Morton codes, in which the cells of a 2x2x2 block follow each other, and triangles come cube by cube. So the
// vertex table hashes the block, not the cell, and elements made together lie together: what the next triangle asks for is
// mostly in the cache lines of the last one. With its three vertices at hand a triangle finds its edges without hashing; in
// a sheet of two million triangles that takes half the time of an edge table, and no memory.
//
// A vertex joins the end of a list only when its triangle is made, so a list of triangles is in order of creation, as are
// the addresses. That lets getAdjacentT look at the edge instead of the whole star: a hub with a million triangles costs no
// more than another vertex.
#include "CMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <utility>

#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_TRIANGLES = Incidence::VERTEX / 3;  // the corners are numbered below that mark
constexpr int FIRST_BLOCK = 256;

std::uint64_t hashOfVertex(VCD vcd) {
    return localHash(vcd >> 3, vcd);
}

bool isBefore(const CEdge* p, const CEdge* q) {
    return p->v0 != q->v0 ? p->v0 < q->v0 : p->v1 < q->v1;
}

bool hasNaNCoordinate(const Point3& p) {
    return std::isnan(p.x()) || std::isnan(p.y()) || std::isnan(p.z());
}

// Prints the result of a check.
bool report(const std::string& check, const std::string& name, std::size_t numFaults, const std::string& fault) {
    out() << "CMesh::" << check << "(" << name << "): ";
    if (numFaults == 0)
        out() << "survived" << std::endl;
    else
        out() << "has " << numFaults << " " << fault << "!" << std::endl;
    return numFaults == 0;
}

}  // namespace

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
void CMesh::startPools() {
    poolCE.emplace().init(FIRST_BLOCK, -1);
    poolCT.emplace().init(FIRST_BLOCK, -1);
    poolVertex.emplace().init(FIRST_BLOCK, -1);
}

void CMesh::destroyEdges() {
    for (std::size_t i = 0; i < poolCE->size(); ++i)
        poolCE->at(i)->~CEdge();
}

// Patches look at their triangles when they end.
void CMesh::reset() {
    deletePatches();
    edgeIndex.clear();
    vertexIndex.clear();
    vSortedCE.clear();
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
    for (CTriangle* pCT : vAllCT)
        pCT->bVisited = false;
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

template <typename Visit>
void CMesh::forEachTriangleAt(VCD vcd, Visit&& visit) const {
    const std::uint32_t vertex = findVertex(vcd);
    if (vertex == HashIndex::NONE) return;
    LinkAccess access{*this};
    Incidence::forEachTriangle(access, vertex, [&](std::uint32_t number) { visit(poolCT->at(number)); });
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
    forEachTriangleAt(vcd, [&](const CTriangle* pCT) {
        const int ici = pCT->getICI(vcd);
        vIncCE.push_back(pCT->getCEdge((ici + 1) % 3));
        vIncCE.push_back(pCT->getCEdge((ici + 2) % 3));
    });
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
    if (vertex.pEntry == nullptr) vertex.pEntry = findEntry(vertex.vcd);
    return vtxOf(*vertex.pEntry);
}

bool CMesh::hasBundle(VCD vcd) const {
    return mCCDBundle.find(vcd) != mCCDBundle.end();
}

// ---- Queries on the whole mesh

// Edges are mostly asked for many times between changes, so the list is kept, and new edges are merged into it.
const std::vector<CEdge*>& CMesh::edgesInKeyOrder() const {
    const std::size_t numSorted = vSortedCE.size();
    if (numSorted == poolCE->size()) return vSortedCE;
    // Sorting the bare pointers would jump through memory at every comparison.
    std::vector<std::pair<VCD, CEdge*>> vNew;
    vNew.reserve(poolCE->size() - numSorted);
    for (std::size_t i = numSorted; i < poolCE->size(); ++i)
        vNew.emplace_back(poolCE->at(i)->v0, poolCE->at(i));
    sortByFirstMT(vNew);
    for (const auto& [v0, pCE] : vNew)
        vSortedCE.push_back(pCE);

    const auto itNew = vSortedCE.begin() + static_cast<std::ptrdiff_t>(numSorted);
    for (auto it = itNew; it != vSortedCE.end();) {
        const auto itEnd = std::find_if(it, vSortedCE.end(), [it](const CEdge* pCE) { return pCE->v0 != (*it)->v0; });
        std::sort(it, itEnd, isBefore);
        it = itEnd;
    }
    std::inplace_merge(std::upper_bound(vSortedCE.begin(), itNew, *itNew, isBefore), itNew, vSortedCE.end(), isBefore);
    return vSortedCE;
}

void CMesh::getCEdges(std::vector<CEdge*>& vOut) const {
    const std::vector<CEdge*>& vAllCE = edgesInKeyOrder();
    vOut.insert(vOut.end(), vAllCE.begin(), vAllCE.end());
}

void CMesh::getDegN(int deg, std::vector<CEdge*>& vOut) const {
    const auto append = [&](auto&& isWanted) {
        for (CEdge* pCE : edgesInKeyOrder())
            if (isWanted(pCE->getDegree())) vOut.push_back(pCE);
    };
    if (deg > 0) return append([deg](int degree) { return degree == deg; });
    if (deg == -1) return append([](int degree) { return degree >= 3; });
    if (deg == -5) return append([](int degree) { return degree == 1 || degree >= 3; });
    if (deg == -99) return append([](int degree) { return degree >= 1; });
    warning(KEL_PLACE, "deg=" + toString(deg));
    ASSEX(false);
}

void CMesh::getAllTriangles(std::vector<CTriangle*>& vOut) const {
    vOut.insert(vOut.end(), vAllCT.begin(), vAllCT.end());
}

void CMesh::getAliveTriangles(std::vector<CTriangle*>& vOut) const {
    for (CTriangle* pCT : vAllCT)
        if (pCT->isAlive()) vOut.push_back(pCT);
}

void CMesh::getTriangleCorners(std::vector<VCD>& vOut) const {
    extractAliveVCD(vAllCT, vOut);
}

void CMesh::getTriangleCorners(std::vector<Point3*>& vOut) const {
    for (const CTriangle* pCT : vAllCT)
        if (pCT->isAlive()) vOut.insert(vOut.end(), {getVtx(pCT->c0), getVtx(pCT->c1), getVtx(pCT->c2)});
}

void CMesh::extractAliveVCD(const std::vector<CTriangle*>& vCT, std::vector<VCD>& vOut) const {
    for (const CTriangle* pCT : vCT)
        if (pCT->isAlive()) vOut.insert(vOut.end(), {pCT->c0, pCT->c1, pCT->c2});
}

void CMesh::getUsedCCD(std::vector<CCD>& vOut) const {
    for (std::size_t i = 0; i < poolVertex->size(); ++i)
        if (!Incidence::isEmpty(poolVertex->at(i)->link)) vOut.push_back(poolVertex->at(i)->vcd);
    oneInstance(vOut);
}

void CMesh::getPoints(std::vector<Point3*>& vOut) const {
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    for (const CCD ccd : vUsed)
        vOut.push_back(getVtx(ccd));
    oneInstance(vOut);
}

double CMesh::getArea() const {
    double area = 0.0;
    for (const CTriangle* pCT : vAllCT)
        if (pCT->isAlive()) area += pCT->getArea(this);
    return area;
}

// ---- Reports

void CMesh::getStatistics(std::size_t& numVertices, std::size_t& numTriangles) const {
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    numVertices = vUsed.size();
    const auto isAlive = [](const CTriangle* pCT) { return pCT->isAlive(); };
    numTriangles = static_cast<std::size_t>(std::count_if(vAllCT.begin(), vAllCT.end(), isAlive));
}

void CMesh::printStatistics(const std::string& name) const {
    std::size_t numVertices = 0;
    std::size_t numTriangles = 0;
    getStatistics(numVertices, numTriangles);
    std::map<int, std::size_t> mDegreeCount;
    for (std::size_t i = 0; i < poolCE->size(); ++i)
        ++mDegreeCount[poolCE->at(i)->getDegree()];
    mDegreeCount.erase(0);

    out() << "Statistics ( \"" << name << "\" ):\n"
          << "  Vertices: " << numVertices << "\n"
          << "  Triangles:  " << numTriangles << "\n";
    for (const auto& [degree, count] : mDegreeCount)
        out() << "  Edges with degree " << degree << ":\t" << count << "\n";
    out() << std::endl;
}

bool CMesh::checkNoDegenerate(const std::string& name) const {
    const auto isBad = [this](const CTriangle* pCT) { return pCT->isAlive() && pCT->isDegenerate(this); };
    const auto num = static_cast<std::size_t>(std::count_if(vAllCT.begin(), vAllCT.end(), isBad));
    return report("checkNoDegenerate", name, num, "degenerate triangles");
}

bool CMesh::checkNoDups(const std::string& name) const {
    std::vector<std::array<VCD, 3>> vCorners;
    for (const CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive()) continue;
        std::array<VCD, 3>& corners = vCorners.emplace_back();
        pCT->getSortedCorners(corners[0], corners[1], corners[2]);
    }
    const std::size_t numAll = vCorners.size();
    oneInstance(vCorners);
    return report("checkNoDups", name, numAll - vCorners.size(), "duplicate triangles");
}

bool CMesh::checkNoAdjCoordDups(const std::string& name) const {
    std::size_t num = 0;
    for (std::size_t i = 0; i < poolCE->size(); ++i) {
        const CEdge& edge = *poolCE->at(i);
        if (edge.getDegree() > 0 && samePoint(*getVtx(edge.v0), *getVtx(edge.v1))) ++num;
    }
    return report("checkNoAdjCoordDups", name, num, "edges with both ends at one point");
}

bool CMesh::checkCCD(const std::string& name) const {
    std::size_t num = 0;
    for (const auto& [ccd, pBundle] : mCCDBundle) {
        const bool bComplete = pBundle != nullptr && pBundle->pVtx != nullptr && pBundle->ccd == ccd;
        if (!bComplete || !pCalc->isInCell(pBundle->pVtx, ccd)) ++num;
    }
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    for (const CCD ccd : vUsed)
        if (!hasBundle(ccd)) ++num;
    return report("checkCCD", name, num, "cells without a proper bundle");
}

bool CMesh::hasNaN(const std::string& name) const {
    std::size_t num = 0;
    for (const auto& [ccd, pBundle] : mCCDBundle)
        if (pBundle != nullptr && pBundle->pVtx != nullptr && hasNaNCoordinate(*pBundle->pVtx)) ++num;
    return !report("hasNaN", name, num, "vertices with NaN");
}

Vector3 getNormalVector(CMesh* pCMesh, VCD v0, VCD v1, VCD v2, bool& bOK) {
    for (const VCD vcd : {v0, v1, v2}) {
        if (pCMesh->hasBundle(vcd)) continue;
        warning(KEL_PLACE, "pVtx is NULL");
        ASSEX(false);
    }
    return getNormalVector(*pCMesh->getBundleVtx(v0), *pCMesh->getBundleVtx(v1), *pCMesh->getBundleVtx(v2), bOK);
}

}  // namespace TARN_KEL
