// What the ways to close holes of a coarse mesh have in common.
#include "ChainFiller.h"

#include "CMesh.h"
#include "fillChain.h"

namespace TARN_KEL {

ChainFiller::ChainFiller(CMesh* pMesh, Calc* pGrid) : pCMesh(pMesh), pCalc(pGrid) {}

ChainFiller::~ChainFiller() {
    delete pChainMgr;
    for (const Loop* pLoop : vLoops)
        delete pLoop;
}

void ChainFiller::chainBorder() {
    delete pChainMgr;
    pChainMgr = nullptr;
    EdgesByEnd mmVCD2CE;
    mapDeg1(pCMesh, mmVCD2CE);
    pChainMgr = new ChainMgr(pCMesh, mmVCD2CE, true);
}

bool ChainFiller::fill(Chain* pChain) {
    return fillChain(*pChain, pCalc, vLoops, vFilledT);
}

void ChainFiller::mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE) {
    enterBorder(pCMesh, mmVCD2CE);
}

CMesh* ChainFiller::createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const {
    return copyBorder(*pChain, pCalc, vBorderCE).release();
}

Loop* ChainFiller::createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const {
    return makeLoop(pBorderMesh, pCalc, vCE).release();
}

void ChainFiller::showLoops(const std::string& filename) const {
    TARN_KEL::showLoops(vLoops, pCalc, filename);
}

}  // namespace TARN_KEL
