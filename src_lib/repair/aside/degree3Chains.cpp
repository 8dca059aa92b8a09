// Follows whole chains of edges of degree three: closes them over edges of the mesh and kills the small piece within the
// ring.
#include "degree3Chains.h"

#include <algorithm>
#include <list>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Chain.h"
#include "ChainMgr.h"
#include "flood.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

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

void cutOffAtChains(CMesh& mesh) {
    std::vector<CEdge*> vDeg3;
    mesh.getDegN(3, vDeg3);
    std::multimap<VCD, CEdge*> mmVCD2CE;
    enterUnderEnds(vDeg3, mmVCD2CE);
    const ChainMgr chainMgr(&mesh, mmVCD2CE, false);
    for (std::size_t i = 0; i < chainMgr.getSize(); ++i) {
        const Chain* pChain = chainMgr.getChain(i);
        if (pChain->empty()) continue;
        std::vector<CEdge*> vSolution;
        if (closeChain(*pChain, vSolution)) killWithinRing(mesh, *pChain, vSolution);
    }
}

bool closeChain(const Chain& chain, std::vector<CEdge*>& vSolution) {
    if (chain.isClosed()) return true;
    for (const CEdge* pCE : chain.lMemberCE)
        if (pCE->getDegree() == 0 || pCE->getDegree() == 2) return false;
    return chain.findClosingEdges([](const CEdge*) { return true; }, false, vSolution);
}

// A group with a triangle on every edge of the chain has one on the first edge, so it is enough to start there. The limit of
// the flood keeps it small.
bool killWithinRing(CMesh& mesh, const Chain& chain, const std::vector<CEdge*>& vSolution) {
    if (chain.empty()) return false;
    std::set<CEdge*> sFences(vSolution.begin(), vSolution.end());
    sFences.insert(chain.lMemberCE.begin(), chain.lMemberCE.end());
    for (CTriangle* pStartCT : chain.lMemberCE.front()->vCT) {
        std::vector<CTriangle*> vStack{pStartCT};
        const std::vector<CTriangle*> vGroup = floodWithin(chain.getSize(), vStack, sFences);
        if (vGroup.empty() || !fillsChain(vGroup, chain.lMemberCE, sFences)) continue;
        for (CTriangle* pCT : vGroup)
            pCT->kill(&mesh);
        return true;
    }
    return false;
}

std::vector<CTriangle*> floodWithin(std::size_t maxNumT, std::vector<CTriangle*>& vStack, const std::set<CEdge*>& sFences) {
    std::set<CTriangle*> sSeen(vStack.begin(), vStack.end());
    std::set<const CEdge*> sCrossed;
    for (const CTriangle* pCT : vStack)
        ASSEX(pCT->isAlive());
    const auto forEachNext = [&](const CTriangle* pCT, const auto& offer) {
        if (sSeen.size() > maxNumT) return;
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pCT->getCE(i);
            if (sFences.count(pCE) != 0 || !sCrossed.insert(pCE).second) continue;
            for (CTriangle* pNeigT : pCE->vCT)
                offer(pNeigT);
        }
    };
    flood(vStack, forEachNext, [&sSeen](CTriangle* pCT) { return sSeen.insert(pCT).second; });
    if (sSeen.size() > maxNumT) return {};
    return {sSeen.begin(), sSeen.end()};
}

void enterUnderEnds(std::vector<CEdge*>& vCE, std::multimap<VCD, CEdge*>& mmVCD2CE) {
    oneInstance(vCE);
    enterBothEnds(mmVCD2CE, vCE);
}

}  // namespace TARN_KEL
