// A flat triangle is a needle, with one short side, or a cap, with a corner on the side opposite it:
//
//      needle           cap          a---m---b       The needle loses its short side, by a collapse onto the older end. The
//        a-b            a--m--b       \     /        cap is exchanged for a cut of the triangles beyond its longest side.
//         \|             '---'    ->   \   /
//          c               c             c
//
// Each step may leave neighbours flat, so these are looked at again.
#include "flatTriangles.h"

#include <algorithm>
#include <array>
#include <vector>

#include "RMesh.h"
#include "freeFunctions.h"

namespace TARN_KEL {

namespace {

constexpr double FLAT = 1e-6;  // of the longest side

// Steps for each triangle that was flat at first. A step removes a flat triangle, so this is far more than is needed, unless
// neighbours make each other flat again: that could go on for ever, and is what the limit ends. No result hangs on its size
// elsewhere.
constexpr std::size_t MAX_STEPS = 20;

/// Scaled by the longest side first, so that the size of the mesh doesn't count.
bool isFlat(const RTriangle& rt) {
    const Point3 &a = *rt.aCorners[0], &b = *rt.aCorners[1], &c = *rt.aCorners[2];
    const double longest = std::max({(b - a).length(), (c - b).length(), (a - c).length()});
    return !(crossProduct((b - a) / longest, (c - a) / longest).length() > FLAT);
}

class FlatRemover {
public:
    explicit FlatRemover(RMesh& mesh_) : mesh(mesh_) {}

    std::size_t run() {
        for (RTriangle* pRT : mesh.vRT)
            if (pRT->isAlive() && isFlat(*pRT)) vFlat.push_back(pRT);
        const std::size_t numFlat = vFlat.size();
        std::size_t numSteps = MAX_STEPS * numFlat;
        while (!vFlat.empty()) {
            RTriangle* pRT = vFlat.back();
            vFlat.pop_back();
            if (!pRT->isAlive() || !isFlat(*pRT)) continue;
            if (numSteps == 0) {
                pRT->kill(&mesh);
                continue;
            }
            --numSteps;
            removeOne(pRT);
        }
        return numFlat;
    }

private:
    void removeOne(RTriangle* pRT) {
        const auto length = [pRT](int i) { return pRT->getRE(i)->getLength(); };
        const int shortest = std::min({0, 1, 2}, [&](int i, int j) { return length(i) < length(j); });
        const int longest = pRT->getLargestEdgeICI();
        // Both other sides of a needle have nearly the same length.
        if (length(shortest) <= 2.0 * FLAT * length(longest))
            collapse(pRT->getRE(shortest));
        else
            cutBeyond(pRT, pRT->getCorner(longest), pRT->getRE(longest));
    }

    void collapse(const REdge* pRE) {
        Point3* pTrg = pRE->pVtx0;
        mesh.exchangeCorner(pRE->pVtx1, pTrg);
        std::vector<RTriangle*> vIncT;
        mesh.getIncidentT(pTrg, vIncT);
        for (RTriangle* pRT : vIncT)
            if (isFlat(*pRT)) vFlat.push_back(pRT);
    }

    void cutBeyond(RTriangle* pCap, Point3* pCorner, const REdge* pRE) {
        pCap->kill(&mesh);
        const std::vector<RTriangle*> vBeyond(pRE->vRT.begin(), pRE->vRT.end());
        for (RTriangle* pRT : vBeyond) {
            if (pRT->has(pCorner)) continue;  // the same triangle once more
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
    std::vector<RTriangle*> vFlat;
};

}  // namespace

std::size_t removeFlatTriangles(RMesh& mesh) {
    return FlatRemover(mesh).run();
}

}  // namespace TARN_KEL
