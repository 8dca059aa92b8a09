// Reduction: vertices collapse onto neighbours, the cheapest collapse first.
//
// Every edge gives two candidates, one per direction. They wait in a queue by penalty (PenaltyMeter).
//
// A collapse changes the penalties around it, but not the queue. A candidate is judged again when its turn comes: it is
// dropped when its collapse isn't allowed any more, and put back when it has become much more expensive. One that has become
// cheaper would come too late; so now and then the candidates near all collapses so far are entered again, in addition to
// those in the queue. That happens every few thousand collapses in the cheap part, and more often where penalties are large.
//
// Evaluations of many edges at once run on the pool; collapses run on the calling thread. Judging again is most of its work,
// and mostly unnecessary: where nothing has changed the penalty is the same double. A penalty depends on the triangles at
// src and on which triangles trg has, and a collapse that changes these has src or trg as a corner of a changed triangle. So
// each vertex keeps the number of the last collapse that changed a triangle there, and a candidate keeps the number of
// collapses that its penalty takes into account.
//
// The order of penalties jumps across the mesh, so a reduction mainly waits for memory. Most candidates that come up are
// dead, which a bit per edge tells without a look at the edge; what the others need is fetched some pops ahead
// (CollapseLookahead).
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "CandidateQueue.h"
#include "CollapseLookahead.h"
#include "CollapsePenalty.h"
#include "Progress.h"
#include "RMesh.h"
#include "StepWatch.h"
#include "geometryFunctions.h"
#include "sortMT.h"
#include "tools.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

constexpr double RADIANS_PER_DEGREE = 0.01745329251;
constexpr double CHEAP = 2.0;                                  // up to this penalty a candidate isn't put back
constexpr double MAX_RISE = 3.0;                               // a candidate whose penalty has risen by more is put back
constexpr double DEAR = 6.0;                                   // above this penalty the queue is refilled often
constexpr std::size_t MANY_TOUCHED = 5000, SOME_TOUCHED = 50;  // collapses between two refills, below DEAR and above
constexpr std::size_t MIN_FULL = 3, MAX_FULL = 999;            // after so many collapses a refill evaluates all edges anew,
constexpr int MAX_FULL_REFILLS = 4;                            // but only this many times
constexpr double STRAIGHT = 170.0;                             // degrees; from here on a border counts as straight

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
    /// Marks the ends of border edges, once: a collapse turns no inner vertex into a border vertex.
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
        if (mesh.pWatch != nullptr && !mesh.pWatch->allowsCollapse(pSrc, pTrg)) return;
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

    /// An inner vertex may collapse anywhere; a border vertex along a border edge where the border is straight.
    bool mayLeaveBorder(const REdge& edge, const Point3* pSrc) {
        if (vBorder[mesh.getVtxIndex(pSrc)] == 0) return true;
        if (edge.getDegree() != 1) return false;
        std::vector<REdge*> vB;
        mesh.getIncidentRE(pSrc, vB);
        std::erase_if(vB, [](const REdge* pRE) { return pRE->getDegree() != 1; });
        if (vB.size() != 2) return false;
        const std::vector<Vector3> vVecs =
            transformed(vB, [pSrc](const REdge* pRE) { return normalize(*pRE->getOtherPoint(pSrc) - *pSrc); });
        ASSEX(vVecs.size()==2);
        return !(STRAIGHT > getAngleDegree(vVecs[0], vVecs[1]));
    }

    /// A collapse looks up the edges from trg to the ring of src. Fetches what that will read.
    void fetchForCollapse(const Point3* pTrg) const {
        for (const RingSide& ringSide : meter.sidesLookedAt())
            prefetch(mesh.poolStar.at(mesh.getVtxIndex(std::min(ringSide.a, pTrg))));
        for (const RingSide& ringSide : meter.sidesLookedAt()) {
            const std::uint32_t first = mesh.poolStar.at(mesh.getVtxIndex(std::min(ringSide.a, pTrg)))->first;
            if (first != EdgeIndex::NONE) prefetch(mesh.poolLinkRE.at(first));
        }
    }

    /// Whether src and trg have a common neighbour without a triangle on the three. Their three edges then go around a
    /// tunnel, and the collapse would close it to an edge of too many triangles. Requires meter.lookAt(pSrc).
    bool wouldPinch(const REdge* pCollapsed, const Point3* pSrc, const Point3* pTrg) const {
        for (const RingSide& ringSide : meter.sidesLookedAt())
            for (const REdge* pRE : {ringSide.pRT->pRE01, ringSide.pRT->pRE12, ringSide.pRT->pRE02}) {
                if (pRE == ringSide.pRE || pRE == pCollapsed || pRE->vRT[0] != ringSide.pRT) continue;  // each edge once
                if (wouldCrowd(pRE, mesh.getEdge(pTrg, pRE->getOtherPoint(pSrc)), pTrg)) return true;
            }
        return false;
    }

    /// The edges from src and trg to a third vertex become one. Whether that would have more than two triangles, and more
    /// than each of the two has now.
    static bool wouldCrowd(const REdge* pSrcRE, const REdge* pTrgRE, const Point3* pTrg) {
        if (pTrgRE == nullptr || pTrgRE->vRT.empty()) return false;
        const std::size_t srcDegree = pSrcRE->vRT.size(), trgDegree = pTrgRE->vRT.size();
        const auto numShared =
            std::count_if(pSrcRE->vRT.begin(), pSrcRE->vRT.end(), [pTrg](const RTriangle* pRT) { return pRT->has(pTrg); });
        return srcDegree + trgDegree - 2 * static_cast<std::size_t>(numShared) >
               std::max({std::size_t{2}, srcDegree, trgDegree});
    }

    /// Requires meter.lookAt(pSrc).
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

    /// The edges at all touched vertices, in order of creation.
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
        return transformed(vNumber, [this](std::size_t number) { return mesh.poolRE.at(number); });
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
