// What collapses cost.
//
// The penalty is the mean turn of the normals around the vertex that collapses, plus a small term for the length of the
// edge. So flat places come first, and among them short edges.
//
//        a-------b                a-------b
//       / \     / \              / \  ___/ \        When src collapses onto trg, triangle (src, a, b) turns into
//      f---src-trg-c            f-----trg---c       (trg, a, b), and so do the others at src. Triangles that have both
//       \ /     \ /              \ / \___  /        src and trg die.
//        e-------d                e-------d
//
// Many edges at once are evaluated on the pool, vertex by vertex: all collapses of a vertex share the normals around it.
#include "CollapsePenalty.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "CollapseLookahead.h"
#include "geometryFunctions.h"
#include "radixSort.h"
#include "runTasks.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double TURN_WEIGHT = 100.0;
constexpr double MIN_NORMAL = 1e-10;                     // twice the area of the triangle, squared length units
constexpr std::size_t NUM_CHUNKS = 36, MIN_CHUNK = 100;  // edges per task

bool isCandidate(const RECandidate& candidate) {
    return candidate.pRE != nullptr;
}

/// The candidate has no edge when the collapse isn't allowed.
RECandidate candidateOf(REdge* pRE, int iDir, double penalty) {
    return isAllowed(penalty) ? RECandidate{pRE, iDir, penalty} : RECandidate{};
}

/// The collapses of the edges [from, to) of a list, each as twice the position of its edge plus iDir. They are grouped by
/// source vertex, and the vertices are in the order in which they lie in memory. Dead edges are left out.
std::vector<std::size_t> collapsesBySource(const RMesh& mesh, const std::vector<REdge*>& vRE, std::size_t from,
                                           std::size_t to) {
    constexpr int OFFSET_BITS = 33;  // of 64; the number of a vertex takes the others
    constexpr std::uint64_t OFFSET = (std::uint64_t{1} << OFFSET_BITS) - 1;
    std::vector<std::uint64_t> vCode;
    vCode.reserve(2 * (to - from));
    for (std::size_t i = from; i < to; ++i) {
        if (vRE[i]->vRT.empty()) continue;
        for (const int iDir : {0, 1}) {
            const std::uint64_t source = mesh.getVtxIndex(vRE[i]->getVertex(iDir));
            vCode.push_back(source << OFFSET_BITS | (2 * (i - from) + static_cast<std::size_t>(iDir)));
        }
    }
    radixSortOnThreads(
        vCode.data(), vCode.size(), [](std::uint64_t code) { return code; }, 1);
    for (std::uint64_t& code : vCode)
        code = 2 * from + (code & OFFSET);
    return vCode;
}

}  // namespace

// ---- One vertex ---------------------------------------------------------------------------------------------------------

RingSide::RingSide(const RTriangle& rt, const Point3* pSrc) : pRT(&rt) {
    if (rt.aCorners[0] == pSrc) {
        a = rt.aCorners[1], b = rt.aCorners[2], pRE = rt.pRE12;
    } else if (rt.aCorners[1] == pSrc) {
        a = rt.aCorners[2], b = rt.aCorners[0], pRE = rt.pRE02;
    } else {
        a = rt.aCorners[0], b = rt.aCorners[1], pRE = rt.pRE01;
    }
}

void RingSide::measure(const Point3* pSrc) {
    side = *b - *a;
    const Vector3 normal = crossProduct(side, *pSrc - *a);
    bDegenerate = normal.isDegenerate();
    unitNormal = normalize(normal);
    bMeasured = true;
}

void RingSide::findApex() {
    const auto& vRT = pRE->vRT;
    bCrowded = vRT.size() > 2;
    if (vRT.size() != 2) return;
    const Point3* const* p = vRT[vRT[0] == pRT ? 1 : 0]->aCorners;
    pApex = !has(p[0]) ? p[0] : !has(p[1]) ? p[1] : p[2];
}

bool RingSide::isSideOf(const Point3* pTrg) const {
    if (!bCrowded) return pTrg == pApex;
    return std::any_of(pRE->vRT.begin(), pRE->vRT.end(),
                       [this, pTrg](const RTriangle* pOther) { return pOther != pRT && pOther->has(pTrg); });
}

// The triangles are scattered over memory, and waiting for each of them is most of what a penalty costs. So one loop fetches
// the triangles, and the next one reads them and fetches what they point to.
void SourceRing::gather(const std::vector<RTriangle*>& vIncT, const Point3* pSrc) {
    vSide.clear();
    pCentre = pSrc;
    bApexes = false;
    for (const RTriangle* pRT : vIncT) {
        prefetch(pRT->aCorners);
        prefetch(&pRT->pRE02);
    }
    for (const RTriangle* pRT : vIncT) {
        const RingSide& ringSide = vSide.emplace_back(*pRT, pSrc);
        prefetch(&ringSide.pRE->vRT);
        prefetch(ringSide.a);
    }
}

double SourceRing::meanTurn(const Point3* pTrg, double maxDevRad) {
    double sum = 0.0;
    int count = 0;
    for (RingSide& ringSide : vSide) {
        if (ringSide.has(pTrg)) continue;  // the triangle dies
        if (!ringSide.bMeasured) ringSide.measure(pCentre);
        if (ringSide.bDegenerate) {
            out() << "current triangle is degenerate\n";
            continue;
        }
        const Vector3 newNormal = crossProduct(ringSide.side, *pTrg - *ringSide.a);
        const double newLength = newNormal.length();
        if (MIN_NORMAL > newLength) return FORBIDDEN;
        const double angle = getAngleRad(ringSide.unitNormal, newNormal / newLength);
        if (angle > maxDevRad) return FORBIDDEN;
        sum += angle;
        ++count;
    }
    if (!std::exchange(bApexes, true))
        for (RingSide& ringSide : vSide)
            ringSide.findApex();
    for (const RingSide& ringSide : vSide)
        if (!ringSide.has(pTrg) && ringSide.isSideOf(pTrg))
            return FORBIDDEN;  // there would be two triangles with the same corners
    return count == 0 ? 0.0 : sum * TURN_WEIGHT / count;
}

double PenaltyMeter::penaltyOf(const REdge& edge, int iDir) {
    if (edge.vRT.empty()) return FORBIDDEN;
    const auto [pSrc, pTrg] = sourceAndTarget(edge, iDir);
    const double sqLen = (*pTrg - *pSrc).sqLength();
    if (sqLen > maxSqLen) return FORBIDDEN;
    lookAt(pSrc);
    const double penalty = ring.meanTurn(pTrg, maxDevRad) + std::sqrt(std::sqrt(sqLen) / mesh.getSideLen());
    return std::isfinite(penalty) && penalty < FORBIDDEN ? penalty : FORBIDDEN;
}

void PenaltyMeter::lookAt(const Point3* pSrc) {
    if (pSrc == pLookedAt) return;
    vIncT.clear();
    mesh.getIncidentT(pSrc, vIncT);
    ring.gather(vIncT, pSrc);
    pLookedAt = pSrc;
}

// ---- Many edges ---------------------------------------------------------------------------------------------------------

double RMesh::getPenalty(const REdge* pRE, int iDir, double maxSqLen, double maxDevRad,
                         std::vector<RTriangle*>& vIncT) const {
    PenaltyMeter meter(*this, maxSqLen, maxDevRad);
    const double penalty = meter.penaltyOf(*pRE, iDir);
    vIncT = meter.trianglesLookedAt();
    return penalty;
}

RECandidate RMesh::getRECand(REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const {
    return candidateOf(pRE, iDir, getPenalty(pRE, iDir, maxSqLen, maxDevRad, vIncT));
}

void RMesh::createREC_MT(std::size_t from, std::size_t to, double maxSqLen, double maxDevRad,
                         const std::vector<REdge*>& vInRE, std::vector<RECandidate>& vEntries, int) const {
    constexpr std::size_t AHEAD = 24;
    std::fill(vEntries.begin() + static_cast<std::ptrdiff_t>(2 * from),
              vEntries.begin() + static_cast<std::ptrdiff_t>(2 * to), RECandidate());
    const auto sourceOf = [&vInRE](std::size_t i) { return vInRE[i / 2]->getVertex(static_cast<int>(i % 2)); };
    const std::vector<std::size_t> vCollapse = collapsesBySource(*this, vInRE, from, to);
    PenaltyMeter meter(*this, maxSqLen, maxDevRad);
    CollapseLookahead lookahead(*this);
    for (std::size_t k = 0; k < vCollapse.size(); ++k) {
        const std::size_t i = vCollapse[k];
        const int iDir = static_cast<int>(i % 2);
        lookahead.step();
        if (k + AHEAD < vCollapse.size()) {
            const std::size_t next = vCollapse[k + AHEAD], before = vCollapse[k + AHEAD - 1];
            if (sourceOf(next) != sourceOf(before)) lookahead.add(vInRE[next / 2], static_cast<int>(next % 2));
        }
        vEntries[i] = candidateOf(vInRE[i / 2], iDir, meter.penaltyOf(*vInRE[i / 2], iDir));
    }
}

void RMesh::getPrioqEntries(double maxDevRad, double maxSqLen, const std::vector<REdge*>& vInRE,
                            std::vector<RECandidate>& vEntries) const {
    const std::size_t n = vInRE.size();
    vEntries.resize(2 * n);
    const auto makeTask = [&](std::size_t from, std::size_t to) {
        return [&, from, to](int threadId) { createREC_MT(from, to, maxSqLen, maxDevRad, vInRE, vEntries, threadId); };
    };
    const std::size_t chunk = std::max(n / NUM_CHUNKS, MIN_CHUNK);
    std::vector<decltype(makeTask(0, 0))> vTask;
    for (std::size_t from = 0; from < n; from += chunk)
        vTask.push_back(makeTask(from, std::min(from + chunk, n)));
    runTasks_MT(vTask);
    std::erase_if(vEntries, [](const RECandidate& candidate) { return !isCandidate(candidate); });
}

}  // namespace TARN_KEL
