// Decides which collapses keep the mesh manifold, and which collapse turns normals least.
#include "collapses.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <vector>

#include "RMesh.h"
#include "StepWatch.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double NO_TURN_YET = 361.0;
// With a watch, a vertex of k triangles costs O(k^2) for each of its k edges, and again for each flat triangle there.
constexpr std::size_t MAX_MOVING = 64;

/// The largest turn of a normal when p moves to newPos, as far as it is below the limit.
double largestTurn(const std::vector<RTriangle*>& vIncT, const Point3* p, const Point3& newPos, double limit) {
    double dev = 0.0;
    for (const RTriangle* pRT : vIncT) {
        if (dev >= limit) break;
        dev = std::max(dev, pRT->getDevIfRepl(pRT->getICI(p), newPos, true));
    }
    return dev;
}

}  // namespace

bool isAtBorder(const RMesh& mesh, const Point3* p) {
    std::vector<RTriangle*> vIncT;
    mesh.getIncidentT(p, vIncT);
    return std::any_of(vIncT.begin(), vIncT.end(), [p](const RTriangle* pRT) {
        bool bBorder = false;
        forEachEdgeAt(*pRT, p, [&bBorder](const REdge* pRE) { bBorder = bBorder || pRE->getDegree() == 1; });
        return bBorder;
    });
}

bool canCollapseManifold(const RMesh& mesh, const Point3* pSrc, const Point3* pTrg) {
    const REdge* pRE = mesh.getEdge(pSrc, pTrg);
    if (pRE == nullptr || !pRE->isAlive()) return false;
    if (pRE->getDegree() > 1 && isAtBorder(mesh, pSrc) && isAtBorder(mesh, pTrg)) return false;
    std::vector<Point3*> vSrcRing, vTrgRing, vShared;
    mesh.getRingVtx(pSrc, vSrcRing);
    mesh.getRingVtx(pTrg, vTrgRing);
    std::set_intersection(vSrcRing.begin(), vSrcRing.end(), vTrgRing.begin(), vTrgRing.end(), std::back_inserter(vShared));
    return vShared.size() == static_cast<std::size_t>(pRE->getDegree()) && mesh.canCollapseWithoutDups(pSrc, pTrg);
}

Point3* collapseCheapest(RMesh& mesh, const RTriangle& rt, bool bKeepManifold) {
    const auto mayCollapse = [&](const Point3* pSrc, const REdge& edge) {
        const Point3* pTrg = edge.getOtherPoint(pSrc);
        if (bKeepManifold && !canCollapseManifold(mesh, pSrc, pTrg)) return false;
        return mesh.pWatch == nullptr || mesh.pWatch->allowsCollapse(pSrc, pTrg);
    };
    const bool bMayFail = bKeepManifold || mesh.pWatch != nullptr;
    double bestDev = NO_TURN_YET;
    const REdge* pBestRE = nullptr;
    Point3* pBestSrc = nullptr;
    for (Point3* p : rt.aCorners) {
        std::vector<RTriangle*> vIncT;
        mesh.getIncidentT(p, vIncT);
        ASSEX(!vIncT.empty());
        if (bMayFail && vIncT.size() > MAX_MOVING) continue;
        std::vector<REdge*> vIncRE;
        mesh.getIncidentRE(p, vIncRE);
        ASSEX(!vIncRE.empty());
        for (const REdge* pRE : vIncRE) {
            const double dev = largestTurn(vIncT, p, *pRE->getOtherPoint(p), bestDev);
            if (bestDev > dev && mayCollapse(p, *pRE)) std::tie(bestDev, pBestRE, pBestSrc) = std::tuple(dev, pRE, p);
        }
    }
    if (bMayFail && pBestRE == nullptr) return nullptr;
    ASSEX(pBestRE!=NULL);
    ASSEX(pBestSrc!=NULL);
    Point3* pTrg = pBestRE->getOtherPoint(pBestSrc);
    mesh.exchangeCorner(pBestSrc, pTrg);
    return pTrg;
}

}  // namespace TARN_KEL
