// Closes the holes of a coarse mesh by ears.
#include "HoleToCCD.h"

#include "CMesh.h"

namespace TARN_KEL {

namespace {

/// Takes the twist out of a closed chain. Returns false when there is none, and for an open chain.
bool fixTwist(Chain& chain) {
    if (!chain.isClosed() || !chain.hasMoebius()) return false;
    chain.fixMoebius();
    return true;
}

}  // namespace

HoleToCCD::HoleToCCD(CMesh* pMesh, Calc* pGrid) : ChainFiller(pMesh, pGrid) {}

bool HoleToCCD::run(std::vector<Point3>& vOut) {
    pCMesh->createCCPatches();
    strategyForMesh();
    vOut.reserve(vOut.size() + 3 * vFilledT.size());
    for (const CTriangle* pCT : vFilledT) {
        if (!pCT->isAlive()) continue;
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
            vOut.push_back(pCMesh->getAvgPoint(vcd));
    }
    return !vOut.empty();
}

void HoleToCCD::strategyForMesh() {
    chainBorder();
    if (fixTwists()) chainBorder();
    for (std::size_t i = 0; i < pChainMgr->getSize(); ++i) {
        Chain* pChain = pChainMgr->getChain(i);
        if (pChain->isClosed() && !fixTwist(*pChain)) fill(pChain);
    }
}

bool HoleToCCD::fixTwists() {
    bool bFixed = false;
    for (std::size_t i = 0; i < pChainMgr->getSize(); ++i)
        if (fixTwist(*pChainMgr->getChain(i))) bFixed = true;
    return bFixed;
}

}  // namespace TARN_KEL
