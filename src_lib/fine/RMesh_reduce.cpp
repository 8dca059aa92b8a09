// Reduction: vertices collapse onto neighbours, the cheapest collapse first.
//
// Every edge gives two candidates, one a direction. They wait in a queue by penalty: the mean turn of the normals round the
// vertex that goes, and a little for the length, so that flat places go first, and there the short edges.
//
//        a-------b                a-------b
//       / \     / \              / \  ___/ \        src-trg collapses by the turns of (src, a, b) to (trg, a, b) and of
//      f---src-trg-c            f-----trg---c       the others at src. What is on both ends dies.
//       \ /     \ /              \ / \___  /
//        e-------d                e-------d
//
// A collapse changes the penalties around it, but not the queue. A candidate is looked at again when its turn comes: it
// dies when its collapse isn't allowed any more, and goes back when it has become much dearer. One that has become cheaper
// would come too late, so now and then the candidates near all collapses so far enter the queue anew, beside those that are
// in it. That happens every few thousand collapses in the cheap part, and more often where penalties are large.
//
// All evaluations of many edges at once run on the pool; collapses are the calling thread's. To look again is most of its
// work, and mostly in vain: where nothing has changed the penalty is the same double. A penalty hangs on the triangles at
// src and on which triangles trg has, and a collapse that changes these has src or trg as a corner of a changed triangle. So
// each vertex keeps the number of the last collapse that changed a triangle of its own, and a candidate how many collapses
// its penalty knows.
//
// The order of penalties jumps about the mesh, so memory is what a reduction waits for. Of the candidates that come up most
// are dead, which a bit for each edge tells without a look at the edge; what the others need is fetched some pops ahead
// (CollapseLookahead). Where many edges are evaluated at once it is done vertex by vertex: all collapses of a vertex share
// the normals round it.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "CandidateQueue.h"
#include "CollapseLookahead.h"
#include "Progress.h"
#include "RMesh.h"
#include "freeFunctions.h"
#include "radixSort.h"
#include "runTasks.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double FORBIDDEN = std::numeric_limits<double>::max();
constexpr double RADIANS_PER_DEGREE = 0.01745329251;
constexpr double TURN_WEIGHT = 100.0;
constexpr double MIN_NORMAL = 1e-10;                           // twice the area of the triangle, squared length units
constexpr double CHEAP = 2.0;                                  // goes ahead whatever it was before
constexpr double MAX_RISE = 3.0;                               // of a penalty while it waited; more sends the candidate back
constexpr double DEAR = 6.0;                                   // from here on the queue is refilled often
constexpr std::size_t MANY_TOUCHED = 5000, SOME_TOUCHED = 50;  // collapses between two refills, cheap and dear
constexpr std::size_t MIN_FULL = 3, MAX_FULL = 999;            // with so many collapses all edges may be evaluated anew,
constexpr int MAX_FULL_REFILLS = 4;                            // but only so often
constexpr double STRAIGHT = 170.0;                             // degrees between the border edges of a vertex that may go
constexpr std::size_t NUM_CHUNKS = 36, MIN_CHUNK = 100;        // edges a task

/// The side of a triangle opposite src, from a to b in the triangle's order, and what a collapse of src needs to know of the
/// triangle, whatever trg is.
struct RingSide {
    RingSide(const RTriangle& rt, const Point3* pSrc) : pRT(&rt) {
        if (rt.aCorners[0] == pSrc) {
            a = rt.aCorners[1], b = rt.aCorners[2], pRE = rt.pRE12;
        } else if (rt.aCorners[1] == pSrc) {
            a = rt.aCorners[2], b = rt.aCorners[0], pRE = rt.pRE02;
        } else {
            a = rt.aCorners[0], b = rt.aCorners[1], pRE = rt.pRE01;
        }
    }
    void measure(const Point3* pSrc) {
        side = *b - *a;
        const Vector3 normal = crossProduct(side, *pSrc - *a);
        bDegenerate = normal.isDegenerate();
        unitNormal = normalize(normal);
        bMeasured = true;
    }
    bool has(const Point3* pTrg) const { return a == pTrg || b == pTrg; }
    /// The third corner of the other triangle on this side, when there is one.
    void findApex() {
        const auto& vRT = pRE->vRT;
        bCrowded = vRT.size() > 2;
        if (vRT.size() != 2) return;
        const Point3* const* p = vRT[vRT[0] == pRT ? 1 : 0]->aCorners;
        pApex = !has(p[0]) ? p[0] : !has(p[1]) ? p[1] : p[2];
    }
    /// Another triangle with corner pTrg stands on this side.
    bool isSideOf(const Point3* pTrg) const {
        if (!bCrowded) return pTrg == pApex;
        return std::any_of(pRE->vRT.begin(), pRE->vRT.end(),
                           [this, pTrg](const RTriangle* pOther) { return pOther != pRT && pOther->has(pTrg); });
    }

    const RTriangle* pRT;
    const Point3 *a, *b;
    const REdge* pRE;
    Vector3 side, unitNormal;
    const Point3* pApex = nullptr;
    bool bMeasured = false;    // side, unitNormal and bDegenerate are known
    bool bDegenerate = false;  // without a normal
    bool bCrowded = false;     // more than one other triangle
};

/// The triangles at a vertex that may go, looked at once for all its neighbours.
class SourceRing {
public:
    /// vIncT: the triangles at pSrc. They lie anywhere in memory, and waiting for one after the other is most of what a
    /// penalty costs; so all is fetched one step along the pointers ahead of its use.
    void gather(const std::vector<RTriangle*>& vIncT, const Point3* pSrc) {
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
    const std::vector<RingSide>& sides() const { return vSide; }

    /// The mean turn of the normals in a collapse onto pTrg, radians; FORBIDDEN when it isn't allowed.
    double meanTurn(const Point3* pTrg, double maxDevRad) {
        double sum = 0.0;
        int count = 0;
        for (RingSide& ringSide : vSide) {
            if (ringSide.has(pTrg)) continue;  // dies
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
            if (!ringSide.has(pTrg) && ringSide.isSideOf(pTrg)) return FORBIDDEN;  // two triangles on the same corners
        return count == 0 ? 0.0 : sum * TURN_WEIGHT / count;
    }

private:
    std::vector<RingSide> vSide;
    const Point3* pCentre = nullptr;
    bool bApexes = false;  // found; a collapse that turns too much doesn't get there
};

bool isAllowed(double penalty) {
    return penalty != FORBIDDEN;
}

/// Without an edge when the collapse isn't allowed.
RECandidate candidateOf(REdge* pRE, int iDir, double penalty) {
    return isAllowed(penalty) ? RECandidate{pRE, iDir, penalty} : RECandidate{};
}

/// Penalties on a mesh, one after the other. What a vertex has around it is kept for the next question, so it is cheap to
/// ask for all collapses of a vertex in turn.
class PenaltyMeter {
public:
    PenaltyMeter(const RMesh& theMesh, double theMaxSqLen, double theMaxDevRad)
        : mesh(theMesh), maxSqLen(theMaxSqLen), maxDevRad(theMaxDevRad) {}

    double penaltyOf(const REdge& edge, int iDir) {
        if (edge.vRT.empty()) return FORBIDDEN;
        const auto [pSrc, pTrg] = sourceAndTarget(edge, iDir);
        const double sqLen = (*pTrg - *pSrc).sqLength();
        if (sqLen > maxSqLen) return FORBIDDEN;
        lookAt(pSrc);
        const double penalty = ring.meanTurn(pTrg, maxDevRad) + std::sqrt(std::sqrt(sqLen) / mesh.getSideLen());
        return std::isfinite(penalty) && penalty < FORBIDDEN ? penalty : FORBIDDEN;
    }
    /// As before a question about a collapse of that vertex.
    void lookAt(const Point3* pSrc) {
        if (pSrc == pLookedAt) return;
        vIncT.clear();
        mesh.getIncidentT(pSrc, vIncT);
        ring.gather(vIncT, pSrc);
        pLookedAt = pSrc;
    }
    /// To be called when the mesh has changed.
    void forget() {
        pLookedAt = nullptr;
        vIncT.clear();
    }
    /// The triangles at the vertex last looked at, none when the mesh has changed since; and what is opposite it.
    const std::vector<RTriangle*>& trianglesLookedAt() const { return vIncT; }
    const std::vector<RingSide>& sidesLookedAt() const { return ring.sides(); }

private:
    const RMesh& mesh;
    const double maxSqLen, maxDevRad;
    const Point3* pLookedAt = nullptr;
    std::vector<RTriangle*> vIncT;
    SourceRing ring;
};

bool isCandidate(const RECandidate& candidate) {
    return candidate.pRE != nullptr;
}

}  // namespace

// ---- Penalties ----------------------------------------------------------------------------------------------------------

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

namespace {

/// The collapses of the edges [from, to) of a list, source by source in the order in which vertices lie in memory, and each
/// as its position: twice that of the edge in the list, and iDir. Dead edges have none.
std::vector<std::size_t> collapsesBySource(const RMesh& mesh, const std::vector<REdge*>& vRE, std::size_t from,
                                           std::size_t to) {
    constexpr int OFFSET_BITS = 33;  // what the number of a vertex leaves
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

// ---- The run ------------------------------------------------------------------------------------------------------------

namespace {

/// One reduction of a mesh.
class Reduction {
public:
    Reduction(RMesh& theMesh, double theMaxSqLen, double theMaxDevRad)
        : mesh(theMesh),
          maxSqLen(theMaxSqLen),
          maxDevRad(theMaxDevRad),
          meter(theMesh, theMaxSqLen, theMaxDevRad),
          vBorder(mesh.getNumVtx_all(), 0),
          vLastChange(mesh.getNumVtx_all(), 0),
          vGone(mesh.getNumRE_all() / 64 + 1, 0),
          lookahead(theMesh) {}

    int run() {
        markBorder();
        enterAllEdges();
        openCollapses();
        while (!queue.empty())
            tryFirst();
        progress.finish();
        return numKilled;
    }

private:
    /// End points of border edges. What becomes a border vertex later was one before: none is added.
    void markBorder() {
        ProgressStep step("RM_redborder", 2);
        std::vector<REdge*> vBorderRE;
        mesh.getDegN(1, vBorderRE);
        step.advance();
        for (const REdge* pRE : vBorderRE)
            vBorder[mesh.getVtxIndex(pRE->pVtx0)] = vBorder[mesh.getVtxIndex(pRE->pVtx1)] = 1;
        step.advance();
        step.finish();
    }

    void enterAllEdges() {
        ProgressStep step("RM_redprioq", 2);
        mesh.getPrioqEntries(maxDevRad, maxSqLen, mesh.vRE, vEntries);
        step.advance();
        enqueueEntries();
        step.advance();
        step.finish();
    }

    void enqueueEntries() {
        queue.pushAll(vEntries, [this](const RECandidate& candidate) {
            const auto number = static_cast<std::uint32_t>(mesh.poolRE.indexOf(candidate.pRE));
            return Waiting{candidate.penalty, 2 * number + static_cast<std::uint32_t>(candidate.iDir), numCollapses};
        });
    }

    void openCollapses() {
        progress = ProgressStep("RM_redprocprioq", static_cast<std::size_t>(1.5 * static_cast<double>(queue.size())));
    }

    void tryFirst() {
        Waiting first = queue.pop();
        lookAhead();
        const double penalty = penaltyNow(first);
        if (isAllowed(penalty) && penalty > CHEAP && penalty > first.penalty + MAX_RISE) {
            queue.push({penalty, first.collapse, numCollapses});
            return;
        }
        progress.advance();
        if (!isAllowed(penalty)) return;
        const REdge* pRE = edgeOf(first);
        const auto [pSrc, pTrg] = sourceAndTarget(*pRE, directionOf(first));
        if (!mayLeaveBorder(*pRE, pSrc)) return;
        meter.lookAt(pSrc);
        fetchForCollapse(pTrg);
        if (wouldPinch(pRE, pSrc, pTrg)) return;
        const int degree = pRE->getDegree();
        collapse(pSrc, pTrg);
        if (isRefillDue()) refill();
        numKilled += degree;
    }

    REdge* edgeOf(const Waiting& waiting) const { return mesh.poolRE.at(waiting.collapse / 2); }
    static int directionOf(const Waiting& waiting) { return static_cast<int>(waiting.collapse % 2); }

    bool isGone(std::size_t number) const { return (vGone[number / 64] >> number % 64 & 1) != 0; }

    void lookAhead() {
        lookahead.step();
        const Waiting* pComingUp = queue.comingUp();
        if (pComingUp != nullptr && !isGone(pComingUp->collapse / 2))
            lookahead.add(edgeOf(*pComingUp), directionOf(*pComingUp));
    }

    double penaltyNow(const Waiting& waiting) {
        if (isGone(waiting.collapse / 2)) return FORBIDDEN;
        const REdge& edge = *edgeOf(waiting);
        const auto lastChange = [this](const Point3* p) { return vLastChange[mesh.getVtxIndex(p)]; };
        if (std::max(lastChange(edge.pVtx0), lastChange(edge.pVtx1)) <= waiting.numCollapses) return waiting.penalty;
        return meter.penaltyOf(edge, directionOf(waiting));
    }

    /// True off the border, and along it where it is straight.
    bool mayLeaveBorder(const REdge& edge, const Point3* pSrc) {
        if (vBorder[mesh.getVtxIndex(pSrc)] == 0) return true;
        if (edge.getDegree() != 1) return false;
        std::vector<REdge*> vB;
        mesh.getIncidentRE(pSrc, vB);
        std::erase_if(vB, [](const REdge* pRE) { return pRE->getDegree() != 1; });
        if (vB.size() != 2) return false;
        std::vector<Vector3> vVecs;
        for (const REdge* pRE : vB)
            vVecs.push_back(normalize(*pRE->getOtherPoint(pSrc) - *pSrc));
        ASSEX(vVecs.size()==2);
        return !(STRAIGHT > getAngleDegree(vVecs[0], vVecs[1]));
    }

    /// The edges of trg to the ring of src are looked up by their ends: what that reads is fetched first.
    void fetchForCollapse(const Point3* pTrg) const {
        for (const RingSide& ringSide : meter.sidesLookedAt())
            prefetch(mesh.poolStar.at(mesh.getVtxIndex(std::min(ringSide.a, pTrg))));
        for (const RingSide& ringSide : meter.sidesLookedAt()) {
            const std::uint32_t first = mesh.poolStar.at(mesh.getVtxIndex(std::min(ringSide.a, pTrg)))->first;
            if (first != EdgeIndex::NONE) prefetch(mesh.poolLinkRE.at(first));
        }
    }

    /// Where src and trg have a neighbour in common but no triangle between the three, a tunnel of three edges leads through
    /// and would close to an edge of more triangles than one should have. The meter looks at pSrc.
    bool wouldPinch(const REdge* pCollapsed, const Point3* pSrc, const Point3* pTrg) const {
        for (const RingSide& ringSide : meter.sidesLookedAt())
            for (const REdge* pRE : {ringSide.pRT->pRE01, ringSide.pRT->pRE12, ringSide.pRT->pRE02}) {
                if (pRE == ringSide.pRE || pRE == pCollapsed || pRE->vRT[0] != ringSide.pRT) continue;  // each edge once
                if (wouldCrowd(pRE, mesh.getEdge(pTrg, pRE->getOtherPoint(pSrc)), pTrg)) return true;
            }
        return false;
    }

    /// The edges of both ends to a third vertex would become one of more than two triangles, and of more than either has.
    static bool wouldCrowd(const REdge* pSrcRE, const REdge* pTrgRE, const Point3* pTrg) {
        if (pTrgRE == nullptr || pTrgRE->vRT.empty()) return false;
        const std::size_t srcDegree = pSrcRE->vRT.size(), trgDegree = pTrgRE->vRT.size();
        const auto numShared =
            std::count_if(pSrcRE->vRT.begin(), pSrcRE->vRT.end(), [pTrg](const RTriangle* pRT) { return pRT->has(pTrg); });
        return srcDegree + trgDegree - 2 * static_cast<std::size_t>(numShared) >
               std::max({std::size_t{2}, srcDegree, trgDegree});
    }

    /// The meter looks at pSrc.
    void collapse(Point3* pSrc, Point3* pTrg) {
        ++numCollapses;
        vAtSource.clear();
        for (const RingSide& ringSide : meter.sidesLookedAt()) {
            for (const Point3* p : {ringSide.a, ringSide.b})
                vLastChange[mesh.getVtxIndex(p)] = numCollapses;
            for (const REdge* pRE : {ringSide.pRT->pRE01, ringSide.pRT->pRE12, ringSide.pRT->pRE02})
                if (pRE != ringSide.pRE && pRE->vRT[0] == ringSide.pRT) vAtSource.push_back(pRE);
        }
        vLastChange[mesh.getVtxIndex(pSrc)] = numCollapses;
        mesh.exchangeCorner(pSrc, pTrg);
        meter.forget();
        for (const REdge* pRE : vAtSource) {
            const std::size_t number = mesh.poolRE.indexOf(pRE);
            if (pRE->vRT.empty()) vGone[number / 64] |= std::uint64_t{1} << number % 64;
        }
        vTouched.push_back(static_cast<std::uint32_t>(mesh.getVtxIndex(pTrg)));
    }

    bool isRefillDue() const {
        if (queue.empty() || vTouched.size() > MANY_TOUCHED) return true;
        return vTouched.size() > SOME_TOUCHED && queue.firstPenalty() > DEAR;
    }

    void refill() {
        const bool bFew = vTouched.size() >= MIN_FULL && vTouched.size() <= MAX_FULL;
        const bool bFull = bFew && ++numRefills <= MAX_FULL_REFILLS;
        mesh.getPrioqEntries(maxDevRad, maxSqLen, bFull ? edgesLeft() : edgesAtTouched(), vEntries);
        enqueueEntries();
        vTouched.clear();
        openCollapses();
    }

    std::vector<REdge*> edgesLeft() const {
        std::vector<REdge*> vEdges;
        for (std::size_t number = 0; number < mesh.vRE.size(); ++number)
            if (!isGone(number)) vEdges.push_back(mesh.vRE[number]);
        return vEdges;
    }

    /// In order of creation.
    std::vector<REdge*> edgesAtTouched() {
        oneInstanceOfNumbers(vTouched);
        std::vector<std::size_t> vNumber;
        for (const std::uint32_t number : vTouched) {
            const Point3* p = mesh.poolVtx.at(number);
            vIncT.clear();
            mesh.getIncidentT(p, vIncT);
            for (const RTriangle* pRT : vIncT)
                for (const REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02})
                    if (pRE->vRT[0] == pRT && pRE->has(p)) vNumber.push_back(mesh.poolRE.indexOf(pRE));
        }
        oneInstanceOfNumbers(vNumber);
        std::vector<REdge*> vEdges;
        for (const std::size_t number : vNumber)
            vEdges.push_back(mesh.poolRE.at(number));
        return vEdges;
    }

    RMesh& mesh;
    const double maxSqLen, maxDevRad;
    PenaltyMeter meter;
    std::vector<char> vBorder;               // by vertex, as it was at the start
    std::vector<std::uint32_t> vLastChange;  // by vertex: the last collapse that changed a triangle there, from 1 on
    std::vector<std::uint64_t> vGone;        // by edge, a bit: dead for good, because its end left the mesh
    CandidateQueue queue;
    CollapseLookahead lookahead;
    std::vector<std::uint32_t> vTouched;  // targets, as vertex numbers, since the last refill, with repeats
    std::uint32_t numCollapses = 0;
    int numRefills = 0;
    int numKilled = 0;
    ProgressStep progress;
    std::vector<RTriangle*> vIncT;  // scratch
    std::vector<const REdge*> vAtSource;
    std::vector<RECandidate> vEntries;
};

}  // namespace

int RMesh::reduce(double maxSqLen, double maxDevDeg) {
    if (std::isnan(maxSqLen) || std::isnan(maxDevDeg)) return 0;
    return Reduction(*this, maxSqLen, maxDevDeg * RADIANS_PER_DEGREE).run();
}

}  // namespace TARN_KEL
