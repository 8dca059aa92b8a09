#include "HoleToCCD.h"

#include "CMesh.h"
#include "fillChain.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Takes the twist out of a closed chain; false when it has none.
bool fixTwist(Chain& chain) {
    if (!chain.isClosed() || !chain.hasMoebius()) return false;
    chain.fixMoebius();
    return true;
}

}  // namespace

HoleToCCD::HoleToCCD(CMesh* pMesh, Calc* pGrid) : pCMesh(pMesh), pCalc(pGrid) {}

HoleToCCD::~HoleToCCD() {
    delete pChainMgr;
    for (const Loop* pLoop : vLoops)
        delete pLoop;
}

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

void HoleToCCD::chainBorder() {
    delete pChainMgr;
    pChainMgr = nullptr;
    EdgesByEnd mmVCD2CE;
    mapDeg1(pCMesh, mmVCD2CE);
    pChainMgr = new ChainMgr(pCMesh, mmVCD2CE, true);
}

bool HoleToCCD::fixTwists() {
    bool bFixed = false;
    for (std::size_t i = 0; i < pChainMgr->getSize(); ++i)
        if (fixTwist(*pChainMgr->getChain(i))) bFixed = true;
    return bFixed;
}

bool HoleToCCD::fill(Chain* pChain) {
    return fillChain(*pChain, pCalc, vLoops, vFilledT);
}

void HoleToCCD::mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE) {
    enterBorder(pCMesh, mmVCD2CE);
}

CMesh* HoleToCCD::createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const {
    return copyBorder(*pChain, pCalc, vBorderCE).release();
}

Loop* HoleToCCD::createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const {
    return makeLoop(pBorderMesh, pCalc, vCE).release();
}

void HoleToCCD::showLoops(const std::string& filename) const {
    TARN_KEL::showLoops(vLoops, pCalc, filename);
}

}  // namespace TARN_KEL
