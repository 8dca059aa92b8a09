// Cuts a set of edges into chains, in rounds.
//
// At a vertex where more than two edges meet, it isn't clear which way to go on. So a round first hides these vertices: the
// edges end there, and what is left are simple paths and rings. Rings are closed chains. A path between two hidden vertices
// may be closed over an edge or two of the mesh. What closes is kept, and its edges are taken out:
//
//        .--.        .--.                       Three holes of a sheet touch at v and w. The first round hides v and w,
//       /    \  A   /    \                      and finds the rings at both ends (they start and end at one vertex) and the
//      |      v    w      |                     two paths A and B. Without the rings two edges are left at v and at w, so
//       \    /  B   \    /                      the next round chains A and B to one ring.
//        '--'        '--'
//
// When a round closes nothing, neither would any later one: the last round chains what is left again, and these open chains
// are kept.
//
// The rounds take a long row of such holes apart from both ends. Chaining all that is left in each of them would cost the
// square of the row's length, and leave as many dissolved chains. But a path changes only where a vertex at its end is no
// longer hidden. The others would be chained in the same way again, and what didn't close before won't close now, since
// there are never more free edges than before. So in later rounds the map holds only the paths through the vertices that
// are no longer hidden.
#include "ChainMgr.h"

#include <iterator>
#include <memory>
#include <set>
#include <utility>

#include "CMesh.h"
#include "flood.h"
#include "handOver.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int ROUNDS_OF_ALL = 16;

/// The edges that no closed chain has, under both their ends: sorted by code, then by age.
class Remainder {
public:
    explicit Remainder(const EdgesByEnd& mm) : sEnd(mm.begin(), mm.end()) {}

    EdgesByEnd all() const { return {sEnd.begin(), sEnd.end()}; }

    /// Removes the edges of the chain and appends the vertices that lose one. Edges that aren't here, over which the chain
    /// was closed, are ignored.
    void take(const Chain& chain, std::vector<VCD>& vTouched) {
        for (CEdge* pCE : chain.lMemberCE)
            for (const VCD vcd : {pCE->v0, pCE->v1})
                if (sEnd.erase({vcd, pCE}) != 0) vTouched.push_back(vcd);
    }

    /// The paths through those of the vertices that aren't of high degree, up to vertices of high degree, whose entries are
    /// left out.
    EdgesByEnd pathsThrough(std::vector<VCD> vStack) const {
        std::erase_if(vStack, [this](VCD vcd) { return isHigh(vcd); });
        oneInstance(vStack);
        std::set<VCD> sSeen(vStack.begin(), vStack.end());
        EdgesByEnd mm;
        const auto forEachNext = [&](VCD vcd, const auto& offer) {
            for (auto it = firstAt(vcd); it != sEnd.end() && it->first == vcd; ++it) {
                mm.insert(*it);
                offer(it->second->getOtherVCD(vcd));
            }
        };
        flood(vStack, forEachNext, [&](VCD vcd) { return !isHigh(vcd) && sSeen.insert(vcd).second; });
        return mm;
    }

private:
    using Ends = std::set<std::pair<VCD, CEdge*>>;

    Ends::const_iterator firstAt(VCD vcd) const { return sEnd.lower_bound({vcd, nullptr}); }
    bool isHigh(VCD vcd) const {
        int num = 0;
        for (auto it = firstAt(vcd); num < 3 && it != sEnd.end() && it->first == vcd; ++it)
            ++num;
        return num > 2;
    }

    Ends sEnd;
};

}  // namespace

ChainMgr::ChainMgr(CMesh* pMesh, bool bClose) : pCMesh(pMesh), bTryClose(bClose) {}

// Delegates, so that the destructor runs and deletes the chains when an assertion fails in createChains().
ChainMgr::ChainMgr(CMesh* pMesh, const EdgesByEnd& mm, bool bClose) : ChainMgr(pMesh, bClose) {
    mmVCD2CE = mm;
    for (const auto& [vcd, pCE] : mmVCD2CE)
        pCE->setDirection(ED_NONE);
    if (!mmVCD2CE.empty()) createChains();
}

ChainMgr::~ChainMgr() {
    for (const Chain* pChain : vChains)
        delete pChain;
}

Chain* ChainMgr::getChain(std::size_t i) const {
    ASSEX(i<vChains.size());
    return vChains[i];
}

bool ChainMgr::tryCloseChain(const Chain* pChain, std::vector<CEdge*>& vSolution) const {
    if (pChain->isClosed()) return true;
    return pChain->findClosingEdges([](const CEdge* pCE) { return pCE->edgeDir == ED_NONE; }, true, vSolution);
}

void ChainMgr::removeHighDegree(EdgesByEnd& mm, std::vector<CEdge*>& vRemovedCE) {
    const std::size_t numBefore = vHighVCD.size();
    const auto endOf = [](const auto& entry) { return entry.first; };
    forEachRun(mm.begin(), mm.end(), endOf, [&](auto first, auto end) {
        if (std::distance(first, end) <= 2) return;
        vHighVCD.push_back(first->first);
        for (auto it = first; it != end; ++it)
            vRemovedCE.push_back(it->second);
        mm.erase(first, end);
    });
    if (vHighVCD.size() != numBefore) oneInstance(vHighVCD);
}

void ChainMgr::createChains() {
    Remainder remainder(mmVCD2CE);
    bool bLast = false;
    for (int round = 1;; ++round) {
        const std::size_t firstNew = vChains.size();
        std::vector<CEdge*> vHiddenCE;  // some of them may be in no chain of this round; the remainder has them all
        removeHighDegree(mmVCD2CE, vHiddenCE);
        while (!mmVCD2CE.empty())
            addChain();
        const std::size_t numClosed = settleChains(firstNew, bLast);
        if (bLast) return;

        std::vector<VCD> vTouched;
        for (std::size_t i = firstNew; i < vChains.size(); ++i)
            remainder.take(*vChains[i], vTouched);
        bLast = numClosed == 0;
        mmVCD2CE = bLast || round < ROUNDS_OF_ALL ? remainder.all() : remainder.pathsThrough(std::move(vTouched));
        for (const auto& [vcd, pCE] : mmVCD2CE)
            pCE->setDirection(ED_NONE);
    }
}

void ChainMgr::addChain() {
    handOver(std::make_unique<Chain>(pCMesh, mmVCD2CE), vChains);
}

// Closes the chains that can be closed and, unless this is the last round, dissolves the open ones. Returns how many are
// closed. A chain may only be closed over edges without a direction, so over edges that no chain of this round has: all
// chains are made before the first one is closed, and edges of dissolved ones keep their directions until the round ends.
std::size_t ChainMgr::settleChains(std::size_t firstNew, bool bLast) {
    std::size_t numClosed = 0;
    for (std::size_t i = firstNew; i < vChains.size(); ++i) {
        Chain* pChain = vChains[i];
        std::vector<CEdge*> vSolution;
        if (bTryClose && tryCloseChain(pChain, vSolution)) pChain->assimilate(vSolution);
        if (pChain->isClosed())
            ++numClosed;
        else if (!bLast)
            pChain->reset();
    }
    return numClosed;
}

}  // namespace TARN_KEL
