// The operators of the fine mesh that start from a vertex or go over all of it.
//
// The collapse edits triangles in place, unlike that of the coarse mesh: what hangs on src gets trg as its corner, and the
// objects stay. So do the edges between src and its ring, unless trg has an edge to the same ring vertex. There two edges
// become one:
//
//          x                     x
//        / | \                   ||         src-x and trg-x fall together: trg-x gets the triangles of both, src-x
//     src--+--trg       ->       trg        stays empty and loses its place in the table
//        \ | /                   ||
//          y                     y
//
// Degenerate triangles are collapsed away one by one, each along the best of all edges at its corners. Those around the
// vertex that is left are looked at next. The other triangles of the mesh wait underneath on one stack.
//
// Patches are grown first in, first out over edges with two triangles. For the orientation this means that each triangle
// agrees with the one through which it was reached first, so conflicts on a one-sided piece lie where the fronts meet.
#include "RMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <memory>
#include <numeric>
#include <set>
#include <tuple>

#include "Progress.h"
#include "RPatch.h"
#include "edgeGeometry.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_MOVE = 0.1;    // of laplacianForOne, in side lengths
constexpr double MAX_TURN = 170.0;  // the same, degrees
constexpr int MAX_TRIES = 100;      // one is enough, but where steps vanish in the rounding none would be
constexpr double NO_TURN_YET = 361.0;

/// The two edges of a triangle at one of its corners.
std::array<REdge*, 2> edgesAt(const RTriangle& rt, const Point3* p) {
    const int i = rt.getICI(p);
    return {rt.getRE(i == 0 ? 1 : 0), rt.getRE(i == 2 ? 1 : 2)};
}

// ---- Collapse

/// The edges from pSrc to its ring, in order of creation. None may lead to pTrg.
void edgesToMove(const std::vector<RTriangle*>& vIncT, const Point3* pSrc, const Point3* pTrg,
                 std::vector<REdge*>& vChangeRE) {
    vChangeRE.clear();
    for (const RTriangle* pRT : vIncT)
        for (REdge* pRE : edgesAt(*pRT, pSrc)) {
            ASSEX(pRE->isAlive());
            if (pRE->vRT[0] != pRT) continue;  // all its triangles are at pSrc: each edge once
            ASSEX(pRE->has(pSrc));
            ASSEX(!pRE->has(pTrg));
            vChangeRE.push_back(pRE);
        }
    std::sort(vChangeRE.begin(), vChangeRE.end());
}

void replaceEdge(RTriangle* pRT, const REdge* pRE, REdge* pNewRE) {
    for (REdge** ppRE : {&pRT->pRE01, &pRT->pRE12, &pRT->pRE02}) {
        if (*ppRE != pRE) continue;
        *ppRE = pNewRE;
        return;
    }
    ASSEX(false);  // a triangle stands on its own edges only
}

/// Hands the triangles of an edge to the one that has its place.
void mergeEdge(REdge* pRE, REdge* pExistingRE) {
    for (RTriangle* pRT : pRE->vRT) {
        if (!pRT->bAlive) continue;
        pExistingRE->vRT.push_back(pRT);
        replaceEdge(pRT, pRE, pExistingRE);
    }
    pRE->vRT.clear();
    ASSEX(!pRE->isAlive());
    ASSEX(pExistingRE->isAlive());
}

// ---- Duplicates

/// Appends the triangles that stand behind another one with the same corners in the list of the edge.
void appendDups(const REdge& edge, std::vector<RTriangle*>& vDups) {
    std::set<const Point3*> sThird;
    for (RTriangle* pRT : edge.vRT)
        if (pRT->bAlive && !sThird.insert(pRT->getThirdPoint(edge.pVtx0, edge.pVtx1)).second) vDups.push_back(pRT);
}

/// Another alive triangle has the same three corners.
bool hasTwin(const RTriangle& rt) {
    const std::array<const REdge*, 3> aRE = {rt.pRE01, rt.pRE12, rt.pRE02};
    const auto isShorter = [](const REdge* a, const REdge* b) { return a->vRT.size() < b->vRT.size(); };
    const REdge* pRE = *std::min_element(aRE.begin(), aRE.end(), isShorter);
    const Point3* pThird = rt.getThirdPoint(pRE->pVtx0, pRE->pVtx1);
    return std::any_of(pRE->vRT.begin(), pRE->vRT.end(),
                       [&](const RTriangle* pRT) { return pRT != &rt && pRT->has(pThird); });
}

// ---- Degenerate triangles

/// A stack of numbers, each in it at most once: what is pushed again moves to the top. All operations O(1).
///
/// For triangles that wait to be looked at this gives the same as a stack with repeats, because between the look at the
/// upper entry and that at the lower one a triangle doesn't change without being pushed anew. But it stays small where
/// thousands of collapses go to one vertex.
class WorkStack {
public:
    /// Filled with 0 to size - 1, the highest on top.
    explicit WorkStack(std::size_t size) : ground(static_cast<std::uint32_t>(size)), vBelow(size + 1), vAbove(size + 1) {
        std::iota(vBelow.begin() + 1, vBelow.end(), 0U);
        std::iota(vAbove.begin(), vAbove.end() - 1, 1U);
        vBelow[0] = ground;
        vAbove[size] = 0;
    }
    bool empty() const { return vBelow[ground] == ground; }
    std::uint32_t pop() {
        const std::uint32_t top = vBelow[ground];
        unlink(top);
        return top;
    }
    void push(std::uint32_t number) {
        if (vAbove[number] != OUT) unlink(number);
        const std::uint32_t top = vBelow[ground];
        vAbove[top] = number;
        vBelow[number] = top;
        vAbove[number] = ground;
        vBelow[ground] = number;
    }

private:
    static constexpr std::uint32_t OUT = 0xffffffffU;

    void unlink(std::uint32_t number) {
        vAbove[vBelow[number]] = vAbove[number];
        vBelow[vAbove[number]] = vBelow[number];
        vAbove[number] = OUT;
    }

    // A ring through all that is in; the ground is below the lowest and above the topmost.
    std::uint32_t ground;
    std::vector<std::uint32_t> vBelow, vAbove;
};

bool isDegenerateAtCorner0(const RTriangle& rt) {
    const Point3& c0 = *rt.aCorners[0];
    return isSliverAngle(*rt.aCorners[1] - c0, *rt.aCorners[2] - c0);
}

/// The largest turn of a normal when p moves to newPos, as far as it is below the limit.
double largestTurn(const std::vector<RTriangle*>& vIncT, const Point3* p, const Point3& newPos, double limit) {
    double dev = 0.0;
    for (const RTriangle* pRT : vIncT) {
        if (dev >= limit) break;
        dev = std::max(dev, pRT->getDevIfRepl(pRT->getICI(p), newPos, true));
    }
    return dev;
}

// ---- Umbrellas

/// Takes the fan of the lowest triangle in sRest out of it.
std::vector<RTriangle*> takeFan(const Point3* pCenter, std::set<RTriangle*>& sRest) {
    std::vector<RTriangle*> vFan, vStack{*sRest.begin()};
    sRest.erase(sRest.begin());
    while (!vStack.empty()) {
        RTriangle* pRT = vStack.back();
        vStack.pop_back();
        vFan.push_back(pRT);
        for (const REdge* pRE : edgesAt(*pRT, pCenter)) {
            ASSEX(pRE->has(pCenter));
            RTriangle *pRT0, *pRT1;
            if (!pRE->getTwoTriangles(pRT0, pRT1, true)) continue;
            RTriangle* pNeigT = pRT0 == pRT ? pRT1 : pRT0;
            ASSEX(pNeigT!=pRT);
            if (sRest.erase(pNeigT) != 0) vStack.push_back(pNeigT);
        }
    }
    return vFan;
}

/// Each edge at the centre belongs to two triangles of the fan.
bool isClosedFan(const Point3* pCenter, const std::vector<RTriangle*>& vFan) {
    std::vector<REdge*> vEdge;
    for (const RTriangle* pRT : vFan)
        for (REdge* pRE : edgesAt(*pRT, pCenter))
            vEdge.push_back(pRE);
    const std::size_t numEntries = vEdge.size();
    oneInstance(vEdge);
    return 2 * vEdge.size() == numEntries;
}

}  // namespace

// ---- Collapse -----------------------------------------------------------------------------------------------------------

void RMesh::exchangeCorner(Point3* pSrc, Point3* pTrg) {
    ASSEX(poolVtx.owns(pSrc) && poolVtx.owns(pTrg));
    killBetween(pSrc, pTrg);
    std::vector<RTriangle*>& vIncT = vScratchT;
    vIncT.clear();
    getIncidentT(pSrc, vIncT);
    edgesToMove(vIncT, pSrc, pTrg, vScratchRE);
    for (REdge* pRE : vScratchRE)
        if (REdge* pExistingRE = rekey(pRE, pSrc, pTrg)) mergeEdge(pRE, pExistingRE);
    Incidence::moveAll(mmVtxT, vtxNumber(pSrc), vtxNumber(pTrg));
    for (RTriangle* pRT : vIncT) {
        ASSEX(pRT->isAlive());
        pRT->setCorner(pRT->getICI(pSrc), pTrg);
    }
}

void RMesh::killBetween(const Point3* pSrc, const Point3* pTrg) {
    const REdge* pKillEdge = getEdge(pSrc, pTrg);
    ASSEX(pKillEdge==NULL || pKillEdge->isAlive());
    if (pKillEdge == nullptr) return;
    vScratchT.clear();
    pKillEdge->getAliveTriangles(vScratchT);
    for (RTriangle* pRT : vScratchT)
        pRT->kill(this);
}

bool RMesh::canCollapseWithoutDups(const Point3* pSrc, const Point3* pTrg) const {
    std::vector<REdge*> vSrcRing, vTrgRing, vShared;
    getRingRE(pSrc, vSrcRing);
    getRingRE(pTrg, vTrgRing);
    oneInstance(vSrcRing);
    oneInstance(vTrgRing);
    std::set_intersection(vSrcRing.begin(), vSrcRing.end(), vTrgRing.begin(), vTrgRing.end(), std::back_inserter(vShared));
    return vShared.empty();
}

bool RMesh::canCollapseManifold(const Point3* pSrc, const Point3* pTrg) const {
    const REdge* pRE = getEdge(pSrc, pTrg);
    if (pRE == nullptr || !pRE->isAlive()) return false;
    if (pRE->getDegree() > 1 && isAtBorder(pSrc) && isAtBorder(pTrg)) return false;
    std::vector<Point3*> vSrcRing, vTrgRing, vShared;
    getRingVtx(pSrc, vSrcRing);
    getRingVtx(pTrg, vTrgRing);
    std::set_intersection(vSrcRing.begin(), vSrcRing.end(), vTrgRing.begin(), vTrgRing.end(), std::back_inserter(vShared));
    return vShared.size() == static_cast<std::size_t>(pRE->getDegree()) && canCollapseWithoutDups(pSrc, pTrg);
}

// ---- Smoothing ----------------------------------------------------------------------------------------------------------

bool RMesh::laplacianForOne(Point3* pVtx) {
    std::vector<REdge*> vIncRE;
    getIncidentRE(pVtx, vIncRE);
    if (vIncRE.empty()) return false;
    Vector3 sum;
    for (const REdge* pRE : vIncRE)
        sum += *pRE->getOtherPoint(pVtx) - Point3();
    const Point3 avg = Point3() + sum / static_cast<double>(vIncRE.size());

    const double maxMove = MAX_MOVE * sideLen;
    const Vector3 delta = avg - *pVtx;
    const double length = delta.length();
    Point3 newPos = length > maxMove ? *pVtx + delta * (maxMove / length) : avg;
    if (!findFreePlace(newPos, maxMove)) return false;

    std::vector<RTriangle*> vIncT;
    getIncidentT(pVtx, vIncT);
    for (const RTriangle* pRT : vIncT) {
        const double dev = pRT->getDevIfRepl(pRT->getICI(pVtx), newPos, false);
        out() << "devAngle would be " << dev << "\n";
        if (dev > MAX_TURN) return false;
    }
    if (newPos == *pVtx) return false;
    out() << "updateVertex\n";
    updateVertex(pVtx, newPos);
    return true;
}

/// Moves p by random steps of up to maxStep along each axis until no vertex is there. False when that comes to nothing.
bool RMesh::findFreePlace(Point3& p, double maxStep) {
    if (!isFinitePoint(p) || !std::isfinite(maxStep) || !(maxStep > 0.0)) return false;
    const auto step = [&] { return random.next() * maxStep / static_cast<double>(Random::MAX); };
    for (int i = 0; i < MAX_TRIES; ++i) {
        if (!hasVertex(p)) return true;
        const double x = step(), y = step(), z = step();
        p = p + Vector3(x, y, z);
    }
    return false;
}

// ---- Clean-up -----------------------------------------------------------------------------------------------------------

// Which of two equal triangles comes first may differ from edge to edge, so each may be entered as the double of the other.
std::size_t RMesh::removeDups() {
    std::vector<REdge*> vDupRE;
    std::copy_if(vRE.begin(), vRE.end(), std::back_inserter(vDupRE), [](const REdge* pRE) { return pRE->hasDups(); });
    std::sort(vDupRE.begin(), vDupRE.end(),
              [](const REdge* a, const REdge* b) { return std::tie(a->pVtx0, a->pVtx1) < std::tie(b->pVtx0, b->pVtx1); });
    std::vector<RTriangle*> vDups;
    for (const REdge* pRE : vDupRE)
        appendDups(*pRE, vDups);
    for (RTriangle* pRT : vDups)
        if (pRT->bAlive && hasTwin(*pRT)) pRT->kill(this);
    return vDups.size();
}

// It ends because each collapse takes a vertex out of use.
void RMesh::killDegenerate(bool bKeepManifold) {
    ProgressStep progress("RM_kdeg", 3 * vRT.size());
    WorkStack stack(vRT.size());
    std::vector<RTriangle*> vIncT;
    while (!stack.empty()) {
        const RTriangle* pRT = vRT[stack.pop()];
        progress.advance();
        if (!pRT->bAlive || !isDegenerateAtCorner0(*pRT)) continue;
        vIncT.clear();
        getIncidentT(collapseCheapest(*pRT, bKeepManifold), vIncT);  // none at null
        for (const RTriangle* pIncT : vIncT)
            stack.push(static_cast<std::uint32_t>(poolRT.indexOf(pIncT)));
    }
    removeDups();
}

Point3* RMesh::collapseCheapest(const RTriangle& rt, bool bKeepManifold) {
    const auto mayCollapse = [&](const Point3* pSrc, const REdge& edge) {
        return !bKeepManifold || canCollapseManifold(pSrc, edge.getOtherPoint(pSrc));
    };
    double bestDev = NO_TURN_YET;
    const REdge* pBestRE = nullptr;
    Point3* pBestSrc = nullptr;
    for (Point3* p : rt.aCorners) {
        std::vector<RTriangle*> vIncT;
        getIncidentT(p, vIncT);
        ASSEX(!vIncT.empty());
        std::vector<REdge*> vIncRE;
        getIncidentRE(p, vIncRE);
        ASSEX(!vIncRE.empty());
        for (const REdge* pRE : vIncRE) {
            const double dev = largestTurn(vIncT, p, *pRE->getOtherPoint(p), bestDev);
            if (bestDev > dev && mayCollapse(p, *pRE)) std::tie(bestDev, pBestRE, pBestSrc) = std::tuple(dev, pRE, p);
        }
    }
    if (bKeepManifold && pBestRE == nullptr) return nullptr;
    ASSEX(pBestRE!=NULL);
    ASSEX(pBestSrc!=NULL);
    Point3* pTrg = pBestRE->getOtherPoint(pBestSrc);
    exchangeCorner(pBestSrc, pTrg);
    return pTrg;
}

// ---- Patches ------------------------------------------------------------------------------------------------------------

/// Makes a patch and names it in the triangles, from the seed on, first in, first out. expand(triangle, queue) appends what
/// comes after a triangle.
template <typename Expand>
void RMesh::growPatch(RTriangle* pSeed, Expand&& expand) {
    auto pOwned = std::make_unique<RPatch>(this);
    vPatches.push_back(pOwned.get());
    RPatch* pPatch = pOwned.release();
    std::vector<RTriangle*> vQueue{pSeed};
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        RTriangle* pRT = vQueue[i];
        pRT->setPatch(pPatch);
        expand(*pRT, vQueue);
    }
}

/// In order of creation, which the patches keep: so none has to sort.
void RMesh::enterInPatches() {
    for (RTriangle* pRT : vRT)
        if (pRT->bAlive && pRT->getPatch() != nullptr) pRT->getPatch()->add(pRT);
}

std::size_t RMesh::createPatchesOrient() {
    ProgressStep progress("RM_cpo", vRT.size());
    deletePatches();
    for (RTriangle* pRT : vRT) {
        if (!pRT->bAlive) continue;
        pRT->setPatch(nullptr);
        pRT->bVisited = false;
    }
    const auto expand = [progress](RTriangle& rt, std::vector<RTriangle*>& vQueue) {
        progress.advance();
        for (const REdge* pRE : {rt.pRE12, rt.pRE02, rt.pRE01}) {
            RTriangle* pNeigT = pRE->getUniqueOtherTriangle(&rt);
            if (pNeigT == nullptr || pNeigT->bVisited) continue;
            if (rt.needFlip(pNeigT)) pNeigT->flipNNV();
            pNeigT->bVisited = true;
            vQueue.push_back(pNeigT);
        }
    };
    for (RTriangle* pRT : vRT) {
        if (!pRT->bAlive || pRT->bVisited) continue;
        pRT->bVisited = true;
        growPatch(pRT, expand);
    }
    enterInPatches();
    progress.finish();
    return vPatches.size();
}

void RMesh::createPatches(unsigned long maxSize) {
    deletePatches();
    for (RTriangle* pRT : vRT)
        pRT->setPatch(nullptr);
    for (RTriangle* pSeed : vRT) {
        if (!pSeed->bAlive || pSeed->bVisited) continue;
        unsigned long count = 1;
        growPatch(pSeed, [&](const RTriangle& rt, std::vector<RTriangle*>& vQueue) {
            for (const REdge* pRE : {rt.pRE12, rt.pRE02, rt.pRE01}) {
                RTriangle* pNeigT = pRE->getUniqueOtherTriangle(&rt);
                if (pNeigT == nullptr || pNeigT->bVisited || ++count >= maxSize) continue;
                pNeigT->bVisited = true;
                vQueue.push_back(pNeigT);
            }
        });
        pSeed->bVisited = true;  // where no neighbour has come back to it: a later patch mustn't take it
    }
    enterInPatches();
}

// ---- Umbrellas ----------------------------------------------------------------------------------------------------------

void RMesh::getUmbrellas(const Point3* pCenter, std::vector<std::vector<RTriangle*>>& vUmbrellas) const {
    std::vector<RTriangle*> vIncT;
    getIncidentT(pCenter, vIncT);
    std::set<RTriangle*> sRest(vIncT.begin(), vIncT.end());
    std::vector<std::vector<RTriangle*>> vFans;
    while (!sRest.empty()) {
        vFans.push_back(takeFan(pCenter, sRest));
        if (isClosedFan(pCenter, vFans.back())) continue;
        warning(KEL_PLACE, "Bad umbrella");
        vFans.assign(1, vIncT);
        break;
    }
    vUmbrellas.insert(vUmbrellas.end(), vFans.begin(), vFans.end());
}

}  // namespace TARN_KEL
