// The operators of the fine mesh that start from a vertex: collapse and smoothing.
//
// The collapse edits triangles in place, unlike that of the coarse mesh: a triangle at src gets trg as its corner and is the
// same object afterwards. So is an edge between src and its ring, unless trg has an edge to the same ring vertex already.
// There two edges become one:
//
//          x                     x
//        / | \                   ||         src-x and trg-x coincide: trg-x gets the triangles of both, src-x is left
//     src--+--trg       ->       trg        empty and loses its place in the table
//        \ | /                   ||
//          y                     y
#include <algorithm>
#include <cmath>

#include "RMesh.h"
#include "StepWatch.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_MOVE = 0.1;    // of laplacianForOne, in side lengths
constexpr double MAX_TURN = 170.0;  // the same, degrees
constexpr int MAX_TRIES = 100;      // one is enough, but where steps vanish in the rounding none would be

/// The edges from pSrc to its ring, in order of creation. None may lead to pTrg.
void edgesToMove(const std::vector<RTriangle*>& vIncT, const Point3* pSrc, const Point3* pTrg,
                 std::vector<REdge*>& vChangeRE) {
    vChangeRE.clear();
    for (const RTriangle* pRT : vIncT)
        forEachEdgeAt(*pRT, pSrc, [&](REdge* pRE) {
            ASSEX(pRE->isAlive());
            if (pRE->vRT[0] != pRT) return;  // all its triangles are at pSrc: each edge once
            ASSEX(pRE->has(pSrc));
            ASSEX(!pRE->has(pTrg));
            vChangeRE.push_back(pRE);
        });
    std::sort(vChangeRE.begin(), vChangeRE.end());
}

void replaceEdge(RTriangle* pRT, const REdge* pRE, REdge* pNewRE) {
    for (REdge** ppRE : {&pRT->pRE01, &pRT->pRE12, &pRT->pRE02}) {
        if (*ppRE != pRE) continue;
        *ppRE = pNewRE;
        return;
    }
    ASSEX(false);  // only a triangle's own edges list it
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
        if (pWatch != nullptr) pWatch->noteChanged(*pRT);
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
    std::vector<RTriangle*> vSrcT;
    getIncidentT(pSrc, vSrcT);
    return !wouldMakeDups(vSrcT, pSrc, pTrg);
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
    const auto turnOf = [&](const RTriangle& rt) { return rt.getDevIfRepl(rt.getICI(pVtx), newPos, false); };
    if (wouldTurnTooFar(vIncT, MAX_TURN, turnOf)) return false;
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

}  // namespace TARN_KEL
