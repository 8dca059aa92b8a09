// Patches of the coarse mesh: their members, boundaries, lists and figures.
//
// Most questions about a patch are questions about its edges: which of them have exactly one member (the boundary), which
// have two or more? All are answered from one list, the three edges of every alive member sorted by address, in which an
// edge occurs once for each member on it. This asks no triangle for its patch, needs no marks, and costs two or three passes
// of a radix sort. Where only edges count that aren't inside the patch, the others, nearly all, are left out of the list.
#include "CPatch.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <utility>

#include "CMesh.h"
#include "anyOf.h"
#include "geometryFunctions.h"
#include "meshCore.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

std::uint64_t nextNumber() {
    static std::atomic<std::uint64_t> counter{0};
    return counter++;
}

void sortByAddress(std::vector<CEdge*>& vCE) {
    const auto addressOf = [](const CEdge* pCE) {
        return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pCE));
    };
    radixSortOnThreads(vCE.data(), vCE.size(), addressOf, numProcessors());
}

/// The edges of the alive triangles sorted by address, each as often as it has triangles in the list.
std::vector<CEdge*> sortedEdgesOf(const std::vector<CTriangle*>& vT) {
    std::vector<CEdge*> vCE;
    vCE.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        if (pCT->isAlive()) vCE.insert(vCE.end(), {pCT->pCE12, pCT->pCE02, pCT->pCE01});
    sortByAddress(vCE);
    return vCE;
}

/// Two triangles, both of the patch.
bool isInside(const CEdge& edge, const CPatch* pPatch) {
    return edge.getDegree() == 2 && edge.vCT[0]->getPatch() == pPatch && edge.vCT[1]->getPatch() == pPatch;
}

/// Those edges of the patch with exactly one alive member, sorted. On all workers: a patch may be the whole mesh.
std::vector<CEdge*> edgesOfOneMember(const CPatch& patch) {
    const auto isAtRim = [&patch](const CTriangle* pCT) {
        const bool bInside = isInside(*pCT->pCE12, &patch) && isInside(*pCT->pCE02, &patch) && isInside(*pCT->pCE01, &patch);
        return pCT->isAlive() && !bInside;
    };
    std::vector<CEdge*> vCE, vOfOne;
    for (const CTriangle* pCT : filter_MT(patch.vMemberCT, isAtRim))
        for (CEdge* pCE : {pCT->pCE12, pCT->pCE02, pCT->pCE01})
            if (!isInside(*pCE, &patch)) vCE.push_back(pCE);
    sortByAddress(vCE);
    filterN(vCE, 1, vOfOne);
    return vOfOne;
}

/// visit(edge, number of triangles of the list on it) for each edge of the alive triangles, in address order.
template <typename Visit>
void forEachEdge(const std::vector<CTriangle*>& vT, Visit&& visit) {
    const std::vector<CEdge*> vCE = sortedEdgesOf(vT);
    forEachRun(
        vCE.begin(), vCE.end(), [](const CEdge* pCE) { return pCE; },
        [&visit](auto first, auto end) { visit(*first, static_cast<int>(end - first)); });
}

/// Appends the edges of the alive triangles that isWanted(edge, number of triangles on it) selects.
template <typename Out, typename IsWanted>
void selectEdges(const std::vector<CTriangle*>& vT, Out& out, IsWanted&& isWanted) {
    forEachEdge(vT, [&](CEdge* pCE, int numOwn) {
        if (isWanted(pCE, numOwn)) out.push_back(pCE);
    });
}

/// Appends by the degree in the mesh; -1: MEs.
template <typename Out>
void selectByDegree(const std::vector<CTriangle*>& vT, int deg, Out& out) {
    selectEdges(vT, out,
                [deg](const CEdge* pCE, int) { return deg == -1 ? pCE->getDegree() > 2 : pCE->getDegree() == deg; });
}

std::vector<VCD> differentCorners(const CPatch& patch) {
    std::vector<VCD> vVCD;
    patch.getAllVCD(vVCD);
    oneInstanceOfNumbers(vVCD);
    return vVCD;
}

/// Vertices of the alive triangles at their places in the mesh, three a triangle.
std::vector<Point3*> verticesOf(const std::vector<CTriangle*>& vT, const CMesh& mesh) {
    std::vector<Point3*> vVtx;
    vVtx.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        if (pCT->isAlive()) vVtx.insert(vVtx.end(), {mesh.getVtx(pCT->c0), mesh.getVtx(pCT->c1), mesh.getVtx(pCT->c2)});
    return vVtx;
}

void killAlive(const std::vector<CTriangle*>& vT, CMesh* pCMesh) {
    for (CTriangle* pCT : vT)
        if (pCT->isAlive()) pCT->kill(pCMesh);
}

}  // namespace

// ---- Members

CPatch::CPatch(CMesh* mesh, Calc* calc) : CPatch(mesh, calc, nextNumber()) {}

CPatch::CPatch(CMesh* mesh, Calc* calc, std::uint64_t number_)
    : label(static_cast<int>(number_)), pCMesh(mesh), pCalc(calc), number(number_) {}

CPatch::~CPatch() {
    for (CTriangle* pCT : vMemberCT)
        if (pCT->getPatch() == this) pCT->setPatch(nullptr);
}

void CPatch::add(CTriangle* pCT) {
    vMemberCT.push_back(pCT);
    pCT->setPatch(this);
}

// The dead ones must forget the patch now: when it is deleted, it no longer knows them.
void CPatch::killPatchAndMembers() {
    bAlive = false;
    killAlive(vMemberCT, pCMesh);
    for (CTriangle* pCT : vMemberCT)
        if (pCT->getPatch() == this) pCT->setPatch(nullptr);
    vMemberCT.clear();
    vPatchBoundaryCE.clear();
    numInnerVtx = -1;
}

void CPatch::assimilate(CPatch* pOtherPatch, bool bBoundary) {
    ASSEX(isAlive() && pOtherPatch->isAlive());
    ASSEX(pOtherPatch!=this);
    if (bBoundary)
        joinBoundary(*pOtherPatch);
    else
        vPatchBoundaryCE.clear();
    for (CTriangle* pCT : pOtherPatch->vMemberCT)
        add(pCT);
    pOtherPatch->vMemberCT.clear();
    pOtherPatch->vDegNot2CE.clear();
    pOtherPatch->killPatchAndMembers();
}

// An edge of both boundaries lies inside the union; the two members that made it a boundary must still be there.
void CPatch::joinBoundary(const CPatch& other) {
    const CPatch* pOtherPatch = &other;
    ASSEX(pOtherPatch->getSize()==0 || !pOtherPatch->vPatchBoundaryCE.empty() || pOtherPatch->isClosed());
    std::vector<CEdge*> vUnion;
    vUnion.reserve(vPatchBoundaryCE.size() + other.vPatchBoundaryCE.size());
    std::merge(vPatchBoundaryCE.begin(), vPatchBoundaryCE.end(), other.vPatchBoundaryCE.begin(),
               other.vPatchBoundaryCE.end(), std::back_inserter(vUnion));
    vPatchBoundaryCE.clear();
    for (std::size_t i = 0; i < vUnion.size(); ++i) {
        if (i + 1 == vUnion.size() || vUnion[i] != vUnion[i + 1]) {
            vPatchBoundaryCE.push_back(vUnion[i]);
            continue;
        }
        const int cnt = vUnion[i]->getNumPatchTriangles(this) + vUnion[i]->getNumPatchTriangles(&other);
        ASSEX(cnt>1);
        ++i;
    }
}

bool CPatch::canKillLeaveDeg2() const {
    warning(KEL_PLACE, "return false");
    return false;
}

// ---- Boundary

void CPatch::setOuterBoundary() {
    ASSEX(isAlive());
    vPatchBoundaryCE = edgesOfOneMember(*this);
}

std::size_t CPatch::getPatchBoundarySize() const {
    ASSEX(isAlive());
    return vPatchBoundaryCE.size();
}

void CPatch::getPatchBoundaryCE(std::set<CEdge*>& sBoundaryCE) const {
    ASSEX(isAlive());
    sBoundaryCE.insert(vPatchBoundaryCE.begin(), vPatchBoundaryCE.end());
}

void CPatch::getPatchBoundaryCE(std::vector<CEdge*>& vBoundaryCE) const {
    ASSEX(isAlive());
    vBoundaryCE.insert(vBoundaryCE.end(), vPatchBoundaryCE.begin(), vPatchBoundaryCE.end());
}

bool CPatch::isClosed() const {
    if (getSize() <= 3) return false;
    const auto hasBorder = [](const CTriangle* pCT) { return pCT->isAlive() && pCT->hasBorder(); };
    if (anyOf_MT(vMemberCT, hasBorder)) return false;
    return edgesOfOneMember(*this).empty();
}

// ---- Lists

void CPatch::getAllCE(std::vector<CEdge*>& vCE) const {
    selectEdges(vMemberCT, vCE, [](const CEdge*, int) { return true; });
}

void CPatch::getAllVCD(std::vector<VCD>& vVCD) const {
    vVCD.reserve(vVCD.size() + 3 * vMemberCT.size());
    for (const CTriangle* pCT : vMemberCT)
        vVCD.insert(vVCD.end(), {pCT->c0, pCT->c1, pCT->c2});
}

void CPatch::getDegNCE(int deg, std::list<CEdge*>& lCE) const {
    selectByDegree(vMemberCT, deg, lCE);
}

void CPatch::getGlobalDegNEdges(int deg, std::vector<CEdge*>& vCE) const {
    selectByDegree(vMemberCT, deg, vCE);
}

void CPatch::getME(std::list<CEdge*>& lCE) const {
    selectByDegree(vMemberCT, -1, lCE);
}

void CPatch::getDegNWithRespectToOwn(int deg, std::vector<CEdge*>& vCE) const {
    selectEdges(vMemberCT, vCE, [deg](const CEdge*, int numOwn) { return deg == -99 ? numOwn > 2 : numOwn == deg; });
}

void CPatch::setDegNot2CE() {
    vDegNot2CE.clear();
    selectEdges(vMemberCT, vDegNot2CE, [](const CEdge* pCE, int) { return pCE->getDegree() != 2; });
}

// ---- Figures

double CPatch::getArea() const {
    return sumOfAreas(vMemberCT, [this](const CTriangle& ct) { return ct.getArea(pCMesh); });
}

double CPatch::computeOrientedVolume() const {
    return computeVolume(verticesOf(vMemberCT, *pCMesh));
}

VCD CPatch::getMaxZCCD() const {
    VCD top = ~VCD{0};
    VCD maxZ = 0;
    for (const CTriangle* pCT : vMemberCT)
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2}) {
            if ((vcd & CCD_Z_BITS) <= maxZ) continue;
            maxZ = vcd & CCD_Z_BITS;
            top = vcd;
        }
    return top;
}

void CPatch::setNumInnerVtx() {
    std::vector<VCD> vBoundary;
    for (const CEdge* pCE : vPatchBoundaryCE)
        vBoundary.insert(vBoundary.end(), {pCE->v0, pCE->v1});
    oneInstance(vBoundary);
    numInnerVtx = static_cast<int>(differentCorners(*this).size()) - static_cast<int>(vBoundary.size());
}

int CPatch::countFeatureCCD(const std::set<VCD>& sFeatureCCD) const {
    const std::vector<VCD> vCorner = differentCorners(*this);
    return static_cast<int>(
        std::count_if(vCorner.begin(), vCorner.end(), [&](VCD vcd) { return sFeatureCCD.count(vcd) != 0; }));
}

// ---- Lists of triangles

void getEdgesWithDegree(int deg, const std::vector<CTriangle*>& vT, std::vector<CEdge*>& vOut) {
    const auto isWanted = [deg](const CEdge*, int m) {
        switch (deg) {
        case -1:
            return m % 2 == 1;
        case -2:
            return m % 2 == 0;
        case -3:
            return m > 2;
        case -4:
            return m % 2 == 0 && m >= 4;
        default:
            return m == deg;  // no edge has a negative m
        }
    };
    vOut.clear();
    selectEdges(vT, vOut, isWanted);
}

void getConnectedComponents_HE(const std::vector<CTriangle*>& vT, std::vector<std::vector<CTriangle*>>& vvOut) {
    std::vector<CTriangle*> vSet = vT;
    oneInstance(vSet);
    std::vector<char> vTaken(vSet.size(), 0);
    const auto tryTake = [&](const CTriangle* pCT) {
        const auto it = std::lower_bound(vSet.begin(), vSet.end(), pCT);
        return it != vSet.end() && *it == pCT && std::exchange(vTaken[static_cast<std::size_t>(it - vSet.begin())], 1) == 0;
    };
    std::vector<CTriangle*> vStack;
    for (CTriangle* pStartT : vSet) {
        if (!pStartT->isAlive() || !tryTake(pStartT)) continue;
        std::vector<CTriangle*>& vComponent = vvOut.emplace_back();
        vStack.push_back(pStartT);
        const auto forEachNext = [&vComponent](CTriangle* pCT, auto&& offer) {
            vComponent.push_back(pCT);
            for (int i = 0; i < 3; ++i)
                if (pCT->getCE(i)->getDegree() <= 2)
                    for (CTriangle* pNeigT : pCT->getCE(i)->vCT)
                        offer(pNeigT);
        };
        flood(vStack, forEachNext, tryTake);
    }
}

}  // namespace TARN_KEL
