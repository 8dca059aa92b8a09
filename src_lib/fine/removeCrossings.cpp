// Removes crossings step by step.
//
// Cells make a few folds whose sides pass through each other, and sheets near each other that touch and go through. Mostly
// one vertex is on the wrong side, or an edge runs across where its flip would run along. So at each triangle that crosses
// another one, all flips of its edges are tried, moves of its corners towards the mean of their neighbours, and collapses of
// its edges; the one that takes away most pairs is done. Each lowers the number of pairs, so it ends.
#include "removeCrossings.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "CrossingWatch.h"
#include "RMesh.h"
#include "collapses.h"
#include "countCrossings.h"
#include "edgeGeometry.h"
#include "flood.h"

namespace TARN_KEL {

namespace {

/// A change of the mesh and what it does to the number of pairs.
struct Change {
    enum Kind { NONE, FLIP, MOVE, COLLAPSE };

    Kind kind = NONE;
    REdge* pRE = nullptr;                      // FLIP
    Point3 *pVtx = nullptr, *pOnto = nullptr;  // MOVE, COLLAPSE
    Point3 place;                              // MOVE
    std::ptrdiff_t gain = 0;                   // pairs fewer
};

class CrossingRemover {
public:
    explicit CrossingRemover(RMesh& theMesh) : mesh(theMesh), watch(theMesh) {}

    /// vOpen: the triangles that cross others. Returns by how much the number of pairs fell.
    std::size_t run(std::vector<RTriangle*> vOpen) {
        std::ptrdiff_t sum = 0;
        workThrough(vOpen, [&](const RTriangle* pRT) {
            if (!pRT->isAlive() || watch.numCrossings(*pRT) == 0) return;
            findBest(*pRT);
            if (best.kind == Change::NONE || !perform(best)) return;
            sum += best.gain;
            // What is around has changed; it may have another way out now.
            vOpen.insert(vOpen.end(), vChanged.begin(), vChanged.end());
        });
        return static_cast<std::size_t>(sum);
    }

private:
    void findBest(const RTriangle& rt);
    void tryFlip(REdge* pRE);
    void tryMove(Point3* p, double share);
    void tryCollapse(Point3* pSrc, Point3* pTrg);
    void consider(const Change& change, const Replacement& step);
    bool perform(const Change& change);

    RMesh& mesh;
    CrossingWatch watch;
    Change best;
    std::vector<RTriangle*> vChanged;  // by the last change
};

/// Thinner than is good: far above what counts as flat.
bool isThin(const TriangleCorners& t) {
    constexpr double LEAST_HEIGHT = 0.01;  // of the longest side
    return !(relativeHeight(t[1] - t[0], t[2] - t[0]) > LEAST_HEIGHT);
}

void CrossingRemover::findBest(const RTriangle& rt) {
    best = Change();
    for (int i = 0; i < 3; ++i)
        tryFlip(rt.getRE(i));
    for (const double share : {0.5, 1.0})
        for (Point3* p : rt.aCorners)
            tryMove(p, share);
    for (int i = 0; i < 3; ++i) {
        Point3 *p = rt.getCorner(i), *q = rt.getCorner((i + 1) % 3);
        tryCollapse(p, q);
        tryCollapse(q, p);
    }
}

void CrossingRemover::consider(const Change& change, const Replacement& step) {
    if (std::any_of(step.vNew.begin(), step.vNew.end(), isThin)) return;
    const std::ptrdiff_t gain = -watch.changeBy(step);
    if (gain <= best.gain) return;
    best = change;
    best.gain = gain;
}

void CrossingRemover::tryFlip(REdge* pRE) {
    RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
    if (!pRE->getTwoTriangles(pRT0, pRT1, true)) return;
    const Point3 *pA = pRT0->getThirdPoint(pRE->pVtx0, pRE->pVtx1), *pB = pRT1->getThirdPoint(pRE->pVtx0, pRE->pVtx1);
    if (pA == pB || mesh.hasAliveEdge(pA, pB)) return;
    Change change;
    change.kind = Change::FLIP;
    change.pRE = pRE;
    consider(change, *flipOf(*pRE));
}

void CrossingRemover::tryMove(Point3* p, double share) {
    if (isAtBorder(mesh, p)) return;
    std::vector<Point3*> vRing;
    mesh.getRingVtx(p, vRing);
    Vector3 sum;
    for (const Point3* pNeighbour : vRing)
        sum += *pNeighbour - *p;
    Change change;
    change.kind = Change::MOVE;
    change.pVtx = p;
    change.place = *p + sum * (share / static_cast<double>(vRing.size()));
    if (!isFinitePoint(change.place) || mesh.hasVertex(change.place)) return;
    consider(change, moveOf(mesh, p, change.place));
}

void CrossingRemover::tryCollapse(Point3* pSrc, Point3* pTrg) {
    if (isAtBorder(mesh, pSrc) || !canCollapseManifold(mesh, pSrc, pTrg)) return;
    Change change;
    change.kind = Change::COLLAPSE;
    change.pVtx = pSrc;
    change.pOnto = pTrg;
    consider(change, collapseOf(mesh, pSrc, pTrg));
}

/// False when the mesh refuses a flip, which then isn't done.
bool CrossingRemover::perform(const Change& change) {
    vChanged.clear();
    if (change.kind == Change::FLIP) {
        const REdge* pNewRE = change.pRE->tryFlipEdge(&mesh, nullptr, nullptr);
        if (pNewRE == nullptr) return false;
        pNewRE->getAliveTriangles(vChanged);
    } else if (change.kind == Change::MOVE) {
        mesh.updateVertex(change.pVtx, change.place);
        mesh.getIncidentT(change.pVtx, vChanged);
    } else {
        mesh.exchangeCorner(change.pVtx, change.pOnto);
        mesh.getIncidentT(change.pOnto, vChanged);
    }
    return true;
}

}  // namespace

CrossingsRemoved removeCrossings(RMesh& mesh) {
    std::vector<CrossingPair> vPairs;
    CrossingsRemoved done;
    done.numBefore = done.numAfter = countCrossings(mesh, &vPairs);
    if (vPairs.empty()) return done;
    std::vector<RTriangle*> vAlive, vOpen;
    mesh.getAliveTriangles(vAlive);
    for (const CrossingPair& pair : vPairs)
        vOpen.insert(vOpen.end(), {vAlive[pair.first], vAlive[pair.second]});
    done.numAfter -= CrossingRemover(mesh).run(std::move(vOpen));
    return done;
}

}  // namespace TARN_KEL
