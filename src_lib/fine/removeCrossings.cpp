// Removes crossings step by step.
//
// Cells make a few folds whose sides pass through each other, and sheets near each other that touch and go through. Mostly
// one vertex is on the wrong side, or an edge runs across where its flip would run along. So at each triangle that crosses
// another one, all flips of its edges are tried, moves of its corners towards the mean of their neighbours, and collapses of
// its edges; the one that takes away most pairs is done. Where none does, all vertices around go between their neighbours
// together. Each lowers the number of pairs, so it ends.
#include "removeCrossings.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "CrossingWatch.h"
#include "NeighbourLists.h"
#include "RMesh.h"
#include "collapses.h"
#include "countCrossings.h"
#include "edgeGeometry.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

/// A change of the mesh and what it does to the number of pairs.
struct Change {
    enum Kind { NONE, FLIP, MOVE, COLLAPSE, SPREAD };

    Kind kind = NONE;
    REdge* pRE = nullptr;                      // FLIP
    Point3 *pVtx = nullptr, *pOnto = nullptr;  // MOVE, COLLAPSE
    Point3 place;                              // MOVE
    std::vector<VertexMove> vMoves;            // SPREAD
    std::ptrdiff_t gain = 0;                   // pairs fewer
};

/// New places of some vertices.
using Spread = std::map<Point3*, Point3>;

class CrossingRemover {
public:
    explicit CrossingRemover(RMesh& theMesh) : mesh(theMesh), watch(theMesh) {}

    /// The triangles that cross others. Returns by how much the number of pairs fell.
    std::size_t run(std::vector<RTriangle*> vCrossing) {
        vOpen = std::move(vCrossing);
        for (;;) {
            if (RTriangle* pRT = nextOf(vOpen)) {
                if (!sAsked.insert(pRT).second) continue;
                findBest(*pRT);
                if (!performBest()) vStuck.push_back(pRT);
            } else if ((pRT = nextOf(vStuck))) {
                best = Change();
                trySpread(*pRT);
                performBest();
            } else {
                return static_cast<std::size_t>(gained);
            }
        }
    }

private:
    RTriangle* nextOf(std::vector<RTriangle*>& vTriangle);
    bool performBest();
    void findBest(const RTriangle& rt);
    void tryFlip(REdge* pRE);
    void tryMove(Point3* p, double share);
    void tryCollapse(Point3* pSrc, Point3* pTrg);
    void trySpread(const RTriangle& rt);
    std::vector<Point3*> innerVerticesAround(const RTriangle& rt, int numRings) const;
    void spread(Spread& mPlace) const;
    bool areFree(const std::vector<VertexMove>& vMoves) const;
    Replacement moveOfAll(const Spread& mPlace) const;
    void consider(const Change& change, const Replacement& step);
    bool perform(const Change& change);

    RMesh& mesh;
    CrossingWatch watch;
    Change best;
    std::vector<RTriangle*> vChanged;   // by the last change
    std::vector<RTriangle*> vOpen;      // those that are to be looked at
    std::vector<RTriangle*> vStuck;     // those where no change of one vertex or edge helped
    std::set<const RTriangle*> sAsked;  // those that were looked at since the last change
    std::ptrdiff_t gained = 0;          // by all changes
};

/// Thinner than is good: far above what counts as flat.
bool isThin(const TriangleCorners& t) {
    constexpr double LEAST_HEIGHT = 0.01;  // of the longest side
    return !(relativeHeight(t[1] - t[0], t[2] - t[0]) > LEAST_HEIGHT);
}

/// Takes the last one that still crosses another; null when there is none.
RTriangle* CrossingRemover::nextOf(std::vector<RTriangle*>& vTriangle) {
    while (!vTriangle.empty()) {
        RTriangle* pRT = vTriangle.back();
        vTriangle.pop_back();
        if (pRT->isAlive() && watch.numCrossings(*pRT) > 0) return pRT;
    }
    return nullptr;
}

bool CrossingRemover::performBest() {
    if (best.kind == Change::NONE || !perform(best)) return false;
    gained += best.gain;
    sAsked.clear();
    vOpen.insert(vOpen.end(), vChanged.begin(), vChanged.end());  // there may be another way out around it now
    return true;
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

/// The vertices of some rings around a triangle go between their neighbours, a few times over.
void CrossingRemover::trySpread(const RTriangle& rt) {
    constexpr int MAX_RINGS = 3, SWEEPS = 4;
    constexpr std::size_t MAX_VERTICES = 200;  // more are around a hub
    for (int numRings = 1; numRings <= MAX_RINGS && best.kind == Change::NONE; ++numRings) {
        Spread mPlace;
        for (Point3* p : innerVerticesAround(rt, numRings))
            mPlace.emplace(p, *p);
        if (mPlace.size() > MAX_VERTICES) return;
        for (int sweep = 0; sweep < SWEEPS; ++sweep)
            spread(mPlace);
        Change change;
        change.kind = Change::SPREAD;
        change.vMoves.assign(mPlace.begin(), mPlace.end());
        if (areFree(change.vMoves)) consider(change, moveOfAll(mPlace));
    }
}

std::vector<Point3*> CrossingRemover::innerVerticesAround(const RTriangle& rt, int numRings) const {
    std::vector<Point3*> vVtx(std::begin(rt.aCorners), std::end(rt.aCorners));
    for (int ring = 0; ring < numRings; ++ring) {
        std::vector<RTriangle*> vAt;
        for (const Point3* p : vVtx)
            mesh.getIncidentT(p, vAt);
        for (const RTriangle* pRT : vAt)
            vVtx.insert(vVtx.end(), std::begin(pRT->aCorners), std::end(pRT->aCorners));
        oneInstance(vVtx);
    }
    std::erase_if(vVtx, [this](const Point3* p) { return isAtBorder(mesh, p); });
    return vVtx;
}

/// Each vertex to the mean of its neighbours, one after the other.
void CrossingRemover::spread(Spread& mPlace) const {
    for (auto& [p, place] : mPlace) {
        std::vector<Point3*> vRing;
        mesh.getRingVtx(p, vRing);
        Vector3 sum;
        for (Point3* pNeighbour : vRing) {
            const auto it = mPlace.find(pNeighbour);
            sum += (it != mPlace.end() ? it->second : *pNeighbour) - place;
        }
        place = place + sum / static_cast<double>(vRing.size());
    }
}

/// Whether the new places are finite, differ, and no vertex is at one.
bool CrossingRemover::areFree(const std::vector<VertexMove>& vMoves) const {
    std::vector<Point3> vPlace;
    for (const VertexMove& move : vMoves) {
        if (!isFinitePoint(move.second) || mesh.hasVertex(move.second)) return false;
        vPlace.push_back(move.second);
    }
    oneInstance(vPlace);
    return vPlace.size() == vMoves.size();
}

Replacement CrossingRemover::moveOfAll(const Spread& mPlace) const {
    std::vector<RTriangle*> vAround;
    for (const auto& at : mPlace)
        mesh.getIncidentT(at.first, vAround);
    oneInstance(vAround);
    Replacement step;
    for (const RTriangle* pRT : vAround) {
        const auto placeOf = [&](int i) {
            const auto it = mPlace.find(pRT->getCorner(i));
            return it != mPlace.end() ? it->second : *pRT->getCorner(i);
        };
        step.vOld.push_back(pRT);
        step.vNew.push_back({placeOf(0), placeOf(1), placeOf(2)});
    }
    return step;
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
    } else if (change.kind == Change::SPREAD) {
        for (const auto& [p, place] : change.vMoves) {
            mesh.updateVertex(p, place);
            mesh.getIncidentT(p, vChanged);
        }
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
