// Thins flaps at edges of degree three. Where a sheet ends in the middle of another one, an edge has three triangles: two of
// the sheet that continues and one of the flap. By themselves the three look alike. What tells them apart is the border of
// the flap, which runs into an end of the edge and ends there. Such an edge is called evil: exactly one border edge ends at
// one of its ends.
//
// thinFlaps() works in two steps. First with care: of the triangles on an evil edge, smallest first, it kills one that is no
// part of a sheet, because manifold edges lead from it to one neighbour at most, ears not counted. Then the flaps that are
// left are eaten from their border:
//
//      f ===== e ===== v        f-e and e-v have degree 3. The flap is drawn below them and ends at v-w, the one border edge
//       \     / \  T  /|        at v. The triangle on v-w is killed. Now u-v is the border edge at v, and T is killed. So
//        \   /   \   / |        e-v has degree 2, and e-u is the one border edge at e: f-e is next.
//          t ----- u - w
//
// This is repeated for all edges in turn until a round finds nothing. In a plain loop each round would look at every edge,
// and a flap along a long line of edges is often eaten by one edge a round, which takes the square of its length. But only
// the edges at its two ends matter to an edge. So an edge is looked at again only if a triangle at its ends has died since
// (RoundList), in the order of the plain loop.
#include "degree3.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "CMesh.h"
#include "RoundList.h"
#include "sortMT.h"
#include "tools.h"
#include "transformed.h"

namespace TARN_KEL {

namespace {

/// The border edge that ends at the vertex; null when there is none or more than one.
CEdge* onlyBorderEdge(const CMesh& mesh, VCD vcd) {
    std::vector<CEdge*> vIncCE;
    mesh.getIncidentCE(vcd, vIncCE);
    CEdge* pOnlyCE = nullptr;
    for (CEdge* pCE : vIncCE) {
        if (pCE->getDegree() != 1) continue;
        if (pOnlyCE != nullptr) return nullptr;
        pOnlyCE = pCE;
    }
    return pOnlyCE;
}

/// The evil ones of these edges, in the given order. Many edges may share a vertex: each vertex is looked at once.
std::vector<CEdge*> evilEdges(const CMesh& mesh, const std::vector<CEdge*>& vCE) {
    std::vector<VCD> vEvilVCD;
    for (const CEdge* pCE : vCE)
        vEvilVCD.insert(vEvilVCD.end(), {pCE->v0, pCE->v1});
    oneInstance(vEvilVCD);
    std::erase_if(vEvilVCD, [&mesh](VCD vcd) { return onlyBorderEdge(mesh, vcd) == nullptr; });
    const auto isEvil = [&](VCD vcd) { return std::binary_search(vEvilVCD.begin(), vEvilVCD.end(), vcd); };
    std::vector<CEdge*> vEvil;
    std::copy_if(vCE.begin(), vCE.end(), std::back_inserter(vEvil),
                 [&](const CEdge* pCE) { return isEvil(pCE->v0) || isEvil(pCE->v1); });
    return vEvil;
}

/// The triangles on the edge by area, the oldest of equal ones first.
std::vector<CTriangle*> smallestFirst(const CMesh& mesh, const CEdge* pCE) {
    auto vArea = transformed(pCE->vCT, [&mesh](CTriangle* pCT) { return std::pair(pCT->getArea(&mesh), pCT); });
    std::sort(vArea.begin(), vArea.end());
    return transformed(vArea, [](const auto& area) { return area.second; });
}

/// The neighbours over manifold edges, the edge pCE left out.
std::vector<CTriangle*> manifoldNeighbours(const CTriangle* pCT, const CEdge* pCE) {
    std::vector<CTriangle*> vNeigT;
    for (int i = 0; i < 3; ++i)
        if (pCT->getCE(i) != pCE && pCT->getCE(i)->getDegree() == 2)
            vNeigT.push_back(pCT->getCE(i)->getUniqueOtherTriangle(pCT));
    return vNeigT;
}

/// Calls eatAtEnds() for each edge until it kills nothing more there, in rounds.
void eatBorders(CMesh& mesh, const std::vector<CEdge*>& vDeg3) {
    RoundList list(vDeg3);
    while (const CEdge* pCE = list.next()) {
        for (;;) {
            std::vector<CEdge*> vNext;
            const std::vector<CTriangle*> vKilled = eatAtEnds(mesh, pCE, vNext);
            if (vKilled.empty()) break;
            for (CEdge* pNextCE : vNext)
                list.insertBeforeVisited(pNextCE);
            for (const CTriangle* pCT : vKilled)
                for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
                    list.changedAt(vcd);
        }
    }
}

}  // namespace

void thinFlaps(CMesh& mesh) {
    std::vector<CEdge*> vDeg3;
    mesh.getDegN(3, vDeg3);
    for (CEdge* pCE : evilEdges(mesh, vDeg3))
        if (pCE->getDegree() == 3) killFlapTriangle(mesh, pCE, smallestFirst(mesh, pCE));
    eatBorders(mesh, vDeg3);
}

bool killFlapTriangle(CMesh& mesh, const CEdge* pCE, const std::vector<CTriangle*>& vT) {
    for (CTriangle* pCT : vT) {
        if (manifoldNeighbours(pCT, pCE).size() >= 2) continue;
        pCT->kill(&mesh);
        return true;
    }
    for (CTriangle* pCT : vT) {
        int numGood = 0;
        CTriangle* pEar = nullptr;
        for (CTriangle* pNeigT : manifoldNeighbours(pCT, pCE)) {
            if (pNeigT->countEdges(1, 1) == 2)
                pEar = pNeigT;
            else
                ++numGood;
        }
        if (numGood >= 2) continue;
        pCT->kill(&mesh);
        if (pEar != nullptr && pEar->isAlive()) pEar->kill(&mesh);
        return true;
    }
    return false;
}

std::vector<CTriangle*> eatAtEnds(CMesh& mesh, const CEdge* pCE, std::vector<CEdge*>& vNext) {
    std::vector<CTriangle*> vKilled;
    for (const VCD vcd : {pCE->v0, pCE->v1}) {
        if (pCE->getDegree() != 3) break;
        const CEdge* pBorderCE = onlyBorderEdge(mesh, vcd);
        if (pBorderCE == nullptr) continue;
        CTriangle* pKillT = pBorderCE->getTriangle(true, true);
        ASSEX(pKillT!=NULL);
        pKillT->kill(&mesh);
        vKilled.push_back(pKillT);
        for (int i = 0; i < 3; ++i)
            if (pKillT->getCE(i)->getDegree() == 3) vNext.push_back(pKillT->getCE(i));
    }
    return vKilled;
}

}  // namespace TARN_KEL
