// Finds the holes of a coarse mesh and hands them to the reconstruction by volume.
#include "Holex.h"

#include <utility>

#include "CMesh.h"
#include "Hole.h"
#include "drawings.h"
#include "tools.h"

namespace TARN_KEL {

Holex::Holex(CMesh* pMesh, Calc* pGrid) : ChainFiller(pMesh, pGrid) {
    const bool bProper = pCMesh->checkCCD("CTOR of Holex");
    ASSEX(bProper);
}

void Holex::run(std::vector<Point3>&) {
    drawOnTheWay([this] { drawDegrees(globalPrefix() + "holex_deg.list", *pCMesh); });
    determineHoles();
}

void Holex::determineHoles() {
    chainBorder();
    for (std::size_t i = 0; i < pChainMgr->getSize(); ++i) {
        Chain* pChain = pChainMgr->getChain(i);
        if (pChain->empty() || !examine(i)) continue;
        vHoles.push_back(std::make_shared<Hole>(pCMesh, pChain));
        std::vector<std::pair<VCD, Point3>> vCCD2Zero;
        vHoles.back()->run(vCCD2Zero);
    }
    deliberateExit(KEL_PLACE);
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

}  // namespace TARN_KEL
