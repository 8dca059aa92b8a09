// The operations that change a mesh while it stays a mesh.
//
// Flips, splits (CEdge_operators.cpp) and collapses all work in the same way: kill the old triangles, create new ones.
// Nothing is edited in place, so a pass may keep pointers to triangles over any of these calls and ask whether they are
// alive.
//
// A collapse moves the triangles at one vertex to another one; those on the edge between the two are killed. One kind of
// damage isn't repaired by any later step: where x-y is an edge of the ring of src and x-y-trg is a triangle already, as in
// a tetrahedron, the collapse would create that triangle a second time.
//
//          x                          x
//        / | \                        | \         .
//     src -+- trg  with x-y-trg  ->   |  trg      twice
//        \ | /                        | /         .
//          y                          y
//
// Cells that the repair adds have no point of the scan. Such a cell gets a bundle owned by the mesh. Most of them can be
// collapsed onto a neighbour at once; the others are placed among their neighbours. Points of the scan take precedence over
// points that were placed in this way themselves. The mean alone would sometimes put vertices of a flat area exactly on one
// line; so the vertex is placed slightly beyond the mean, with a small random step.
#include "CMesh.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <tuple>
#include <utility>

#include "meshCore.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_MOVE_CELLS = 0.1;  // of laplacianForOne, in cell edges
constexpr double MAX_TURN = 90.0;       // degrees
constexpr int ENOUGH_REAL_NEIGHBOURS = 3;
constexpr double BEYOND_MEAN = 1.003;
constexpr double JITTER = 1e-5;  // in the cloud's unit

/// A sum of points.
struct PointSum {
    double x = 0.0, y = 0.0, z = 0.0;
    int num = 0;

    void add(const Point3& p) { add({p.x(), p.y(), p.z(), 1}); }
    void add(const PointSum& sum) {
        x += sum.x;
        y += sum.y;
        z += sum.z;
        num += sum.num;
    }
    Point3 mean() const { return {x / num, y / num, z / num}; }
};

/// An entry of the list that killDups sorts. It has the corners, so that a comparison doesn't read the triangles.
struct SortedCorners {
    VCD c0, c1, c2;
    CTriangle* pCT;

    std::tuple<VCD, VCD, VCD> corners() const { return {c0, c1, c2}; }
    /// By address means by creation.
    bool operator<(const SortedCorners& other) const {
        return std::tie(c0, c1, c2, pCT) < std::tie(other.c0, other.c1, other.c2, other.pCT);
    }
};

}  // namespace

// ---- Collapses

CCD CMesh::collapseEdgeToMidpoint(CEdge* pCE) {
    if (pCE->getDegree() == 0) return ~CCD{0};
    *getVtx(pCE->v1) = pCE->getCenter(this);
    moveTriangles(pCE->v0, pCE->v1);
    return pCE->v1;
}

bool CMesh::collapseEdgeToEndpoint(CEdge* pCE, VCD src, VCD trg) {
    ASSEX((src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0));
    if (pCE->getDegree() == 0 || !canCollapseWithoutDups(src, trg)) return false;
    moveTriangles(src, trg);
    return true;
}

void CMesh::moveTriangles(VCD src, VCD trg) {
    std::vector<CTriangle*> vIncT;
    getIncidentT(src, vIncT);
    ASSEX(!vIncT.empty());
    for (CTriangle* pCT : vIncT) {
        VCD next, prev;
        pCT->getOtherCCDs(src, next, prev);
        pCT->kill(this);
        if (next != trg && prev != trg) createT(trg, next, prev, pCT->vcdCube, 0);
    }
}

bool CMesh::canCollapseWithoutDups(VCD src, VCD trg) const {
    std::vector<CTriangle*> vSrcT;
    getIncidentT(src, vSrcT);
    if (vSrcT.empty() || !hasIncidentT(trg)) return false;
    return !wouldMakeDups(vSrcT, src, trg);
}

// ---- Duplicates and degenerate triangles

int CMesh::killDups() {
    std::vector<SortedCorners> vEntry(vAllCT.size());
    std::transform(vAllCT.begin(), vAllCT.end(), vEntry.begin(), [](CTriangle* pCT) {
        SortedCorners entry{0, 0, 0, pCT};
        pCT->getSortedCorners(entry.c0, entry.c1, entry.c2);
        return entry;
    });
    sortMT(vEntry.begin(), vEntry.end());
    std::transform(vEntry.begin(), vEntry.end(), vAllCT.begin(), [](const SortedCorners& entry) { return entry.pCT; });

    int numKilled = 0;
    const auto cornersOf = [](const SortedCorners& entry) { return entry.corners(); };
    forEachRun(vEntry.begin(), vEntry.end(), cornersOf, [&](auto first, auto end) {
        bool bSurvivor = false;
        for (auto it = first; it != end; ++it) {
            if (!it->pCT->isAlive() || !std::exchange(bSurvivor, true)) continue;
            it->pCT->kill(this);
            ++numKilled;
        }
    });
    return numKilled;
}

void CMesh::treatDegenerateT() {
    const std::vector<CTriangle*> vCT(vAllCT.rbegin(), vAllCT.rend());  // the list changes
    std::vector<CTriangle*> vNewT;
    for (CTriangle* pCT : vCT) {
        if (!pCT->isAlive() || !pCT->isDegenerate(this)) continue;
        const int ici = pCT->getLargestEdgeICI(this);
        if (pCT->getCEdge(ici)->trySplitNeigsKillT(this, pCT, ici, vNewT)) continue;
        out() << "\n Not able to split: " << pCT->c0 << " " << pCT->c1 << " " << pCT->c2 << "\n";
        for (int i = 0; i < 3; ++i)
            if (laplacianForOne(pCT->getCorner((ici + i) % 3))) break;
    }
}

bool CMesh::laplacianForOne(VCD vcd) {
    std::vector<CEdge*> vIncCE;
    getIncidentCE(vcd, vIncCE);
    if (vIncCE.empty()) return false;
    PointSum ring;
    for (const CEdge* pCE : vIncCE)
        ring.add(*getVtx(pCE->getOtherVCD(vcd)));

    Point3* pVtx = getVtx(vcd);
    Point3 target = ring.mean();
    const Vector3 move = target - *pVtx;
    const double maxMove = getSideLen() * MAX_MOVE_CELLS;
    if (move.length() > maxMove) target = *pVtx + move * (maxMove / move.length());

    std::vector<CTriangle*> vIncT;
    getIncidentT(vcd, vIncT);
    const auto turnOf = [&](const CTriangle& ct) { return ct.getDevIfRepl(this, ct.getICI(vcd), target); };
    if (wouldTurnTooFar(vIncT, MAX_TURN, turnOf)) return false;
    *pVtx = target;
    return true;
}

// ---- Vertices of cells that had no points

void CMesh::addBundle(CCD ccd, double x, double y, double z) {
    constexpr double MISSING = std::numeric_limits<double>::max();
    const bool bMissing = x == MISSING && y == MISSING && z == MISSING;
    const Point3 p = bMissing ? pCalc->getMidPoint(ccd) : Point3(x, y, z);
    const Point3* pVtx = &p;
    ASSEX(pCalc->getCCD(pVtx)==ccd);

    auto* pExtra = new (poolExtraBundle.nextElement()) ExtraBundle{Bundle(), p};
    Bundle* pBundle = &pExtra->bundle;
    pBundle->pVtx = &pExtra->vtx;
    pBundle->ccd = ccd;
    sExtraVtx.insert(pBundle->pVtx);
    vExtraBundles.push_back(pBundle);
    mCCDBundle[ccd] = pBundle;  // a vertex that was looked up knows this place in the table, not the former bundle
    averageBundle(pBundle);
}

void CMesh::averageBundle(Bundle* pBundle) {
    std::vector<CEdge*> vIncCE;
    getIncidentCE(pBundle->ccd, vIncCE);
    if (vIncCE.size() < 2) return;
    PointSum real, extra;
    Point3* pAnyRingVtx = nullptr;
    for (const CEdge* pCE : vIncCE) {
        ASSEX(pCE->getDegree()>0);
        const auto q_it = mCCDBundle.find(pCE->getOtherVCD(pBundle->ccd));
        if (q_it == mCCDBundle.end()) continue;
        pAnyRingVtx = vtxOf(q_it->second);
        (sExtraVtx.count(pAnyRingVtx) != 0 ? extra : real).add(*pAnyRingVtx);
    }
    if (real.num < ENOUGH_REAL_NEIGHBOURS) real.add(extra);

    const Point3 midPoint = pCalc->getMidPoint(pBundle->ccd);
    if (real.num == 0) {
        *pBundle->pVtx = midPoint;
        return;
    }
    ASSEX(pAnyRingVtx!=NULL);
    Point3 candidate = *pAnyRingVtx + (real.mean() - *pAnyRingVtx) * BEYOND_MEAN;
    candidate = candidate + Vector3(random.next() * JITTER / static_cast<double>(Random::MAX), 0.0, 0.0);
    // In a small unit the step along x may leave the grid.
    *pBundle->pVtx = pCalc->isInCell(&candidate, pBundle->ccd) ? candidate : midPoint;
}

void CMesh::averageBundles() {
    for (Bundle* pBundle : vExtraBundles)
        averageBundle(pBundle);
}

bool CMesh::integrateBundle(Bundle* pBundle) {
    const CCD ccd = pBundle->ccd;
    std::vector<CEdge*> vIncCE;
    getIncidentCE(ccd, vIncCE);
    return std::any_of(vIncCE.begin(), vIncCE.end(),
                       [&](CEdge* pCE) { return collapseEdgeToEndpoint(pCE, ccd, pCE->getOtherVCD(ccd)); });
}

void CMesh::integrateAdditionalBundles() {
    std::vector<Bundle*> vIntegrated, vKept;
    for (Bundle* pBundle : vExtraBundles)
        if (integrateBundle(pBundle)) vIntegrated.push_back(pBundle);
    std::sort(vExtraBundles.begin(), vExtraBundles.end());
    std::sort(vIntegrated.begin(), vIntegrated.end());
    std::set_difference(vExtraBundles.begin(), vExtraBundles.end(), vIntegrated.begin(), vIntegrated.end(),
                        std::back_inserter(vKept));
    vExtraBundles.swap(vKept);
    for (const Bundle* pBundle : vIntegrated)
        sExtraVtx.erase(pBundle->pVtx);
}

}  // namespace TARN_KEL
