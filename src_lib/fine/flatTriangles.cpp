// A flat triangle is a needle, with one short side, or a cap, with a corner on the side opposite it:
//
//      needle           cap          a---m---b       The needle loses its short side, by a collapse onto the older end. The
//        a-b            a--m--b       \     /        cap is exchanged for a cut of the triangles beyond its longest side.
//         \|             '---'    ->   \   /
//          c               c             c
//
// Each step may leave neighbours flat, so these are looked at again.
//
// A collapse across a waist of three edges would pinch the surface there, and a cut towards a vertex that the corner has an
// edge to already would make that edge one of four triangles. Where the mesh is to stay manifold such steps are left out;
// the collapse near the triangle that turns normals least, of those that are allowed, takes their place.
#include "flatTriangles.h"

#include <algorithm>
#include <array>
#include <vector>

#include "RMesh.h"
#include "StepWatch.h"
#include "collapses.h"
#include "edgeGeometry.h"
#include "flood.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

// Steps for each triangle that was flat at first. A step removes a flat triangle, so this is far more than is needed, unless
// neighbours make each other flat again: that could go on for ever, and is what the limit ends. Otherwise no result depends
// on its size.
constexpr std::size_t MAX_STEPS = 20;

bool isFlat(const RTriangle& rt) {
    return isFlat(*rt.aCorners[1] - *rt.aCorners[0], *rt.aCorners[2] - *rt.aCorners[0]);
}

class FlatRemover {
public:
    FlatRemover(RMesh& mesh_, bool bKeepManifold_) : mesh(mesh_), bKeepManifold(bKeepManifold_) {}

    /// Returns the number of flat triangles found.
    std::size_t run() {
        for (RTriangle* pRT : mesh.vRT)
            if (pRT->isAlive() && isFlat(*pRT)) vFlat.push_back(pRT);
        const std::size_t numFlat = vFlat.size();
        std::size_t numSteps = MAX_STEPS * numFlat;
        workThrough(vFlat, [&](RTriangle* pRT) {
            if (!pRT->isAlive() || !isFlat(*pRT)) return;
            if (numSteps == 0) {
                giveUp(pRT);
                return;
            }
            --numSteps;
            removeOne(pRT);
        });
        return numFlat;
    }

    /// With bKeepManifold, after run(): the triangles that are still flat.
    void getLeft(std::vector<RTriangle*>& vOut) {
        std::erase_if(vLeft, [](const RTriangle* pRT) { return !pRT->isAlive() || !isFlat(*pRT); });
        oneInstance(vLeft);
        vOut = vLeft;
    }

private:
    void removeOne(RTriangle* pRT) {
        const auto length = [pRT](int i) { return pRT->getRE(i)->getLength(); };
        const int shortest = std::min({0, 1, 2}, [&](int i, int j) { return length(i) < length(j); });
        const int longest = pRT->getLargestEdgeICI();
        // Both other sides of a needle have nearly the same length.
        const bool bNeedle = length(shortest) <= 2.0 * FLAT_HEIGHT * length(longest);
        const REdge* pRE = pRT->getRE(bNeedle ? shortest : longest);
        Point3* pCorner = pRT->getCorner(longest);
        const bool bManifold =
            !bKeepManifold || (bNeedle ? canCollapseManifold(mesh, pRE->pVtx1, pRE->pVtx0) : canCutManifold(pCorner, *pRE));
        if (!bManifold || !isFree(bNeedle, pRT, pCorner, *pRE))
            removeOtherwise(pRT);
        else if (bNeedle)
            collapse(pRE);
        else
            cutBeyond(pRT, pCorner, pRE);
    }

    /// The step makes nothing cross, or nobody watches that.
    bool isFree(bool bNeedle, const RTriangle* pRT, const Point3* pCorner, const REdge& edge) const {
        if (mesh.pWatch == nullptr) return true;
        if (bNeedle) return mesh.pWatch->allowsCollapse(edge.pVtx1, edge.pVtx0);
        Replacement step{{pRT}, {}};
        for (const RTriangle* pBeyond : edge.vRT) {
            if (pBeyond->has(pCorner)) continue;
            step.vOld.push_back(pBeyond);
            const Point3* pThird = pBeyond->getThirdPoint(edge.pVtx0, edge.pVtx1);
            for (const Point3* pEnd : {edge.pVtx0, edge.pVtx1})
                step.vNew.push_back({*pThird, *pEnd, *pCorner});
        }
        return mesh.pWatch->allows(step);
    }

    void removeOtherwise(RTriangle* pRT) {
        if (const Point3* pLeft = collapseCheapest(mesh, *pRT, bKeepManifold))
            enterFlatAt(pLeft);
        else if (bKeepManifold && isTetrahedron(*pRT))
            killTetrahedron(pRT);
        else
            giveUp(pRT);
    }

    /// The triangle and those beside it are a body of their own. It has no volume when one of them is flat.
    bool isTetrahedron(const RTriangle& rt) const {
        const Point3* pApex = nullptr;
        for (int i = 0; i < 3; ++i) {
            const RTriangle* pNeigT = rt.getRE(i)->getUniqueOtherTriangle(&rt);
            if (pNeigT == nullptr) return false;
            const Point3* pThird = pNeigT->getThirdPoint(rt.getRE(i)->pVtx0, rt.getRE(i)->pVtx1);
            if (i > 0 && pThird != pApex) return false;
            pApex = pThird;
        }
        return true;
    }

    void killTetrahedron(RTriangle* pRT) {
        for (int i = 0; i < 3; ++i)
            pRT->getRE(i)->getUniqueOtherTriangle(pRT)->kill(&mesh);
        pRT->kill(&mesh);
    }

    void giveUp(RTriangle* pRT) {
        if (bKeepManifold)
            vLeft.push_back(pRT);
        else
            pRT->kill(&mesh);
    }

    void collapse(const REdge* pRE) {
        Point3* pTrg = pRE->pVtx0;
        mesh.exchangeCorner(pRE->pVtx1, pTrg);
        enterFlatAt(pTrg);
    }

    void enterFlatAt(const Point3* p) {
        std::vector<RTriangle*> vIncT;
        mesh.getIncidentT(p, vIncT);
        for (RTriangle* pRT : vIncT)
            if (isFlat(*pRT)) vFlat.push_back(pRT);
    }

    /// Whether the cap with that corner opposite the edge may be replaced by a cut. On a border it is removed without one,
    /// and its corner becomes a border vertex, which it must not be yet.
    bool canCutManifold(const Point3* pCorner, const REdge& edge) const {
        if (edge.getDegree() == 1) return !isAtBorder(mesh, pCorner);
        return edge.getDegree() == 2 && std::none_of(edge.vRT.begin(), edge.vRT.end(), [&](const RTriangle* pRT) {
                   const Point3* pBeyond = pRT->getThirdPoint(edge.pVtx0, edge.pVtx1);
                   return pBeyond != pCorner && mesh.hasAliveEdge(pBeyond, pCorner);
               });
    }

    void cutBeyond(RTriangle* pCap, Point3* pCorner, const REdge* pRE) {
        pCap->kill(&mesh);
        const std::vector<RTriangle*> vBeyond(pRE->vRT.begin(), pRE->vRT.end());
        for (RTriangle* pRT : vBeyond) {
            if (pRT->has(pCorner)) continue;  // a duplicate of the triangle
            const std::array<Point3*, 3> corners{pRT->aCorners[0], pRT->aCorners[1], pRT->aCorners[2]};
            pRT->kill(&mesh);
            // With its last triangle the edge is dead, too. It keeps its ends: pools keep what they gave out, and what dies
            // keeps its content.
            for (const Point3* pOld : {pRE->pVtx0, pRE->pVtx1}) {
                const auto cut = [&](std::size_t i) { return corners[i] == pOld ? pCorner : corners[i]; };
                RTriangle* pNewT = mesh.createT(cut(0), cut(1), cut(2));
                if (isFlat(*pNewT)) vFlat.push_back(pNewT);
            }
        }
    }

    RMesh& mesh;
    const bool bKeepManifold;
    std::vector<RTriangle*> vFlat;
    std::vector<RTriangle*> vLeft;  // given up
};

}  // namespace

std::size_t removeFlatTriangles(RMesh& mesh) {
    return FlatRemover(mesh, false).run();
}

std::size_t removeFlatKeepingManifold(RMesh& mesh, std::vector<RTriangle*>& vLeft) {
    FlatRemover remover(mesh, true);
    const std::size_t numFlat = remover.run();
    remover.getLeft(vLeft);
    return numFlat;
}

}  // namespace TARN_KEL
