// Edges of degree three. Where a sheet ends in the middle of another one, an edge has three triangles: two of the sheet that
// goes on and one of the flap. Seen alone the three are alike; what tells them apart is the border of the flap, which runs
// into the edge at an end and can't pass it. Such an edge is evil: exactly one border edge ends at one of its ends.
//
// repairDeg3 looks at evil edges twice. First with care: of the triangles on the edge, smallest first, one goes that is no
// part of a sheet, because manifold edges lead from it to one neighbour at most, ears left out. Then what is left is eaten
// from its border:
//
//      f ===== e ===== v        f-e and e-v have degree 3; the flap hangs below them and ends at v-w, the one border edge at
//       \     / \  T  /|        v. The triangle on v-w goes. Now u-v is the border at v, and T goes. So e-v has degree 2,
//        \   /   \   / |        and e-u is the one border edge at e: f-e is next.
//          t ----- u - w
//
// This is repeated for all edges in turn until a round finds nothing. A round of the plain loop looks at every edge, and a
// flap that hangs on a long line of edges is often eaten by one edge a round: the square of its length. But an edge asks for
// nothing but the edges at its two ends. So only edges at whose ends a triangle has died since are asked again (RoundList),
// in the order in which the plain loop would come to them.
//
// The second way follows whole chains of such edges: it closes them over edges of the mesh and kills the small piece within
// the ring.
#include "Top.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Chain.h"
#include "ChainMgr.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The border edge that ends at the vertex; null when there is none or more than one.
CEdge* onlyBorderEdge(const CMesh* pCMesh, VCD vcd) {
    std::vector<CEdge*> vIncCE;
    pCMesh->getIncidentCE(vcd, vIncCE);
    CEdge* pOnlyCE = nullptr;
    for (CEdge* pCE : vIncCE) {
        if (pCE->getDegree() != 1) continue;
        if (pOnlyCE != nullptr) return nullptr;
        pOnlyCE = pCE;
    }
    return pOnlyCE;
}

/// In the given order. Many edges may share a vertex: each is looked at once.
std::vector<CEdge*> evilEdges(const CMesh* pCMesh, const std::vector<CEdge*>& vCE) {
    std::vector<VCD> vEvilVCD;
    for (const CEdge* pCE : vCE)
        vEvilVCD.insert(vEvilVCD.end(), {pCE->v0, pCE->v1});
    oneInstance(vEvilVCD);
    std::erase_if(vEvilVCD, [pCMesh](VCD vcd) { return onlyBorderEdge(pCMesh, vcd) == nullptr; });
    const auto isEvil = [&](VCD vcd) { return std::binary_search(vEvilVCD.begin(), vEvilVCD.end(), vcd); };
    std::vector<CEdge*> vEvil;
    std::copy_if(vCE.begin(), vCE.end(), std::back_inserter(vEvil),
                 [&](const CEdge* pCE) { return isEvil(pCE->v0) || isEvil(pCE->v1); });
    return vEvil;
}

/// The triangles on the edge by area, the oldest of equal ones first.
std::vector<CTriangle*> smallestFirst(const CMesh* pCMesh, const CEdge* pCE) {
    std::vector<std::pair<double, CTriangle*>> vArea;
    for (CTriangle* pCT : pCE->vCT)
        vArea.emplace_back(pCT->getArea(pCMesh), pCT);
    std::sort(vArea.begin(), vArea.end());
    std::vector<CTriangle*> vT;
    for (const auto& [area, pCT] : vArea)
        vT.push_back(pCT);
    return vT;
}

/// The neighbours over manifold edges, the edge pCE left out.
std::vector<CTriangle*> manifoldNeighbours(const CTriangle* pCT, const CEdge* pCE) {
    std::vector<CTriangle*> vNeigT;
    for (int i = 0; i < 3; ++i)
        if (pCT->getCE(i) != pCE && pCT->getCE(i)->getDegree() == 2)
            vNeigT.push_back(pCT->getCE(i)->getUniqueOtherTriangle(pCT));
    return vNeigT;
}

/// The eating at the two ends of an edge. Appends to vNext as Top::deleteAroundEvilDeg3 says; returns the killed triangles,
/// two at most.
std::vector<CTriangle*> eatAtEnds(CMesh* pCMesh, const CEdge* pCE, std::vector<CEdge*>& vNext) {
    std::vector<CTriangle*> vKilled;
    for (const VCD vcd : {pCE->v0, pCE->v1}) {
        if (pCE->getDegree() != 3) break;
        const CEdge* pBorderCE = onlyBorderEdge(pCMesh, vcd);
        if (pBorderCE == nullptr) continue;
        CTriangle* pKillT = pBorderCE->getTriangle(true, true);
        ASSEX(pKillT!=NULL);
        pKillT->kill(pCMesh);
        vKilled.push_back(pKillT);
        for (int i = 0; i < 3; ++i)
            if (pKillT->getCE(i)->getDegree() == 3) vNext.push_back(pKillT->getCE(i));
    }
    return vKilled;
}

/// Edges in an order that are visited in rounds; each round visits those that have become due, in this order.
///
/// All are due at first. One is due again when something changed at one of its ends after its visit: in the same round when
/// its turn comes later, else in the next one. Edges that are inserted before the visited one have their first turn in the
/// next round. The order is kept as places, numbers with gaps; when a gap is used up all edges get new places.
class RoundList {
public:
    explicit RoundList(const std::vector<CEdge*>& vCE) {
        for (CEdge* pCE : vCE) {
            last = append(pCE, last);
            sDue.insert(last);
        }
    }
    RoundList(const RoundList&) = delete;  // the sets refer to it
    RoundList& operator=(const RoundList&) = delete;

    /// Goes on to the next visit and returns its edge; null when nothing is due in any round.
    CEdge* next() {
        if (sDue.empty()) sDue.swap(sNextRound);
        if (sDue.empty()) return nullptr;
        current = *sDue.begin();
        sDue.erase(sDue.begin());
        return vEntry[current].pCE;
    }
    void insertBeforeVisited(CEdge* pCE) {
        const std::size_t added = append(pCE, vEntry[current].previous);
        vEntry[current].previous = added;
        const auto gap = [&] { return vEntry[current].place - placeBefore(added); };
        if (gap() < 2)
            spread();
        else
            vEntry[added].place = placeBefore(added) + gap() / 2;
        sNextRound.insert(added);
    }
    void changedAt(VCD vcd) {
        const auto it = mEntriesAt.find(vcd);
        if (it == mEntriesAt.end()) return;
        for (const std::size_t entry : it->second)
            if (entry != current) (isBefore(current, entry) ? sDue : sNextRound).insert(entry);
    }

private:
    static constexpr std::size_t NONE = ~std::size_t{0};
    static constexpr std::uint64_t GAP = std::uint64_t{1} << 32;

    struct Entry {
        CEdge* pCE;
        std::size_t previous;  // in the order; NONE for the first one
        std::uint64_t place;
    };
    struct ByPlace {
        const RoundList* pList;
        bool operator()(std::size_t a, std::size_t b) const { return pList->isBefore(a, b); }
    };

    bool isBefore(std::size_t a, std::size_t b) const { return vEntry[a].place < vEntry[b].place; }
    std::uint64_t placeBefore(std::size_t entry) const {
        return vEntry[entry].previous == NONE ? 0 : vEntry[vEntry[entry].previous].place;
    }
    std::size_t append(CEdge* pCE, std::size_t previous) {
        vEntry.push_back({pCE, previous, GAP * (vEntry.size() + 1)});
        mEntriesAt[pCE->v0].push_back(vEntry.size() - 1);
        mEntriesAt[pCE->v1].push_back(vEntry.size() - 1);
        return vEntry.size() - 1;
    }
    // Keeps the order, so that the sets stay as they are.
    void spread() {
        std::uint64_t place = GAP * (vEntry.size() + 1);
        for (std::size_t entry = last; entry != NONE; entry = vEntry[entry].previous)
            vEntry[entry].place = place -= GAP;
    }

    std::vector<Entry> vEntry;
    std::map<VCD, std::vector<std::size_t>> mEntriesAt;
    std::set<std::size_t, ByPlace> sDue{ByPlace{this}}, sNextRound{ByPlace{this}};
    std::size_t last = NONE;
    std::size_t current = NONE;
};

/// Each edge until it has nothing more to eat, again and again.
void eatBorders(CMesh* pCMesh, const std::vector<CEdge*>& vDeg3) {
    RoundList list(vDeg3);
    while (const CEdge* pCE = list.next()) {
        for (;;) {
            std::vector<CEdge*> vNext;
            const std::vector<CTriangle*> vKilled = eatAtEnds(pCMesh, pCE, vNext);
            if (vKilled.empty()) break;
            for (CEdge* pNextCE : vNext)
                list.insertBeforeVisited(pNextCE);
            for (const CTriangle* pCT : vKilled)
                for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
                    list.changedAt(vcd);
        }
    }
}

/// Every edge of the chain has one of the triangles. For a chain of one edge the triangle must be the whole ring.
bool fillsChain(const std::vector<CTriangle*>& vGroup, const std::list<CEdge*>& lChainCE, const std::set<CEdge*>& sFences) {
    std::set<const CEdge*> sGroupCE;
    for (const CTriangle* pCT : vGroup)
        for (int i = 0; i < 3; ++i)
            sGroupCE.insert(pCT->getCE(i));
    const auto isHeld = [&](const CEdge* pCE) { return sGroupCE.count(pCE) != 0; };
    if (lChainCE.size() == 1)
        return vGroup.size() == 1 && sFences.size() == 3 && std::all_of(sFences.begin(), sFences.end(), isHeld);
    return std::all_of(lChainCE.begin(), lChainCE.end(), isHeld);
}

}  // namespace

void Top::repairDeg3() {
    std::vector<CEdge*> vDeg3;
    pCMesh->getDegN(3, vDeg3);
    for (CEdge* pCE : evilEdges(pCMesh, vDeg3))
        if (pCE->getDegree() == 3) tryRepairEvilDeg3(pCE, smallestFirst(pCMesh, pCE));
    eatBorders(pCMesh, vDeg3);
}

bool Top::tryRepairEvilDeg3(CEdge* pCE, const std::vector<CTriangle*>& vT) {
    for (CTriangle* pCT : vT) {
        if (manifoldNeighbours(pCT, pCE).size() >= 2) continue;
        pCT->kill(pCMesh);
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
        pCT->kill(pCMesh);
        if (pEar != nullptr && pEar->isAlive()) pEar->kill(pCMesh);
        return true;
    }
    return false;
}

bool Top::deleteAroundEvilDeg3(CEdge* pCE, std::vector<CEdge*>& vNext) {
    return !eatAtEnds(pCMesh, pCE, vNext).empty();
}

// ---- Whole chains -------------------------------------------------------------------------------------------------------

void Top::completeDeg3ChainsAndRemoveT() {
    std::vector<CEdge*> vDeg3;
    pCMesh->getDegN(3, vDeg3);
    std::multimap<VCD, CEdge*> mmVCD2CE;
    createMap(vDeg3, mmVCD2CE);
    const ChainMgr chainMgr(pCMesh, mmVCD2CE, false);
    for (std::size_t i = 0; i < chainMgr.getSize(); ++i) {
        Chain* pChain = chainMgr.getChain(i);
        if (pChain->empty()) continue;
        std::vector<CEdge*> vSolution;
        if (tryClose(pChain, vSolution)) tryKillT(pChain, vSolution);
    }
}

bool Top::tryClose(Chain* pChain, std::vector<CEdge*>& vSolution) {
    if (pChain->isClosed()) return true;
    for (const CEdge* pCE : pChain->lMemberCE)
        if (pCE->getDegree() == 0 || pCE->getDegree() == 2) return false;
    return pChain->findClosingEdges([](const CEdge*) { return true; }, false, vSolution);
}

// A piece with a triangle on every edge of the chain has one on the first edge, so it is enough to start there. The limit of
// the flood keeps the piece small.
bool Top::tryKillT(Chain* pChain, std::vector<CEdge*>& vSolution) {
    if (pChain->empty()) return false;
    std::set<CEdge*> sFences(vSolution.begin(), vSolution.end());
    sFences.insert(pChain->lMemberCE.begin(), pChain->lMemberCE.end());
    for (CTriangle* pStartCT : pChain->lMemberCE.front()->vCT) {
        std::vector<CTriangle*> vStack{pStartCT}, vGroup;
        if (!bfs(pChain->getSize(), vStack, sFences, vGroup)) continue;
        if (!fillsChain(vGroup, pChain->lMemberCE, sFences)) continue;
        for (CTriangle* pCT : vGroup)
            pCT->kill(pCMesh);
        return true;
    }
    return false;
}

bool Top::bfs(std::size_t maxNumT, std::vector<CTriangle*>& vStack, std::set<CEdge*>& sFences,
              std::vector<CTriangle*>& vGroup) {
    std::set<CTriangle*> sSeen(vStack.begin(), vStack.end());
    std::set<const CEdge*> sCrossed;
    for (const CTriangle* pCT : vStack)
        ASSEX(pCT->isAlive());
    vGroup.clear();
    while (!vStack.empty() && sSeen.size() <= maxNumT) {
        const CTriangle* pCT = vStack.back();
        vStack.pop_back();
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pCT->getCE(i);
            if (sFences.count(pCE) != 0 || !sCrossed.insert(pCE).second) continue;
            for (CTriangle* pNeigT : pCE->vCT)
                if (sSeen.insert(pNeigT).second) vStack.push_back(pNeigT);
        }
    }
    vStack.clear();
    if (sSeen.size() <= maxNumT) vGroup.assign(sSeen.begin(), sSeen.end());
    return !vGroup.empty();
}

void Top::createMap(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE) const {
    oneInstance(vCE);
    enterBothEnds(mmVCD2CE, vCE);
}

}  // namespace TARN_KEL
