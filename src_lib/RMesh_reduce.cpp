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
// The queue is filled in sorted lots, and few candidates go back. So it is a short row of sorted lots, of which an older one
// is always larger, with a heap for what came one by one since the last lot: nearly every removal is a step along an array.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <utility>
#include <vector>

#include "Progress.h"
#include "RMesh.h"
#include "freeFunctions.h"
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

std::pair<Point3*, Point3*> sourceAndTarget(const REdge& edge, int iDir) {
    return iDir == 0 ? std::pair(edge.pVtx0, edge.pVtx1) : std::pair(edge.pVtx1, edge.pVtx0);
}

/// The side of a triangle opposite one of its corners, from a to b in the triangle's order.
struct RingSide {
    RingSide(const RTriangle& rt, const Point3* pCentre) {
        if (rt.aCorners[0] == pCentre) {
            a = rt.aCorners[1], b = rt.aCorners[2], pRE = rt.pRE12;
        } else if (rt.aCorners[1] == pCentre) {
            a = rt.aCorners[2], b = rt.aCorners[0], pRE = rt.pRE02;
        } else {
            a = rt.aCorners[0], b = rt.aCorners[1], pRE = rt.pRE01;
        }
    }
    /// A triangle with corner p stands on this side, too; p is no end of it.
    bool isSideOf(const Point3* p) const {
        return std::any_of(pRE->vRT.begin(), pRE->vRT.end(), [p](const RTriangle* pRT) {
            return pRT->aCorners[0] == p || pRT->aCorners[1] == p || pRT->aCorners[2] == p;
        });
    }

    const Point3 *a, *b;
    const REdge* pRE;
};

/// Fetches what a penalty reads, one step along the pointers ahead of it: the triangles lie anywhere in memory, and waiting
/// for one after the other is what a penalty costs.
void prefetchRing(const std::vector<RTriangle*>& vIncT, const Point3* pCentre) {
    for (const RTriangle* pRT : vIncT) {
        __builtin_prefetch(pRT->aCorners);
        __builtin_prefetch(&pRT->pRE02);
    }
    for (const RTriangle* pRT : vIncT)
        __builtin_prefetch(&RingSide(*pRT, pCentre).pRE->vRT);
}

/// The angle of two normals, radians, from their dot product and the product of their lengths: an eighth of the divisions
/// that unit vectors take. A right angle when a length underflows.
double turn(double dot, double lengths) {
    return getAngleRad({lengths > 0.0 ? dot / lengths : 0.0, 0.0, 0.0}, {1.0, 0.0, 0.0});
}

bool isAllowed(double penalty) {
    return penalty != FORBIDDEN;
}

bool isCandidate(const RECandidate& candidate) {
    return candidate.pRE != nullptr;
}

/// Candidates by ascending penalty; of equal ones the one that came first.
class CandidateQueue {
public:
    bool empty() const { return numEntries == 0; }
    std::size_t size() const { return numEntries; }
    /// The lowest penalty; there must be one.
    double firstPenalty() const { return first().penalty; }

    RECandidate pop() {
        const RECandidate candidate = first();
        --numEntries;
        if (pFirstLot != nullptr) {
            pFirstLot->advance();
        } else {
            std::pop_heap(vHeap.begin(), vHeap.end(), isLater);
            vHeap.pop_back();
        }
        findFirst();
        return candidate;
    }
    /// O(log n).
    void push(const RECandidate& candidate) {
        ++numEntries;
        vHeap.push_back({candidate, numPushed++});
        std::push_heap(vHeap.begin(), vHeap.end(), isLater);
        findFirst();
    }
    /// As if pushed one after the other. Amortised O(log n) a candidate.
    void pushAll(std::vector<RECandidate>&& vCandidates) {
        numEntries += vCandidates.size();
        std::erase_if(vLot, [](const Lot& lot) { return lot.empty(); });
        addLot(takeHeap());
        radixSortOnThreads(
            vCandidates.data(), vCandidates.size(), [](const RECandidate& c) { return radixCode(c.penalty); },
            numProcessors());
        addLot(std::move(vCandidates));
        findFirst();
    }

private:
    struct Lot {
        std::vector<RECandidate> vSorted;
        std::size_t next = 0;  // what is before has left

        bool empty() const { return next == vSorted.size(); }
        std::size_t size() const { return vSorted.size() - next; }
        const RECandidate& head() const { return vSorted[next]; }
        auto begin() const { return vSorted.begin() + static_cast<std::ptrdiff_t>(next); }
        auto end() const { return vSorted.end(); }
        /// The edges of a lot lie anywhere in memory, so the one whose turn is soon is fetched ahead.
        void advance() {
            constexpr std::size_t AHEAD = 8;
            ++next;
            if (size() > AHEAD) __builtin_prefetch(vSorted[next + AHEAD].pRE);
        }
    };
    struct Single {
        RECandidate candidate;
        std::size_t number;
    };
    static bool isLater(const Single& a, const Single& b) {
        return std::pair(b.candidate.penalty, b.number) < std::pair(a.candidate.penalty, a.number);
    }
    static bool isCheaper(const RECandidate& a, const RECandidate& b) { return a.penalty < b.penalty; }

    const RECandidate& first() const { return pFirstLot != nullptr ? pFirstLot->head() : vHeap.front().candidate; }
    /// The oldest of the lots with the lowest head; null when the heap has a lower one. The lots are about log n.
    void findFirst() {
        pFirstLot = nullptr;
        for (Lot& lot : vLot)
            if (!lot.empty() && (pFirstLot == nullptr || isCheaper(lot.head(), pFirstLot->head()))) pFirstLot = &lot;
        // What is in the heap is younger than all lots.
        if (pFirstLot != nullptr && !vHeap.empty() && isCheaper(vHeap.front().candidate, pFirstLot->head()))
            pFirstLot = nullptr;
    }
    /// Empties the heap; what was in it, in order.
    std::vector<RECandidate> takeHeap() {
        std::sort_heap(vHeap.begin(), vHeap.end(), isLater);
        std::vector<RECandidate> vSorted(vHeap.size());
        std::transform(vHeap.rbegin(), vHeap.rend(), vSorted.begin(), [](const Single& s) { return s.candidate; });
        vHeap.clear();
        return vSorted;
    }
    /// Merges it with the lots before it until each is more than twice as large as the next one.
    void addLot(std::vector<RECandidate>&& vSorted) {
        if (vSorted.empty()) return;
        vLot.push_back({std::move(vSorted)});
        while (vLot.size() > 1 && vLot[vLot.size() - 2].size() <= 2 * vLot.back().size()) {
            const Lot younger = std::move(vLot.back());
            vLot.pop_back();
            const Lot& older = vLot.back();
            Lot merged{std::vector<RECandidate>(older.size() + younger.size())};
            std::merge(older.begin(), older.end(), younger.begin(), younger.end(), merged.vSorted.begin(), isCheaper);
            vLot.back() = std::move(merged);
        }
    }

    std::vector<Lot> vLot;      // the oldest first
    std::vector<Single> vHeap;  // the first to go at the front
    std::size_t numPushed = 0;
    std::size_t numEntries = 0;
    Lot* pFirstLot = nullptr;  // in vLot, of the first candidate; null: that is in the heap, or there is none
};

}  // namespace

// ---- Penalties ----------------------------------------------------------------------------------------------------------

double RMesh::getPenalty(const REdge* pRE, int iDir, double maxSqLen, double maxDevRad,
                         std::vector<RTriangle*>& vIncT) const {
    vIncT.clear();
    if (pRE->vRT.empty()) return FORBIDDEN;
    const auto [pSrc, pTrg] = sourceAndTarget(*pRE, iDir);
    const double sqLen = (*pTrg - *pSrc).sqLength();
    if (sqLen > maxSqLen) return FORBIDDEN;
    getIncidentT(pSrc, vIncT);
    prefetchRing(vIncT, pSrc);
    double sum = 0.0;
    int count = 0;
    for (const RTriangle* pRT : vIncT) {
        const RingSide ring(*pRT, pSrc);
        if (ring.a == pTrg || ring.b == pTrg) continue;  // dies
        const Vector3 side = *ring.b - *ring.a;
        const Vector3 oldNormal = crossProduct(side, *pSrc - *ring.a);
        if (oldNormal.isDegenerate()) {
            std::cout << "current triangle is degenerate\n";
            continue;
        }
        const Vector3 newNormal = crossProduct(side, *pTrg - *ring.a);
        const double newLength = newNormal.length();
        if (MIN_NORMAL > newLength) return FORBIDDEN;
        const double angle = turn(oldNormal * newNormal, oldNormal.length() * newLength);
        if (angle > maxDevRad) return FORBIDDEN;
        sum += angle;
        ++count;
    }
    for (const RTriangle* pRT : vIncT) {
        const RingSide ring(*pRT, pSrc);
        if (ring.a != pTrg && ring.b != pTrg && ring.isSideOf(pTrg)) return FORBIDDEN;  // two triangles on the same corners
    }
    const double meanTurn = count == 0 ? 0.0 : sum * TURN_WEIGHT / count;
    const double penalty = meanTurn + std::sqrt(std::sqrt(sqLen) / sideLen);
    return std::isfinite(penalty) ? penalty : FORBIDDEN;
}

RECandidate RMesh::getRECand(REdge* pRE, int iDir, double maxSqLen, double maxDevRad, std::vector<RTriangle*>& vIncT) const {
    const double penalty = getPenalty(pRE, iDir, maxSqLen, maxDevRad, vIncT);
    return isAllowed(penalty) ? RECandidate{pRE, iDir, 0, penalty} : RECandidate{};
}

void RMesh::createREC_MT(std::size_t from, std::size_t to, double maxSqLen, double maxDevRad,
                         const std::vector<REdge*>& vInRE, std::vector<RECandidate>& vEntries, int) const {
    std::vector<RTriangle*> vIncT;
    for (std::size_t i = from; i < to; ++i)
        for (const int iDir : {0, 1})
            vEntries[2 * i + static_cast<std::size_t>(iDir)] = getRECand(vInRE[i], iDir, maxSqLen, maxDevRad, vIncT);
}

void RMesh::getPrioqEntries(double maxDevRad, double maxSqLen, const std::vector<REdge*>& vInRE,
                            std::vector<RECandidate>& vEntries) const {
    const std::size_t n = vInRE.size();
    vEntries.assign(2 * n, RECandidate());
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
          vBorder(mesh.getNumVtx_all(), 0),
          vLastChange(mesh.getNumVtx_all(), 0) {}

    int run() {
        markBorder();
        enterAllEdges();
        openCollapses();
        while (!queue.empty())
            tryFirst();
        pProgress->setDone(true);
        return numKilled;
    }

private:
    /// End points of border edges. What becomes a border vertex later was one before: none is added.
    void markBorder() {
        Progress* pStep = openStep("RM_redborder", 2);
        std::vector<REdge*> vBorderRE;
        mesh.getDegN(1, vBorderRE);
        pStep->incProgressByOne();
        for (const REdge* pRE : vBorderRE)
            vBorder[mesh.getVtxIndex(pRE->pVtx0)] = vBorder[mesh.getVtxIndex(pRE->pVtx1)] = 1;
        pStep->incProgressByOne();
        pStep->setDone(true);
    }

    void enterAllEdges() {
        Progress* pStep = openStep("RM_redprioq", 2);
        std::vector<RECandidate> vEntries = candidatesOf(mesh.vRE);
        pStep->incProgressByOne();
        queue.pushAll(std::move(vEntries));
        pStep->incProgressByOne();
        pStep->setDone(true);
    }

    std::vector<RECandidate> candidatesOf(const std::vector<REdge*>& vRE) const {
        std::vector<RECandidate> vEntries;
        mesh.getPrioqEntries(maxDevRad, maxSqLen, vRE, vEntries);
        for (RECandidate& candidate : vEntries)
            candidate.numCollapses = numCollapses;
        return vEntries;
    }

    void openCollapses() {
        pProgress = openStep("RM_redprocprioq", static_cast<std::size_t>(1.5 * static_cast<double>(queue.size())));
    }

    void tryFirst() {
        RECandidate candidate = queue.pop();
        const double penalty = penaltyNow(candidate);
        if (isAllowed(penalty) && penalty > CHEAP && penalty > candidate.penalty + MAX_RISE) {
            candidate.penalty = penalty;
            candidate.numCollapses = numCollapses;
            queue.push(candidate);
            return;
        }
        pProgress->incProgressByOne();
        const auto [pSrc, pTrg] = sourceAndTarget(*candidate.pRE, candidate.iDir);
        if (!isAllowed(penalty) || !mayLeaveBorder(*candidate.pRE, pSrc)) return;
        vIncT.clear();
        mesh.getIncidentT(pSrc, vIncT);
        if (wouldPinch(pSrc, pTrg)) return;
        const int degree = candidate.pRE->getDegree();
        collapse(pSrc, pTrg);
        if (isRefillDue()) refill();
        numKilled += degree;
    }

    double penaltyNow(const RECandidate& candidate) {
        const auto lastChange = [this](const Point3* p) { return vLastChange[mesh.getVtxIndex(p)]; };
        if (std::max(lastChange(candidate.pRE->pVtx0), lastChange(candidate.pRE->pVtx1)) <= candidate.numCollapses)
            return candidate.penalty;
        return mesh.getPenalty(candidate.pRE, candidate.iDir, maxSqLen, maxDevRad, vIncT);
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

    /// Where src and trg have a neighbour in common but no triangle between the three, a tunnel of three edges leads through
    /// and would close to an edge of more triangles than one should have. vIncT: the triangles at pSrc.
    bool wouldPinch(const Point3* pSrc, const Point3* pTrg) const {
        for (const RTriangle* pRT : vIncT)
            for (const REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02}) {
                if (pRE->vRT[0] != pRT || !pRE->has(pSrc) || pRE->has(pTrg)) continue;  // each edge at pSrc once
                if (wouldCrowd(pRE, mesh.getEdge(pTrg, pRE->getOtherPoint(pSrc)), pTrg)) return true;
            }
        return false;
    }

    /// The edges of both ends to a third vertex would become one of more than two triangles, and of more than either has.
    static bool wouldCrowd(const REdge* pSrcRE, const REdge* pTrgRE, const Point3* pTrg) {
        if (pTrgRE == nullptr || !pTrgRE->isAlive()) return false;
        const auto numShared =
            std::count_if(pSrcRE->vRT.begin(), pSrcRE->vRT.end(), [pTrg](const RTriangle* pRT) { return pRT->has(pTrg); });
        const int degree = pSrcRE->getDegree() + pTrgRE->getDegree() - 2 * static_cast<int>(numShared);
        return degree > std::max({2, pSrcRE->getDegree(), pTrgRE->getDegree()});
    }

    /// vIncT: the triangles at pSrc.
    void collapse(Point3* pSrc, Point3* pTrg) {
        ++numCollapses;
        for (const RTriangle* pRT : vIncT)
            for (const Point3* p : pRT->aCorners)
                vLastChange[mesh.getVtxIndex(p)] = numCollapses;
        mesh.exchangeCorner(pSrc, pTrg);
        vTouched.push_back(static_cast<std::uint32_t>(mesh.getVtxIndex(pTrg)));
    }

    bool isRefillDue() const {
        if (queue.empty() || vTouched.size() > MANY_TOUCHED) return true;
        return vTouched.size() > SOME_TOUCHED && queue.firstPenalty() > DEAR;
    }

    void refill() {
        const bool bFew = vTouched.size() >= MIN_FULL && vTouched.size() <= MAX_FULL;
        const bool bFull = bFew && ++numRefills <= MAX_FULL_REFILLS;
        queue.pushAll(candidatesOf(bFull ? mesh.vRE : edgesAtTouched()));
        vTouched.clear();
        openCollapses();
    }

    /// In order of creation.
    std::vector<REdge*> edgesAtTouched() {
        radixSort(vTouched);
        dropRepeats(vTouched);
        std::vector<std::size_t> vNumber;
        for (const std::uint32_t number : vTouched) {
            const Point3* p = mesh.poolVtx.at(number);
            vIncT.clear();
            mesh.getIncidentT(p, vIncT);
            for (const RTriangle* pRT : vIncT)
                for (const REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02})
                    if (pRE->has(p)) vNumber.push_back(mesh.poolRE.indexOf(pRE));
        }
        radixSort(vNumber);
        dropRepeats(vNumber);
        std::vector<REdge*> vEdges;
        for (const std::size_t number : vNumber)
            vEdges.push_back(mesh.poolRE.at(number));
        return vEdges;
    }

    RMesh& mesh;
    const double maxSqLen, maxDevRad;
    std::vector<char> vBorder;               // by vertex, as it was at the start
    std::vector<std::uint32_t> vLastChange;  // by vertex: the last collapse that changed a triangle there, from 1 on
    CandidateQueue queue;
    std::vector<std::uint32_t> vTouched;  // targets, as vertex numbers, since the last refill, with repeats
    std::uint32_t numCollapses = 0;
    int numRefills = 0;
    int numKilled = 0;
    Progress* pProgress = nullptr;  // the step, owned by the thread's tree
    std::vector<RTriangle*> vIncT;  // scratch
};

}  // namespace

int RMesh::reduce(double maxSqLen, double maxDevDeg) {
    if (std::isnan(maxSqLen) || std::isnan(maxDevDeg)) return 0;
    return Reduction(*this, maxSqLen, maxDevDeg * RADIANS_PER_DEGREE).run();
}

}  // namespace TARN_KEL
