#include "Holex.h"

#include "CMesh.h"
#include "Visualizer3.h"
#include "fillChain.h"
#include "tools.h"

namespace TARN_KEL {

Holex::Holex(CMesh* pMesh, Calc* pGrid) : pCMesh(pMesh), pCalc(pGrid) {
    const bool bProper = pCMesh->checkCCD("CTOR of Holex");
    ASSEX(bProper);
}

Holex::~Holex() {
    delete pChainMgr;
    for (const Loop* pLoop : vLoops)
        delete pLoop;
}

void Holex::run(std::vector<Point3>&) {
    drawOnTheWay([this] {
        writeDebugDrawing(globalPrefix() + "holex_deg.list", pCalc, [this](Visualizer3& visualizer) {
            pCMesh->showDeg(&visualizer, VT_REAL);
            pCMesh->show(&visualizer, VT_REAL, CGREEN);
        });
    });
    determineHoles();
}

void Holex::determineHoles() {
    chainBorder();
    for (std::size_t i = 0; i < pChainMgr->getSize(); ++i)
        if (!pChainMgr->getChain(i)->empty() && examine(i))
            warning(KEL_PLACE, "The reconstruction in a hole isn't built yet: hole " + toString(i) + " stays");
    deliberateExit(KEL_PLACE);
}

void Holex::chainBorder() {
    delete pChainMgr;
    pChainMgr = nullptr;
    EdgesByEnd mmVCD2CE;
    mapDeg1(pCMesh, mmVCD2CE);
    pChainMgr = new ChainMgr(pCMesh, mmVCD2CE, true);
}

bool Holex::examine(std::size_t i) const {
    const Chain* pChain = pChainMgr->getChain(i);
    const bool bClosed = pChain->isClosed();
    drawOnTheWay([&] {
        const std::string name = bClosed ? "closed_" : "open_";
        pChain->show(name + toString(i) + ".list", VT_REAL, bClosed ? CGREEN : CRED);
    });
    return bClosed && pChain->isGoodHole();
}

bool Holex::fill(Chain* pChain) {
    return fillChain(*pChain, pCalc, vLoops, vFilledT);
}

void Holex::mapDeg1(CMesh* pCMesh, EdgesByEnd& mmVCD2CE) {
    enterBorder(pCMesh, mmVCD2CE);
}

CMesh* Holex::createBorderMesh(Chain* pChain, std::vector<CEdge*>& vBorderCE) const {
    return copyBorder(*pChain, pCalc, vBorderCE).release();
}

Loop* Holex::createLoop(CMesh* pBorderMesh, const std::vector<CEdge*>& vCE) const {
    return makeLoop(pBorderMesh, pCalc, vCE).release();
}

void Holex::showLoops(const std::string& filename) const {
    TARN_KEL::showLoops(vLoops, pCalc, filename);
}

}  // namespace TARN_KEL
